#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "host/local/job.h"

namespace bench {

/// As long as it lives, what a run prints does not come between the figures.
class Quiet : public host::local::MessageSink {
 public:
  Quiet() : kept_(dup(STDOUT_FILENO)) {
    std::fflush(stdout);
    const int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
  }
  ~Quiet() override {
    std::fflush(stdout);
    dup2(kept_, STDOUT_FILENO);
    close(kept_);
  }
  Quiet(const Quiet&) = delete;
  Quiet& operator=(const Quiet&) = delete;

  void warn(const std::string& /*text*/) override {}

 private:
  int kept_;
};

}  // namespace bench
