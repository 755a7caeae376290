#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "host/local/database.h"
#include "host/local/job.h"
#include "host/local/job_file.h"
#include "host/local/run_identity.h"
#include "host/local/segy_data.h"

namespace host::local {

/// Where the index of a job's input is kept: beside the database, named after it and the input.
std::filesystem::path indexFile(const JobFile& file);

/// What a run did.
struct RunSummary {
  struct Pass {
    std::int64_t traces = 0;
    double seconds = 0.0;  ///< of an analysis pass with the revision behind it
  };
  int firstPass = 1;         ///< number of the first of these: the passes before it were made in an earlier run
  std::vector<Pass> passes;  ///< over the input data; after a whole run the last one is that of the output
  int passesAsked = 0;
  std::int64_t inputTraces = 0;   ///< delivered
  std::int64_t outputTraces = 0;  ///< emitted
  std::string tableType, table;   ///< the table written; empty: none
  std::size_t functions = 0;      ///< of the table
};

/// A job on this machine: its database open, its SEG-Y input indexed, its run recorded. Errors are RunError.
class LocalJob {
 public:
  /// @param version  of the tool, for the output's text header
  /// @param access   read: for a look at the job that changes nothing and begins no run
  LocalJob(const JobFile& file, const std::string& version, MessageSink& messages,
           Database::Access access = Database::Access::write);
  ~LocalJob();

  Job& job();
  SegyData& data();
  Database& database();
  /// What the results depend on.
  RunIdentity identity() const;
  /// Number of the run's record in the database; 0 while it has none.
  std::int64_t record() const;
  /// Takes up the record of a run that broke off, in place of beginning one. @return false when that run was completed
  bool takeUp(std::int64_t record);
  /// Of the ensemble that the input delivered last.
  InputPlace place() const;
  /// Has the input deliver from there on. RunError when no ensemble begins there.
  void goOnFrom(const InputPlace& place);
  /// Adds a pass to the run record; a warning when that fails.
  void recordPass(const PassRecord& pass);
  RunSummary summary() const;
  /// Ends the run record with the reason; the output file stays as it was before the run.
  void fail(const std::string& why);

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace host::local
