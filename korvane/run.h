#pragma once

namespace korvane {

/// One run from start-up to shutdown, under the current job of the framework. Progress goes to standard output; a fatal
/// condition leaves through host::stErrFatal.
void run(int argc, char** argv);

}  // namespace korvane
