#pragma once

#include <string>

#include "host/local/local_job.h"

namespace app {

/// What a run took and wrote, and what to do next, on standard output.
void printSummary(const host::local::JobFile& job, const host::local::RunSummary& summary, int warnings);

/// How far a run came that was stopped.
std::string whereStopped(const host::local::RunSummary& summary);

}  // namespace app
