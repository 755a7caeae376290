#pragma once

#include <csignal>
#include <string>

#include "host/local/job.h"

namespace host::local {

/// While one lives, the first SIGINT or SIGTERM asks the run to stop at its next ensemble; another one ends the program
/// at once. A signal that the program was started to ignore stays ignored.
class StopSignals {
 public:
  StopSignals();
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  /// The signal that came; 0: none.
  static int received();

 private:
  struct sigaction interrupt_, terminate_;  ///< as they were
};

/// The run was asked to stop.
class Stopped : public RunError {
 public:
  /// @param number  SIGINT or SIGTERM
  explicit Stopped(int number);
  Stopped(int number, const std::string& message);
  const int signal;
};

}  // namespace host::local
