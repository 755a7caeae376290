#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/local/job.h"
#include "host/local/table.h"

namespace host::local {

/// What a pass did to the velocities.
struct PassRecord {
  int pass = 0;
  double seconds = 0.0;
  std::int64_t traces = 0;       ///< of the ensembles it fetched
  std::int64_t revised = 0;      ///< functions
  double mean = 0.0, rms = 0.0;  ///< of the revisions of all samples, percent of the velocity
  double limited = 0.0;          ///< share of the revised functions' samples that a limit held
  int inlineStep = 1;            ///< of the positions below
  int crosslineStep = 1;
  /// Sectors x inlines x crosslines: RMS of a function's revision in percent, or why there is none.
  std::vector<float> revision;
  std::vector<float> atLimit;  ///< of the same shape: share of the function's samples that a limit held
  static constexpr float fewNeighbours = -1.0f, noData = -2.0f;
  bool operator==(const PassRecord&) const = default;
};

/// Tables and run records in one SQLite file. A schema version is kept; an
/// older file is brought up to date when it is opened for writing, a newer or foreign one is refused. Errors are
/// RunError naming the file, the table and the reason.
class Database {
 public:
  enum class Access { read, write, create };

  Database(const std::filesystem::path& file, Access access);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  struct Entry {
    std::string type, name;
    int functions = 0;
    std::int64_t points = 0;
    int zCount = 0;
    float firstX = 0.0f, lastX = 0.0f;
    bool positions = false;  ///< every function has a map position
  };
  std::vector<Entry> list() const;

  /// Null when there is none.
  std::unique_ptr<Table> load(const std::string& type, const std::string& name) const;
  /// Replaces the table of that type and name, in one transaction.
  void save(const Table& table, const std::string& type);
  /// @return false when there is none
  bool remove(const std::string& type, const std::string& name);

  struct Run {
    std::int64_t id = 0;
    std::string started, ended;  ///< UTC; ended is empty while it runs
    std::string job, result;     ///< text of the job file; "completed", "running" or why it failed
    std::int64_t traces = 0;
  };
  /// The runs, in the order of their start.
  std::vector<Run> runs() const;
  /// The passes of a run, ascending; damaged records are passed over.
  std::vector<PassRecord> passes(std::int64_t run) const;
  void addPass(std::int64_t run, const PassRecord& pass);

  /// Begins a run record with the start time, and returns its id; its result stands as "running" until it is ended.
  std::int64_t beginRun(const std::string& tool, const std::string& jobText);
  void endRun(std::int64_t id, std::int64_t traces, const std::string& result);
  /// Ends a run as "completed" and stores the table that it wrote, if any, in one transaction. `last` is called when
  /// nothing but the commit is left to do; when it throws, nothing was changed.
  void completeRun(std::int64_t id, std::int64_t traces, const Table* table, const std::string& type,
                   const std::function<void()>& last);
  /// Takes up the record of a run that broke off: it stands as "running" again.
  void resumeRun(std::int64_t id);

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace host::local
