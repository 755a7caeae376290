#pragma once

#include <sys/wait.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/host_test.h"

namespace korvane_test {

/// What a call of the program left.
struct Outcome {
  int status = -1;
  std::string out, err;
};

/// The lines that the tool itself prints.
inline std::string toolLines(const std::string& log) {
  std::istringstream in(log);
  std::string lines;
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with("KORVANE:")) lines += line + "\n";
  }
  return lines;
}

/// A test of the built program, which works in the folder of the test.
class ProgramTest : public HostTest {
 protected:
  std::string path(const std::string& name) const { return (folder / name).string(); }
  std::string contents(const std::string& name) const { return readFile(path(name)); }
  std::string save(const std::string& name, const std::string& text) const {
    writeFile(path(name), text);
    return path(name);
  }

  /// Runs `korvane WORDS`; no word holds a quote.
  Outcome call(const std::vector<std::string>& words) const { return callUnder("true", words); }

  /// The same under a limit that a command of the shell sets.
  Outcome callUnder(const std::string& limit, const std::vector<std::string>& words) const {
    std::string command = limit + "; exec " KORVANE_PROGRAM;
    for (const std::string& word : words) command += " '" + word + "'";
    const int status = std::system((command + " >" + path("stdout") + " 2>" + path("stderr")).c_str());
    return {
        .status = WIFEXITED(status) ? WEXITSTATUS(status) : -1, .out = contents("stdout"), .err = contents("stderr")};
  }

  /// Standard output of a call that has to succeed without a word on standard error.
  std::string done(const std::vector<std::string>& words) const {
    const Outcome outcome = call(words);
    EXPECT_EQ(outcome.status, 0) << words.front();
    EXPECT_EQ(outcome.err, "");
    return outcome.out;
  }
};

}  // namespace korvane_test
