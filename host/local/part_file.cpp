#include "host/local/part_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "host/local/job.h"
#include "host/local/lock_holders.h"

namespace host::local {

namespace {

/// Whether the open file still has that name.
bool hasName(int descriptor, const std::filesystem::path& name) {
  struct stat opened {
  }, named{};
  return fstat(descriptor, &opened) == 0 && stat(name.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
         opened.st_ino == named.st_ino;
}

/// What a symbolic link names, so that the link stays.
std::filesystem::path behindLinks(const std::filesystem::path& file) {
  std::error_code error;
  return std::filesystem::is_symlink(file, error) ? std::filesystem::weakly_canonical(file, error) : file;
}

}  // namespace

PartFile::PartFile(const std::filesystem::path& target, std::string what)
    : target_(behindLinks(target)), part_(target_.string() + ".part"), what_(std::move(what)) {
  refuseFolder();
  open();
}

PartFile::~PartFile() {
  if (descriptor_ < 0) return;
  unlink(part_.c_str());
  close(descriptor_);
}

/// The lock goes with the program that holds it, however that ends. Between opening and locking, the part may have
/// become the target of another program: that file is left alone.
void PartFile::open() {
  do {
    if (descriptor_ >= 0) close(descriptor_);
    descriptor_ = ::open(part_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666);
    if (descriptor_ < 0) fail(errno);
    if (flock(descriptor_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
      close(std::exchange(descriptor_, -1));
      throw RunError(target_.string() + ": another program" + lockHolders(part_) + " is writing " + what_ +
                     ". Wait until it has ended, or choose another name.");
    }
  } while (!hasName(descriptor_, part_));
  if (ftruncate(descriptor_, 0) != 0) fail(errno);
}

void PartFile::write(const void* data, std::size_t bytes) {
  for (const auto* from = static_cast<const char*>(data); bytes > 0;) {
    const ssize_t written = ::write(descriptor_, from, bytes);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) fail(errno);
    from += written;
    bytes -= static_cast<std::size_t>(written);
  }
}

void PartFile::writeAt(const void* data, std::size_t bytes, std::int64_t byte) {
  for (const auto* from = static_cast<const char*>(data); bytes > 0;) {
    const ssize_t written = ::pwrite(descriptor_, from, bytes, byte);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) fail(errno);
    from += written;
    byte += written;
    bytes -= static_cast<std::size_t>(written);
  }
}

void PartFile::secure() {
  if (fsync(descriptor_) != 0) fail(errno);
  refuseFolder();
}

void PartFile::refuseFolder() const {
  std::error_code ignored;
  if (std::filesystem::is_directory(target_, ignored)) fail(EISDIR);
}

void PartFile::commit() {
  secure();
  std::error_code error;
  std::filesystem::rename(part_, target_, error);
  if (error) fail(error.value());
  close(std::exchange(descriptor_, -1));
  // The new name, too, is to outlive a power cut; where folders cannot be synced it does so a little later.
  const int folder = ::open(target_.has_parent_path() ? target_.parent_path().c_str() : ".", O_RDONLY | O_DIRECTORY);
  if (folder < 0) return;
  fsync(folder);
  close(folder);
}

void PartFile::fail(int reason) const {
  throw RunError(target_.string() + ": " + what_ + " cannot be written: " + std::strerror(reason) +
                 ". Nothing was changed under that name.");
}

}  // namespace host::local
