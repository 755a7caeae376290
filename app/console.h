#pragma once

#include <string>

#include "host/local/job.h"

namespace app {

/// Warnings as lines on standard error, counted.
class Console : public host::local::MessageSink {
 public:
  void warn(const std::string& text) override;
  int warnings() const { return warnings_; }

 private:
  int warnings_ = 0;
};

}  // namespace app
