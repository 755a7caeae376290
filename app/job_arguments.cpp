#include "app/job_arguments.h"

#include <CLI/CLI.hpp>

namespace app {

std::string JobArguments::command(const std::string& name) const {
  std::string words = "korvane " + name + " " + shellWord(file.string());
  for (const std::string& setting : settings) words += " --set " + shellWord(setting);
  return words;
}

void addJob(CLI::App* command, JobArguments& arguments) {
  command->add_option("JOB", arguments.file, "job file (TOML); paths in it are relative to it")->required();
  command
      ->add_option("--set", arguments.settings,
                   "KEY=VALUE in place of what the job says: a parameter, or section.key; may be given again")
      ->allow_extra_args(false)
      ->check([](const std::string& setting) {
        return setting.find('=') == std::string::npos ? "expected KEY=VALUE, found " + setting : std::string();
      });
}

std::string shellWord(const std::string& word) {
  constexpr const char* plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+=./,:@%";
  if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) return word;
  std::string quoted = "'";
  for (const char c : word) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

}  // namespace app
