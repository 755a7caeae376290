#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/local/parameter_set.h"
#include "host/local/problems.h"
#include "host/local/segy_data.h"

namespace host::local {

/// What a job file says, checked as far as it can be without the data. Paths are absolute or relative to the working
/// directory; in the file they are relative to the file.
struct JobFile {
  std::filesystem::path file;
  std::string text;  ///< the file as it stands, and the settings, by key, in comments behind it
  bool is3D = false;
  bool feet = false;
  SegyInput input;
  std::optional<std::filesystem::path> output;
  std::filesystem::path database;
  int threads = 0;  ///< 0: every core
  std::filesystem::path scratch;
  bool checkpoint = false;  ///< the run keeps its state on disk between the passes
  ParameterSet parameters;
};

/// Values that take the place of those in a job file, "KEY=VALUE" each: KEY is a parameter or "section.key", VALUE a
/// TOML value; text may go without quotes.
using JobSettings = std::vector<std::string>;

/// Reads a job file. Everything that cannot be run goes to `problems`, with file and line (or "--set"), key, value
/// found and value expected; then the job is complete only as far as it is right. Warnings go to `messages`.
/// @throws RunError when the file cannot be read or is not TOML
JobFile readJobFile(const std::filesystem::path& file, const JobSettings& settings, MessageSink& messages,
                    Problems& problems);
/// The same, with a RunError of all problems, a line each.
JobFile readJobFile(const std::filesystem::path& file, MessageSink& messages, const JobSettings& settings = {});

/// The known name that is closest to the one found (least insertions, deletions, exchanges).
std::string nearestName(const std::string& found, const std::vector<std::string>& known);

}  // namespace host::local
