#pragma once

#include <span>

#include "korvane/run_state.h"

namespace korvane {

/// One run from start-up to shutdown, under the current job of the framework. Progress goes to standard output; a fatal
/// condition leaves through host::stErrFatal.
/// @param observers  are told of the boundaries between the passes, in this order
void run(int argc, char** argv, std::span<PassObserver* const> observers = {});

}  // namespace korvane
