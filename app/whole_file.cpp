#include "app/whole_file.h"

#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <string>
#include <system_error>

#include "host/local/job.h"

namespace app {

namespace {

namespace fs = std::filesystem;

/// @throws std::system_error when the content is not in the file as a whole
void put(const fs::path& file, const std::function<void(std::ostream&)>& write) {
  std::ofstream out(file, std::ios::binary);
  if (out) {
    errno = EIO;
    write(out);
    out.close();
  }
  if (!out) throw std::system_error(errno, std::generic_category());
}

}  // namespace

void writeWhole(const fs::path& file, const std::function<void(std::ostream&)>& write,
                const std::vector<fs::path>& spared) {
  std::error_code error;
  for (const fs::path& other : spared) {
    if (fs::equivalent(file, other, error))
      throw host::local::RunError(file.string() + ": is in use here and is not replaced; name another file");
  }
  const fs::file_status there = fs::status(file, error);
  const bool direct = fs::exists(there) && !fs::is_regular_file(there);
  const fs::path target = fs::is_symlink(file, error) ? fs::weakly_canonical(file, error) : file;
  const fs::path part = direct ? file : fs::path(target.string() + "." + std::to_string(getpid()) + ".part");
  const auto removePart = [&] {
    if (!direct) fs::remove(part, error);
  };
  try {
    put(part, write);
    if (!direct) fs::rename(part, target);
  } catch (const std::system_error& failure) {
    removePart();
    throw host::local::RunError(file.string() + ": cannot be written: " + failure.code().message() +
                                "; see that its folder exists, may be written and has room, or name another file");
  } catch (...) {
    removePart();
    throw;
  }
}

}  // namespace app
