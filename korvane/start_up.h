#pragma once

#include "korvane/run_state.h"

namespace korvane {

/// Connects to the framework, reads and checks the parameters, opens the tables, designs the filters, makes the
/// storage and ends the framework's initialisation phase. Fatal conditions end the run through host::stErrFatal.
void startUp(RunState& run, int argc, char** argv);

}  // namespace korvane
