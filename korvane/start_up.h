#pragma once

#include <span>

#include "korvane/run_state.h"

namespace korvane {

/// Reads and checks the parameters, opens the tables and designs the filters: all that a run knows before it makes its
/// storage. Fatal conditions end the run through host::stErrFatal.
void readJob(RunState& run);

/// Connects to the framework, reads and checks the parameters, opens the tables, designs the filters, makes the
/// storage and ends the framework's initialisation phase. Fatal conditions end the run through host::stErrFatal.
void startUp(RunState& run, int argc, char** argv);

/// A step of start-up that reads parameters or opens tables.
using StartUpStep = void (*)(RunState&);
/// Those steps, in their order. One that ended fatally leaves the others possible, but nothing behind them.
std::span<const StartUpStep> readingSteps();
/// The step behind them: the filters.
void designFilters(RunState& run);

}  // namespace korvane
