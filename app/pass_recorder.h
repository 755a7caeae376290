#pragma once

#include <chrono>

#include "app/run_log.h"
#include "host/local/local_job.h"
#include "korvane/pass_observer.h"
#include "korvane/run_state.h"

namespace app {

/// Adds to the record of a run, and to its log, what each pass did to the velocities, and warns, once, when that is
/// doubtful.
class PassRecorder : public korvane::PassObserver {
 public:
  PassRecorder(host::local::LocalJob& job, RunLog& log) : job_(job), log_(log) {}
  void begins(const korvane::RunState& run) override;
  void revised(const korvane::RunState& run) override;

 private:
  host::local::LocalJob& job_;
  RunLog& log_;
  std::chrono::steady_clock::time_point begin_;
  bool warned_ = false;
};

}  // namespace app
