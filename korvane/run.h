#pragma once

#include <functional>

#include "korvane/run_state.h"

namespace korvane {

/// One run from start-up to shutdown, under the current job of the framework. Progress goes to standard output; a fatal
/// condition leaves through host::stErrFatal.
/// @param afterRevision  is shown the state after the revision of every pass; numiter is then that of the pass to come
void run(int argc, char** argv, const std::function<void(const RunState&)>& afterRevision = {});

}  // namespace korvane
