#include "host/local/mapped_store.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>
#include <string>
#include <utility>

namespace host::local {

namespace {

constexpr std::int64_t unlimited = std::numeric_limits<std::int64_t>::max();

/// The number behind a key of a "key number" list such as /proc/meminfo; nothing when there is none.
std::optional<std::int64_t> numberBehind(const std::filesystem::path& file, const std::string& key) {
  std::ifstream in(file);
  for (std::string word; in >> word;)
    if (std::int64_t number = 0; word == key && in >> number) return number;
  return std::nullopt;
}

/// A file that holds one number; "max" and a missing file have none.
std::optional<std::int64_t> numberIn(const std::filesystem::path& file) {
  std::ifstream in(file);
  std::int64_t number = 0;
  if (in >> number) return number;
  return std::nullopt;
}

std::int64_t machineMemory() {
  const auto kilobytes = numberBehind("/proc/meminfo", "MemAvailable:");
  return kilobytes ? *kilobytes * 1024 : unlimited;
}

/// Where a version of the kernel's control groups tells of memory.
struct GroupFiles {
  std::filesystem::path root;
  const char *limit, *used;
  const char* cached;  ///< of memory.stat: file pages that the kernel can drop at once
};
const GroupFiles version1{"/sys/fs/cgroup/memory", "memory.limit_in_bytes", "memory.usage_in_bytes",
                          "total_inactive_file"};
const GroupFiles version2{"/sys/fs/cgroup", "memory.max", "memory.current", "inactive_file"};

/// What a control group and those above it leave: each limit less what is in use, but for pages that can be dropped.
std::int64_t memoryLeft(const GroupFiles& files, std::filesystem::path group) {
  std::int64_t left = unlimited;
  for (;; group = group.parent_path()) {
    const std::filesystem::path folder = files.root / group;
    const auto limit = numberIn(folder / files.limit);
    const auto used = numberIn(folder / files.used);
    if (limit && used) {
      const std::int64_t cached = numberBehind(folder / "memory.stat", files.cached).value_or(0);
      left = std::min(left, std::max<std::int64_t>(0, *limit - std::max<std::int64_t>(0, *used - cached)));
    }
    if (group.empty()) return left;
  }
}

/// What the control groups of this process leave it.
std::int64_t groupMemory() {
  std::ifstream groups("/proc/self/cgroup");
  std::int64_t left = unlimited;
  for (std::string line; std::getline(groups, line);) {  // number:controllers:/path, of version 2 without controllers
    const std::size_t controllers = line.find(':') + 1, path = line.find(":/", controllers);
    if (controllers == 0 || path == std::string::npos) continue;
    const std::string list = ',' + line.substr(controllers, path - controllers) + ',';
    if (list == ",,") left = std::min(left, memoryLeft(version2, line.substr(path + 2)));
    if (list.find(",memory,") != std::string::npos) left = std::min(left, memoryLeft(version1, line.substr(path + 2)));
  }
  return left;
}

/// What stores may take of the memory that is there: the work arrays need theirs, and so do the pages of stores in
/// files.
std::int64_t memoryForStores() {
  constexpr std::int64_t others = std::int64_t{256} << 20;
  const std::int64_t available = std::min(machineMemory(), groupMemory());
  return std::max<std::int64_t>(0, std::min(available / 4 * 3, available - others));
}

/// An open file in the folder that no name leads to; -1 leaves the reason in errno.
int openUnlinked(const std::filesystem::path& folder) {
  const int file = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (file >= 0 || (errno != EOPNOTSUPP && errno != EISDIR)) return file;
  std::string name = (folder / "korvane-store-XXXXXX").string();
  const int named = ::mkostemp(name.data(), O_CLOEXEC);
  if (named >= 0) ::unlink(name.c_str());
  return named;
}

}  // namespace

StorePlan planStores(const std::vector<std::int64_t>& blocks, std::optional<std::int64_t> memoryBudget) {
  StorePlan plan{.memoryBudget = memoryBudget ? *memoryBudget : memoryForStores()};
  for (const std::int64_t bytes : blocks) {
    (bytes <= plan.memoryBudget - plan.inMemory ? plan.inMemory : plan.inScratch) += bytes;
  }
  return plan;
}

std::optional<std::int64_t> freeSpace(const std::filesystem::path& folder) {
  struct statvfs disk {};
  if (::statvfs(folder.empty() ? "." : folder.c_str(), &disk) != 0) return std::nullopt;
  return static_cast<std::int64_t>(disk.f_bavail) * static_cast<std::int64_t>(disk.f_frsize);
}

std::string inMegabytes(double bytes) {
  char text[48];
  std::snprintf(text, sizeof text, "%.1f MB", bytes / 1e6);
  return text;
}

MappedStore::MappedStore(std::filesystem::path scratch, MessageSink& messages, std::optional<std::int64_t> memoryBudget)
    : scratch_(scratch.empty() ? "." : std::move(scratch)),
      messages_(messages),
      memoryBudget_(memoryBudget ? *memoryBudget : memoryForStores()) {}

MappedStore::~MappedStore() {
  for (const Block& block : blocks_) ::munmap(block.address, block.bytes);
}

void* MappedStore::map(std::int64_t bytes) {
  const std::size_t size = static_cast<std::size_t>(std::max<std::int64_t>(bytes, 1));
  void* address = nullptr;
  if (bytes <= memoryBudget_ - inMemory_) {
    address = mapMemory(size);
    if (address != nullptr) inMemory_ += bytes;
  }
  if (address == nullptr) address = mapFile(size);
  if (address == nullptr) {
    warnNoRoom(bytes, errno);
    return nullptr;
  }
  blocks_.push_back({address, size});
  return address;
}

void* MappedStore::mapMemory(std::size_t bytes) {
  void* address = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (address == MAP_FAILED) return nullptr;
  // The passes sweep the stores from end to end: fewer, larger pages. A kernel without them may refuse.
  ::madvise(address, bytes, MADV_HUGEPAGE);
  return address;
}

void* MappedStore::mapFile(std::size_t bytes) {
  const int file = openUnlinked(scratch_);
  if (file < 0) return nullptr;
  // Reserved here, so that a full disk shows now and not as a bus error in the middle of a pass.
  const int reserved = ::posix_fallocate(file, 0, static_cast<off_t>(bytes));
  void* address = MAP_FAILED;
  if (reserved == 0) address = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  const int reason = reserved != 0 ? reserved : errno;
  ::close(file);
  errno = reason;
  if (address == MAP_FAILED) return nullptr;
  // Rows of many stores and sectors are visited in turn: reading around each of them would drive the others out.
  ::madvise(address, bytes, MADV_RANDOM);
  return address;
}

void MappedStore::warnNoRoom(std::int64_t bytes, int reason) {
  const std::optional<std::int64_t> free = freeSpace(scratch_);
  messages_.warn(
      "No room for a store of " + std::to_string(bytes) + " bytes (" + inMegabytes(static_cast<double>(bytes)) +
      "): " + inMegabytes(static_cast<double>(memoryBudget_ - inMemory_)) + " of memory are left for stores, and " +
      (free ? inMegabytes(static_cast<double>(*free)) : std::string("nothing")) + " in scratch folder " +
      scratch_.string() + " (" + std::strerror(reason) +
      "). Name a scratch folder with more room, or process a smaller range of CDPs.");
}

}  // namespace host::local
