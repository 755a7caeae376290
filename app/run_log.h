#pragma once

#include <filesystem>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <optional>

#include "host/local/descriptor.h"

namespace app {

/// The events of a run for programs that watch it: a line of JSON each, with time (UTC) and event, behind what the file
/// holds already. Lines stand in the file as soon as they are written. Any thread may write.
class RunLog {
 public:
  /// Without a file it keeps nothing. RunError when the file cannot be opened.
  explicit RunLog(const std::optional<std::filesystem::path>& file);

  /// @param facts  of the event, an object. A line that cannot be written is lost, and no reason to stop a run.
  void write(const char* event, nlohmann::ordered_json facts);

 private:
  host::local::Descriptor descriptor_;
  std::mutex mutex_;
};

}  // namespace app
