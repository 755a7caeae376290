#pragma once

#include <string>

#include "app/job_arguments.h"
#include "host/local/local_job.h"

namespace app {

/// What a run took and wrote, and what to do next, on standard output.
/// @param arguments  that the run was called with
void printSummary(const JobArguments& arguments, const host::local::JobFile& job,
                  const host::local::RunSummary& summary, int warnings);

/// How far a run came that was stopped.
std::string whereStopped(const host::local::RunSummary& summary);

}  // namespace app
