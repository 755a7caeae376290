#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "host/local/job.h"
#include "host/local/table.h"

namespace host::local {

/// Tables and run records in one SQLite file. A schema version is kept; a newer or foreign file is refused. Errors are
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

  /// Begins a run record with the start time, and returns its id; its result stands as "running" until it is ended.
  std::int64_t beginRun(const std::string& tool, const std::string& jobText);
  void endRun(std::int64_t id, std::int64_t traces, const std::string& result);

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace host::local
