#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "host/local/run_identity.h"
#include "host/local/segy_data.h"

namespace host::local {

/// Where a run stands between two passes.
struct CheckpointState {
  std::int64_t pass = 0;    ///< that comes next, from 1
  std::int64_t traces = 0;  ///< analysed so far
  std::int64_t record = 0;  ///< of the run, in the database
  InputPlace place;         ///< of the input, at the ensemble that opens the pass
};

/// A piece of the state of a run, in memory.
struct CheckpointBlock {
  const char* name;
  void* data;
  std::int64_t bytes;
};

/// Writes a checkpoint beside the earlier one, past the page cache where the file system can: the blocks from a page
/// boundary each, and behind them, in JSON, identity, state and a checksum of every block. The first page says where
/// that is. Errors are RunError.
class CheckpointWriter {
 public:
  explicit CheckpointWriter(std::filesystem::path target);
  ~CheckpointWriter();

  void add(const CheckpointBlock& block);
  /// Makes the checkpoint the one to go on from. @return false when it was abandoned
  bool commit(const RunIdentity& identity, const CheckpointState& state);
  /// Has what another thread writes end soon; nothing is committed from here on.
  void abandon();

 private:
  class File;
  std::unique_ptr<File> file_;
};

/// Reads a checkpoint; whatever it says is checked against the size of the file before it is used.
class CheckpointReader {
 public:
  /// RunError when the file is damaged, or is of a run of another identity: with every difference.
  CheckpointReader(std::filesystem::path file, const RunIdentity& identity);
  ~CheckpointReader();

  const CheckpointState& state() const;
  /// Fills the block. RunError when the checkpoint has none of that name and size, or it is damaged.
  void read(const CheckpointBlock& block) const;

 private:
  class File;
  std::unique_ptr<File> file_;
};

}  // namespace host::local
