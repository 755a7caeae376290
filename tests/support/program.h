#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace korvane_test {

std::string readFile(const std::filesystem::path& file);
void writeFile(const std::filesystem::path& file, const std::string& text);

/// What a call of the program left.
struct Outcome {
  int status = -1;
  std::string out, err;
};

/// The built program and a folder of its own to work in, removed at the end.
class Program {
 public:
  Program();
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  const std::filesystem::path& folder() const { return folder_; }
  /// Runs `korvane ARGUMENTS`.
  Outcome call(const std::vector<std::string>& arguments) const;
  /// Unpacks an archive of tests/data into the folder. @return the folder
  std::filesystem::path unpack(const std::string& archive) const;

 private:
  std::filesystem::path folder_;
};

}  // namespace korvane_test
