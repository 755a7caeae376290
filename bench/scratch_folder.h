#pragma once

#include <unistd.h>

#include <filesystem>
#include <string>

namespace bench {

/// A folder for the files of this run, removed at its end.
inline const std::filesystem::path& scratchFolder() {
  struct Folder {
    std::filesystem::path path = std::filesystem::temp_directory_path() / ("korvane-bench-" + std::to_string(getpid()));
    Folder() { std::filesystem::create_directory(path); }
    ~Folder() { std::filesystem::remove_all(path); }
  };
  static const Folder folder;
  return folder.path;
}

}  // namespace bench
