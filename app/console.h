#pragma once

#include <string>

#include "app/run_log.h"
#include "host/local/job.h"

namespace app {

/// Warnings as lines on standard error and events of the log, counted.
class Console : public host::local::MessageSink {
 public:
  /// @param log  null: none
  explicit Console(RunLog* log = nullptr) : log_(log) {}
  void warn(const std::string& text) override;
  int warnings() const { return warnings_; }

 private:
  RunLog* log_;
  int warnings_ = 0;
};

}  // namespace app
