#include "app/whole_file.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <system_error>

#include "host/local/job.h"
#include "host/local/part_file.h"

namespace app {

namespace {

namespace fs = std::filesystem;
using host::local::RunError;

void writeDirectly(const fs::path& file, const std::string& what, const std::string& content) {
  std::ofstream out(file, std::ios::binary);
  if (out << content && out.flush()) return;
  throw RunError(file.string() + ": " + what + " cannot be written: " + std::strerror(errno) + ".");
}

}  // namespace

void writeWhole(const fs::path& file, const std::string& what, const std::string& content,
                const std::vector<fs::path>& spared) {
  std::error_code error;
  for (const fs::path& other : spared) {
    if (fs::equivalent(file, other, error))
      throw RunError(file.string() + ": is in use here and is not replaced; name another file");
  }
  const fs::file_status there = fs::status(file, error);
  if (fs::is_character_file(there) || fs::is_fifo(there)) return writeDirectly(file, what, content);
  host::local::PartFile out(file, what);
  out.write(content.data(), content.size());
  out.commit();
}

}  // namespace app
