#pragma once

#include <chrono>
#include <cstdint>

#include "host/local/local_job.h"
#include "korvane/run_state.h"

namespace app {

/// Adds to the record of a run what each pass did to the velocities; made when the run begins.
class PassRecorder {
 public:
  explicit PassRecorder(host::local::LocalJob& job) : job_(job) {}
  void operator()(const korvane::RunState& run);

 private:
  host::local::LocalJob& job_;
  std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  std::int64_t tracesBefore_ = 0;
};

}  // namespace app
