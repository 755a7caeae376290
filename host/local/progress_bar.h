#pragma once

#include <chrono>
#include <cstdint>

namespace host::local {

/// Progress of a run on standard error, drawn only when that is a terminal: traces delivered, rate, time left.
class ProgressBar {
 public:
  ProgressBar();
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  /// @param done, total  traces over all passes
  void show(std::int64_t done, std::int64_t total);
  /// Wipes the line, so that other output can follow.
  void clear();

 private:
  using Clock = std::chrono::steady_clock;
  bool terminal_;
  bool drawn_ = false;
  Clock::time_point start_ = Clock::now();
  Clock::time_point last_{};
};

}  // namespace host::local
