#include "host/local/progress_bar.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace host::local {

namespace {

int terminalColumns() {
  constexpr int usual = 80;
  winsize size{};
  return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : usual;
}

}  // namespace

std::string progressLine(const Progress& progress, double seconds, int columns) {
  constexpr int leastBar = 8, longestBar = 50, brackets = 3;
  const double done = static_cast<double>(progress.done), total = static_cast<double>(progress.total);
  const double rate = seconds > 0.0 ? done / seconds : 0.0;
  const auto left = static_cast<std::int64_t>(rate > 0.0 ? (total - done) / rate + 0.5 : 0.0);
  char text[128];
  std::snprintf(text, sizeof text, "%3d %%  %.0f traces/s  %lld:%02d:%02d left", static_cast<int>(done / total * 100.0),
                rate, static_cast<long long>(left / 3600), static_cast<int>(left / 60 % 60),
                static_cast<int>(left % 60));
  std::string line = "pass " + std::to_string(progress.pass) + " of " + std::to_string(progress.passes) + " ";
  const int room = std::max(columns - 1, 0);
  const int width = std::min(room - static_cast<int>(line.size() + std::string(text).size()) - brackets, longestBar);
  if (width >= leastBar) {
    const auto full = static_cast<std::size_t>(done / total * width);
    line += "[" + std::string(full, '#') + std::string(static_cast<std::size_t>(width) - full, ' ') + "] ";
  }
  return (line + text).substr(0, static_cast<std::size_t>(room));
}

ProgressBar::ProgressBar() : terminal_(isatty(STDERR_FILENO) == 1) {}

ProgressBar::~ProgressBar() { clear(); }

void ProgressBar::show(const Progress& progress) {
  if (!terminal_ || progress.total <= 0) return;
  const Clock::time_point now = Clock::now();
  if (start_ == Clock::time_point{}) start_ = last_ = now;
  if (now - last_ < std::chrono::milliseconds(200)) return;
  last_ = now;
  const double seconds = std::chrono::duration<double>(now - start_).count();
  std::fprintf(stderr, "\r%s\x1b[K", progressLine(progress, seconds, terminalColumns()).c_str());
  drawn_ = true;
}

void ProgressBar::clear() {
  if (drawn_) std::fputs("\r\x1b[K", stderr);
  drawn_ = false;
}

}  // namespace host::local
