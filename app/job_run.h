#pragma once

#include <filesystem>
#include <optional>

#include "app/job_arguments.h"

namespace app {

struct RunArguments : JobArguments {
  bool checkpoint = false;                   ///< keep the state of the run on disk between the passes
  bool resume = false;                       ///< go on from the checkpoint of an earlier run
  std::optional<std::filesystem::path> log;  ///< takes the events of the run
};

/// Runs a job. @throws host::local::RunError, host::local::Stopped: why it broke off and how to go on
void runJob(const RunArguments& arguments);

}  // namespace app
