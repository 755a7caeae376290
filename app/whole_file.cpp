#include "app/whole_file.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>

#include "host/local/job.h"
#include "host/local/part_file.h"

namespace app {

namespace fs = std::filesystem;

void writeWhole(const fs::path& file, const std::function<void(std::ostream&)>& write,
                const std::vector<fs::path>& spared) {
  std::error_code error;
  for (const fs::path& other : spared) {
    if (fs::equivalent(file, other, error))
      throw host::local::RunError(file.string() + ": is in use here and is not replaced; name another file");
  }
  const fs::file_status there = fs::status(file, error);
  if (fs::exists(there) && !fs::is_regular_file(there) && !fs::is_directory(there)) {
    std::ofstream out(file, std::ios::binary);
    errno = EIO;
    write(out);
    out.close();
    if (!out) throw host::local::RunError(file.string() + ": the file cannot be written: " + std::strerror(errno));
    return;
  }
  host::local::PartFile out(file, "the file");
  std::ostringstream text;
  write(text);
  out.write(text.view().data(), text.view().size());
  out.commit();
}

}  // namespace app
