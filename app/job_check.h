#pragma once

#include "app/job_arguments.h"

namespace app {

/// Makes every check of a run without running: parameters, headers, tables, grid, room, time. What is found goes to
/// standard output, warnings to standard error. Nothing is created or changed.
/// @throws host::local::RunError naming every problem, a line each
void checkJob(const JobArguments& arguments);

}  // namespace app
