#pragma once

#include <string>

#include "host/local/job.h"

namespace app {

/// Warnings as lines on standard error.
class Console : public host::local::MessageSink {
 public:
  void warn(const std::string& text) override;
};

}  // namespace app
