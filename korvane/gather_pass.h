#pragma once

#include "korvane/run_state.h"

namespace korvane {

/// The analysis passes: fetches ensembles, moves them out with the current velocities, fits amplitude against angle and
/// stores intercept and gradient with their Hilbert transforms per CDP and sector; runs the update pass whenever a
/// pass is over.
/// @return traces of the ensemble in hand that opens the output pass; below 1 when the data are exhausted
int gatherPass(RunState& run);

}  // namespace korvane
