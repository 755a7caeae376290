#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "host/local/job.h"
#include "host/local/table.h"

/// What the fuzz targets share. A target is one source that defines LLVMFuzzerTestOneInput: it hands the bytes that it
/// is given to a reader and uses what the reader makes of them. A RunError is a right answer; what escapes beyond it, a
/// crash, a report of a sanitizer, a hang and memory out of proportion are faults. Options that a target chooses by its
/// input are taken from the end of it, so that a file of the corpus begins with what the reader sees.
namespace korvane_fuzz {

/// A file in memory that a reader opens by name, as often as it likes.
class MemoryFile {
 public:
  MemoryFile();
  ~MemoryFile();
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  const std::filesystem::path& path() const { return path_; }
  void write(std::string_view bytes);

 private:
  int descriptor_;
  std::filesystem::path path_;
};

/// A folder in memory where there is one, removed when the program ends.
class PrivateFolder {
 public:
  PrivateFolder();
  ~PrivateFolder();
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

/// Warnings are made, and read by nobody.
struct Silence : host::local::MessageSink {
  void warn(const std::string&) override {}
};

/// Does what a program may refuse.
template <class Action>
void attempt(Action action) {
  try {
    action();
  } catch (const host::local::RunError&) {
  }
}

/// Interpolates a table, which has a point, at a place in all the ways that there are.
void interpolate(const host::Table& table, float x, float y);

/// A fault that no sanitizer sees: ends the program with this text.
void demand(bool holds, const char* what);

}  // namespace korvane_fuzz
