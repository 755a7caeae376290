#pragma once

#include <filesystem>
#include <string>

#include "host/local/job_file.h"

namespace CLI {
class App;
}

namespace app {

/// A job as the command line names it.
struct JobArguments {
  std::filesystem::path file;
  host::local::JobSettings settings;

  /// "korvane COMMAND FILE --set ...", to be typed again.
  std::string command(const std::string& name) const;
};

/// Gives a command the arguments JOB and --set, which have to live as long as it.
void addJob(CLI::App* command, JobArguments& arguments);

/// A word as a shell takes it, in quotes where it needs them.
std::string shellWord(const std::string& word);

}  // namespace app
