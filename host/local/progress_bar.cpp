#include "host/local/progress_bar.h"

#include <unistd.h>

#include <cstdio>
#include <string>

namespace host::local {

ProgressBar::ProgressBar() : terminal_(isatty(STDERR_FILENO) == 1) {}

ProgressBar::~ProgressBar() { clear(); }

void ProgressBar::show(std::int64_t done, std::int64_t total) {
  if (!terminal_ || total <= 0) return;
  const Clock::time_point now = Clock::now();
  if (now - last_ < std::chrono::milliseconds(200)) return;
  last_ = now;

  constexpr int width = 30;
  const double share = static_cast<double>(done) / static_cast<double>(total);
  const double seconds = std::chrono::duration<double>(now - start_).count();
  const double rate = seconds > 0.0 ? static_cast<double>(done) / seconds : 0.0;
  const int left = rate > 0.0 ? static_cast<int>(static_cast<double>(total - done) / rate + 0.5) : 0;
  const std::string bar(static_cast<std::size_t>(share * width), '#');
  std::fprintf(stderr, "\r[%-*s] %3d %%  %.0f traces/s  %d:%02d:%02d left \x1b[K", width, bar.c_str(),
               static_cast<int>(share * 100.0), rate, left / 3600, left / 60 % 60, left % 60);
  drawn_ = true;
}

void ProgressBar::clear() {
  if (drawn_) std::fputs("\r\x1b[K", stderr);
  drawn_ = false;
}

}  // namespace host::local
