#pragma once

#include <filesystem>

#include "host/local/job_file.h"

namespace app {

/// Makes every check of a run without running: parameters, headers, tables, grid, room, time. What is found goes to
/// standard output, warnings to standard error. Nothing is created or changed.
/// @throws host::local::RunError naming every problem, a line each
void checkJob(const std::filesystem::path& file, const host::local::JobSettings& settings);

}  // namespace app
