#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "host/local/database.h"
#include "host/local/job.h"
#include "host/local/job_file.h"
#include "host/local/segy_data.h"

namespace host::local {

/// Where the index of a job's input is kept: beside the database, named after it and the input.
std::filesystem::path indexFile(const JobFile& file);

/// A job on this machine: its database open, its SEG-Y input indexed, its run recorded. Errors are RunError.
class LocalJob {
 public:
  /// @param version  of the tool, for the output's text header
  LocalJob(const JobFile& file, const std::string& version, MessageSink& messages);
  ~LocalJob();

  Job& job();
  SegyData& data();
  Database& database();
  /// Adds a pass to the run record.
  void recordPass(const PassRecord& pass);
  /// Ends the run record with the reason; the output file stays as it was before the run.
  void fail(const std::string& why);

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace host::local
