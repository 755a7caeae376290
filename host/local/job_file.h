#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "host/local/parameter_set.h"
#include "host/local/segy_data.h"

namespace host::local {

/// What a job file says, checked as far as it can be without the data. Paths are absolute or relative to the working
/// directory; in the file they are relative to the file.
struct JobFile {
  std::filesystem::path file;
  std::string text;  ///< the file as it stands
  bool is3D = false;
  bool feet = false;
  SegyInput input;
  std::optional<std::filesystem::path> output;
  std::filesystem::path database;
  int threads = 0;  ///< 0: every core
  std::filesystem::path scratch;
  ParameterSet parameters;
};

/// Reads a job file. RunError with file, line, key, value found and value expected for anything that cannot be run;
/// warnings go to `messages`.
JobFile readJobFile(const std::filesystem::path& file, MessageSink& messages);

/// The known name that is closest to the one found (least insertions, deletions, exchanges).
std::string nearestName(const std::string& found, const std::vector<std::string>& known);

}  // namespace host::local
