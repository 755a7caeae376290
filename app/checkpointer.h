#pragma once

#include <cstddef>
#include <filesystem>
#include <future>
#include <memory>
#include <vector>

#include "app/run_log.h"
#include "host/local/checkpoint_file.h"
#include "host/local/local_job.h"
#include "korvane/pass_observer.h"

namespace app {

/// Keeps the state of a run safe on disk from one pass to the next, and takes a run up from there. A checkpoint is
/// written beside the run: A and B while the velocities are revised, the velocities, from a copy, while the next pass
/// gathers. It replaces the one before when it is whole. In prestack mode there is none before the output pass, as the
/// traces of the pass before are not kept.
class Checkpointer : public korvane::PassObserver {
 public:
  Checkpointer(const host::local::JobFile& file, host::local::LocalJob& job, RunLog& log);
  ~Checkpointer() override;

  /// Where the checkpoint of a job is: beside the database, named after it and the job.
  static std::filesystem::path fileOf(const host::local::JobFile& file);

  enum class Found { nothing, completedRun, brokenRun };
  /// Looks for a checkpoint of the job, and has the run go on from it. RunError when it is damaged or of another run.
  Found find();

  void goOn(korvane::RunState& run) override;
  void gathered(const korvane::RunState& run) override;
  void revised(const korvane::RunState& run) override;

  /// Waits until what is being written is on disk. @return the pass that --resume would go on with; 0 without one
  int settle() noexcept;
  /// The run is complete: its checkpoint goes.
  void remove();

 private:
  using Blocks = std::vector<host::local::CheckpointBlock>;

  /// The same blocks at another address, where what they hold stays as it is. Empty when there is no room.
  Blocks copied(const Blocks& blocks);
  /// Writes the blocks behind A and B, beside the run, and the checkpoint is whole.
  void complete(const Blocks& blocks, const host::local::CheckpointState& state);
  void finishWriting();

  host::local::LocalJob& job_;
  RunLog& log_;
  const std::filesystem::path file_;
  const host::local::RunIdentity identity_;
  std::unique_ptr<host::local::CheckpointReader> reader_;
  std::unique_ptr<host::local::CheckpointWriter> writer_;
  std::vector<void*> copies_;
  int passKept_ = 0;   ///< that the checkpoint on disk goes on with; 0: there is none
  int passAhead_ = 0;  ///< that of the one that is being written
  std::future<void> writing_;
};

}  // namespace app
