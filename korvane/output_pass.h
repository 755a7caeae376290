#pragma once

#include "korvane/run_state.h"

namespace korvane {

/// The last pass over the data: per CDP with results it emits the traces of OUTPUT and adds the revised velocity
/// function to the output table, the analysed window put into the input function.
/// @param traces  traces of the ensemble in hand; below 1: the pass begins by fetching one
void outputPass(RunState& run, int traces);

/// Writes the output table, reports the traces and closes the link to the framework.
void shutDown(RunState& run);

}  // namespace korvane
