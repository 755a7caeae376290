#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace host::local {

/// How far a run is.
struct Progress {
  int pass = 1, passes = 1;
  std::int64_t done = 0, total = 1;  ///< traces over all passes
};

/// Pass, bar, traces a second and time left in a line of fewer than `columns` characters; a narrow one has no bar.
std::string progressLine(const Progress& progress, double seconds, int columns);

/// Progress of a run on standard error, drawn only when that is a terminal, as wide as that is.
class ProgressBar {
 public:
  ProgressBar();
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  /// Draws now and then, not at the first call: the time counts from there.
  void show(const Progress& progress);
  /// Wipes the line, so that other output can follow.
  void clear();

 private:
  using Clock = std::chrono::steady_clock;
  bool terminal_;
  bool drawn_ = false;
  Clock::time_point start_{}, last_{};  ///< of the first call of show(), of the last drawing
};

}  // namespace host::local
