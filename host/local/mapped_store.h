#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/local/job.h"

namespace host::local {

/// Where blocks would lie, in bytes.
struct StorePlan {
  std::int64_t inMemory = 0, inScratch = 0;
  std::int64_t memoryBudget = 0;  ///< most that is held in memory
};

/// Where a MappedStore would put blocks of these sizes, one after the other. Nothing is made.
StorePlan planStores(const std::vector<std::int64_t>& blocks, std::optional<std::int64_t> memoryBudget = std::nullopt);

/// Bytes that a file in the folder may have; nothing when the system does not tell.
std::optional<std::int64_t> freeSpace(const std::filesystem::path& folder);

/// A number of bytes to read.
std::string inMegabytes(double bytes);

/// Blocks for the per-CDP stores, zeroed: in memory while they fit (all blocks so far within three quarters of the
/// memory that the machine, and the control groups it runs in, have available at the start, and 256 MiB below it), in
/// an unlinked file of the scratch folder when not. Released with the object.
class MappedStore : public BlockSource {
 public:
  /// @param scratch       folder for the blocks that do not fit in memory
  /// @param messages      where a lack of room is reported
  /// @param memoryBudget  bytes to hold in memory, when the share named above is not wanted
  MappedStore(std::filesystem::path scratch, MessageSink& messages,
              std::optional<std::int64_t> memoryBudget = std::nullopt);
  ~MappedStore() override;
  MappedStore(const MappedStore&) = delete;
  MappedStore& operator=(const MappedStore&) = delete;

  /// Null when neither has room; then a warning says how many bytes were needed and how many were found, and where.
  void* map(std::int64_t bytes) override;

 private:
  struct Block {
    void* address;
    std::size_t bytes;
  };
  void* mapMemory(std::size_t bytes);
  /// Null leaves the reason in errno.
  void* mapFile(std::size_t bytes);
  void warnNoRoom(std::int64_t bytes, int reason);

  std::filesystem::path scratch_;
  MessageSink& messages_;
  std::vector<Block> blocks_;
  std::int64_t memoryBudget_ = 0;
  std::int64_t inMemory_ = 0;
};

}  // namespace host::local
