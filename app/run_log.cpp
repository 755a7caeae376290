#include "app/run_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>

#include "host/local/job.h"

namespace app {

namespace {

std::string timeNow() {
  const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  std::tm parts{};
  gmtime_r(&now, &parts);
  std::array<char, 32> text{};
  return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts)};
}

}  // namespace

RunLog::RunLog(const std::optional<std::filesystem::path>& file) {
  if (!file) return;
  descriptor_.number = ::open(file->c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
  if (descriptor_.number < 0) {
    throw host::local::RunError(file->string() + ": the log cannot be written: " + std::strerror(errno) +
                                "; see that its folder exists and may be written, or name another file with --log");
  }
}

void RunLog::write(const char* event, nlohmann::ordered_json facts) {
  if (descriptor_.number < 0) return;
  nlohmann::ordered_json line = {{"time", timeNow()}, {"event", event}};
  for (auto& [name, value] : facts.items()) line[name] = std::move(value);
  const std::string text = line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
  const std::scoped_lock lock(mutex_);
  // in one call, so that the lines of several runs do not mix
  [[maybe_unused]] const ssize_t written = ::write(descriptor_.number, text.data(), text.size());
}

}  // namespace app
