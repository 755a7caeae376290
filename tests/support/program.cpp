#include "tests/support/program.h"

#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace korvane_test {

namespace fs = std::filesystem;

namespace {

std::string quoted(const std::string& word) {
  std::string result = "'";
  for (const char c : word) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return result + "'";
}

}  // namespace

std::string readFile(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + file.string());
  return {std::istreambuf_iterator<char>(in), {}};
}

void writeFile(const fs::path& file, const std::string& text) {
  std::ofstream out(file, std::ios::binary);
  out << text;
  if (!out.flush()) throw std::runtime_error("cannot write " + file.string());
}

Program::Program() {
  std::string name = (fs::temp_directory_path() / "korvane-test-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot make a folder " + name);
  folder_ = name;
}

Program::~Program() {
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

Outcome Program::call(const std::vector<std::string>& arguments) const {
  const fs::path out = folder_ / "stdout", err = folder_ / "stderr";
  std::string command = quoted(KORVANE_PROGRAM);
  for (const std::string& argument : arguments) command += ' ' + quoted(argument);
  command += " >" + quoted(out.string()) + " 2>" + quoted(err.string());
  const int status = std::system(command.c_str());
  return {.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1, .out = readFile(out), .err = readFile(err)};
}

fs::path Program::unpack(const std::string& archive) const {
  const std::string command =
      "tar -xzf " + quoted((fs::path(KORVANE_TEST_DATA) / archive).string()) + " -C " + quoted(folder_.string());
  if (std::system(command.c_str()) != 0) throw std::runtime_error("cannot unpack " + archive);
  return folder_;
}

}  // namespace korvane_test
