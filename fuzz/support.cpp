#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <system_error>

#include "fuzz/fuzz_target.h"

namespace korvane_fuzz {

MemoryFile::MemoryFile()
    : descriptor_(memfd_create("input", MFD_CLOEXEC)), path_("/proc/self/fd/" + std::to_string(descriptor_)) {
  demand(descriptor_ >= 0, "a file in memory can be made");
}

MemoryFile::~MemoryFile() { close(descriptor_); }

void MemoryFile::write(std::string_view bytes) {
  const bool written = ftruncate(descriptor_, 0) == 0 &&
                       pwrite(descriptor_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size());
  demand(written, "a file in memory can be written");
}

PrivateFolder::PrivateFolder() {
  const std::filesystem::path memory = "/dev/shm";
  const bool isThere = access(memory.c_str(), W_OK) == 0;
  std::string name = ((isThere ? memory : std::filesystem::temp_directory_path()) / "korvane-fuzz-XXXXXX").string();
  demand(mkdtemp(name.data()) != nullptr, "a private folder can be made");
  path_ = name;
}

PrivateFolder::~PrivateFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void interpolate(const host::Table& table, float x, float y) {
  constexpr int count = 16;
  const int last = table.zCount() - 1;
  std::vector<float> z(static_cast<std::size_t>(table.zCount())), samples(count);
  std::string why;
  table.point(x, y, z.data());
  table.alongX(x, count, 0.0f, 4.0f, samples.data(), last);
  table.atPosition({.x = x, .y = y}, count, last, 0.0f, 4.0f, samples.data(), why);
}

void demand(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

}  // namespace korvane_fuzz
