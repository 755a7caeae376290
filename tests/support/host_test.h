#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/local/job.h"

namespace korvane_test {

namespace fs = std::filesystem;

inline std::string readFile(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + file.string());
  return {std::istreambuf_iterator<char>(in), {}};
}

inline void writeFile(const fs::path& file, const std::string& text) {
  std::ofstream out(file, std::ios::binary);
  out << text;
  if (!out.flush()) throw std::runtime_error("cannot write " + file.string());
}

struct Warnings : host::local::MessageSink {
  std::vector<std::string> texts;
  void warn(const std::string& text) override { texts.push_back(text); }
};

/// What an action is refused with.
template <class Action>
std::string refusal(Action action) {
  try {
    action();
  } catch (const host::local::RunError& error) {
    return error.what();
  }
  return "not refused";
}

inline void expectParts(const std::string& text, const std::vector<std::string>& parts) {
  for (const std::string& part : parts) EXPECT_NE(text.find(part), std::string::npos) << part << " is not in\n" << text;
}

/// A test with a folder of its own, removed at the end.
class HostTest : public testing::Test {
 protected:
  HostTest() {
    std::string name = (fs::temp_directory_path() / "korvane-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot make a folder " + name);
    folder = name;
  }
  ~HostTest() override {
    std::error_code ignored;
    fs::remove_all(folder, ignored);
  }

  std::ptrdiff_t filesInFolder() const { return std::distance(fs::directory_iterator(folder), {}); }

  fs::path folder;
  Warnings warnings;
};

}  // namespace korvane_test
