#include "host/local/database.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <sqlite3.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <functional>
#include <optional>
#include <sstream>
#include <system_error>
#include <utility>

#include "host/local/lock_holders.h"
#include "host/local/table_type.h"

namespace host::local {

namespace {

static_assert(std::endian::native == std::endian::little, "the blobs hold little-endian float32 as it is in memory");

constexpr int applicationId = 0x4b4f5256;
constexpr int schemaVersion = 2;
constexpr int busyTimeout = 10000;    // ms
constexpr int endTimeout = 60'000;    // the same when hours of work are to be stored
constexpr float greatestX = 0x1p31f;  // what the numbers of trace headers round to

constexpr const char* schema = R"(
  CREATE TABLE korvane_table (
    id INTEGER PRIMARY KEY,
    type TEXT NOT NULL,
    name TEXT NOT NULL,
    x_name TEXT NOT NULL,
    y_name TEXT NOT NULL,
    z_name TEXT NOT NULL,
    z_count INTEGER NOT NULL,
    UNIQUE (type, name)
  );
  CREATE TABLE korvane_function (
    table_id INTEGER NOT NULL REFERENCES korvane_table (id) ON DELETE CASCADE,
    x REAL NOT NULL,
    map_x REAL,
    map_y REAL,
    times BLOB NOT NULL,    -- Y of each point, float32, ascending
    "values" BLOB NOT NULL, -- z_count values a point, float32
    PRIMARY KEY (table_id, x)
  );
  CREATE TABLE korvane_run (
    id INTEGER PRIMARY KEY,
    tool TEXT NOT NULL,
    started TEXT NOT NULL,  -- UTC
    ended TEXT,
    traces INTEGER,
    job TEXT NOT NULL,
    result TEXT NOT NULL
  );)";

/// What schema version 2 adds.
constexpr const char* passSchema = R"(
  CREATE TABLE korvane_pass (
    run_id INTEGER NOT NULL REFERENCES korvane_run (id) ON DELETE CASCADE,
    pass INTEGER NOT NULL,
    seconds REAL NOT NULL,
    traces INTEGER NOT NULL,
    revised INTEGER NOT NULL,
    mean REAL NOT NULL,     -- percent of the velocity
    rms REAL NOT NULL,
    limited REAL NOT NULL,  -- share of samples
    inline_step INTEGER NOT NULL,
    crossline_step INTEGER NOT NULL,
    revision BLOB NOT NULL, -- sectors x inlines x crosslines, percent, float32
    at_limit BLOB NOT NULL, -- the same shape, share of samples
    PRIMARY KEY (run_id, pass)
  );)";

constexpr const char* now = "strftime('%Y-%m-%dT%H:%M:%SZ', 'now')";

int openFlags(Database::Access access) {
  switch (access) {
    case Database::Access::read:
      return SQLite::OPEN_READONLY;
    case Database::Access::write:
      return SQLite::OPEN_READWRITE;
    default:
      return SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE;
  }
}

std::string advice(int code, const std::string& file) {
  switch (code & 0xff) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return "; another program" + lockHolders(file) + " is using the file, try again when it has ended";
    case SQLITE_NOTADB:
      return "; give the name of a database file, or of a new one";
    case SQLITE_CORRUPT:
      return "; restore the file from a copy, or import the tables into a new one";
    case SQLITE_CANTOPEN:
    case SQLITE_READONLY:
    case SQLITE_PERM:
      return "; see that its folder exists and that file and folder may be written";
    case SQLITE_FULL:
    case SQLITE_IOERR:
      return "; see that the disk has room and can be written";
    default:
      return "";
  }
}

std::string quoted(const std::string& type, const std::string& name) { return type + " \"" + name + "\""; }

void bindBlob(SQLite::Statement& statement, int column, const std::vector<float>& values) {
  statement.bindNoCopy(column, values.data(), static_cast<int>(values.size() * sizeof(float)));
}

/// Nothing when the column is not a whole number of finite values.
std::optional<std::vector<float>> finiteValues(const SQLite::Column& blob) {
  const auto bytes = static_cast<std::size_t>(blob.getBytes());
  if (!blob.isBlob() || bytes == 0 || bytes % sizeof(float) != 0) return std::nullopt;
  std::vector<float> values(bytes / sizeof(float));
  std::memcpy(values.data(), blob.getBlob(), bytes);
  if (!std::all_of(values.begin(), values.end(), [](float v) { return std::isfinite(v); })) return std::nullopt;
  return values;
}

std::optional<Position> position(const SQLite::Column& x, const SQLite::Column& y) {
  if (x.isNull()) return std::nullopt;
  return Position{x.getDouble(), y.getDouble()};
}

}  // namespace

class Database::Impl {
 public:
  Impl(const std::filesystem::path& file, Access access) : file_(file.string()) {
    std::error_code error;  // a folder that may not be searched is SQLite's to refuse
    if (access != Access::create && !std::filesystem::exists(file, error) && !error)
      throw RunError(file_ + ": there is no such database file; import a table to make one, or correct the name");
    if (access == Access::read) rollBack(file);
    doing("open the database", [&] {
      database_.emplace(std::filesystem::absolute(file).string(), openFlags(access), busyTimeout);
      database_->exec("PRAGMA foreign_keys = ON");
      if (access != Access::read && sqlite3_db_readonly(database_->getHandle(), "main") == 1)
        throw RunError(file_ + ": the database is write-protected; make it writable, or use a copy");
      if (access == Access::create && blank()) create();
    });
    doing("read the database", [&] {
      checkSchema();
      if (access != Access::read) upgrade();
    });
  }

  /// Runs one operation; what SQLite has to say against it is told with the file and the operation.
  template <class Operation>
  auto doing(const std::string& what, Operation operation) -> decltype(operation()) {
    try {
      return operation();
    } catch (const SQLite::Exception& error) {
      throw RunError(file_ + ": cannot " + what + ": " + error.what() + advice(error.getErrorCode(), file_));
    }
  }

  SQLite::Database& sql() { return *database_; }

  /// Within a transaction: puts the table in the place of that type and name.
  void replace(const Table& table, const std::string& type) {
    SQLite::Statement old(*database_, "DELETE FROM korvane_table WHERE type = ? AND name = ?");
    old.bind(1, type);
    old.bind(2, table.name());
    old.exec();

    SQLite::Statement head(*database_,
                           "INSERT INTO korvane_table (type, name, x_name, y_name, z_name, z_count) "
                           "VALUES (?, ?, ?, ?, ?, ?)");
    head.bind(1, type);
    head.bind(2, table.name());
    head.bind(3, table.xName());
    head.bind(4, table.yName());
    head.bind(5, table.zName());
    head.bind(6, table.zCount());
    head.exec();

    SQLite::Statement row(*database_,
                          "INSERT INTO korvane_function (table_id, x, map_x, map_y, times, \"values\") "
                          "VALUES (?, ?, ?, ?, ?, ?)");
    row.bind(1, static_cast<std::int64_t>(database_->getLastInsertRowid()));
    for (const auto& [x, function] : table.functions()) {
      row.bind(2, static_cast<double>(x));
      if (function.position) {
        row.bind(3, function.position->x);
        row.bind(4, function.position->y);
      } else {
        row.bind(3);
        row.bind(4);
      }
      bindBlob(row, 5, function.y);
      bindBlob(row, 6, function.z);
      row.exec();
      row.reset();
    }
  }

  void end(std::int64_t run, std::int64_t traces, const std::string& result) {
    SQLite::Statement statement(
        *database_, std::string("UPDATE korvane_run SET ended = ") + now + ", traces = ?, result = ? WHERE id = ?");
    statement.bind(1, traces);
    statement.bind(2, result);
    statement.bind(3, run);
    statement.exec();
  }

  [[noreturn]] void refuse(const std::string& table, const std::string& what) const {
    throw RunError(file_ + ": table " + table + what + "; the file is damaged, import this table again");
  }
  [[noreturn]] void refuse(const std::string& table, float x, const std::string& what) const {
    std::ostringstream text;
    text.precision(9);
    text << ", function at " << x << ": " << what;
    refuse(table, text.str());
  }

 private:
  /// A program that was killed may have left half a transaction. Only who may write can roll it back; for others it
  /// stands in the way of reading.
  void rollBack(const std::filesystem::path& file) const {
    std::error_code error;
    if (!std::filesystem::exists(file_ + "-journal", error)) return;
    try {
      SQLite::Database writable(std::filesystem::absolute(file).string(), SQLite::OPEN_READWRITE, busyTimeout);
      writable.execAndGet("SELECT count(*) FROM sqlite_master");
    } catch (const SQLite::Exception&) {  // what is wrong shows when the file is read
    }
  }

  int number(const char* query) { return database_->execAndGet(query).getInt(); }

  bool blank() {
    return number("PRAGMA application_id") == 0 && number("PRAGMA user_version") == 0 &&
           number("SELECT count(*) FROM sqlite_master") == 0;
  }

  void create() {
    SQLite::Transaction transaction(*database_, SQLite::TransactionBehavior::IMMEDIATE);
    if (!blank()) return;  // another program was first
    database_->exec(schema);
    database_->exec(passSchema);
    database_->exec("PRAGMA application_id = " + std::to_string(applicationId));
    database_->exec("PRAGMA user_version = " + std::to_string(schemaVersion));
    transaction.commit();
  }

  void checkSchema() {
    if (number("PRAGMA application_id") != applicationId)
      throw RunError(file_ + ": this is not a KORVANE database; give the name of one, or of a new file");
    const int version = number("PRAGMA user_version");
    if (version < 1 || version > schemaVersion)
      throw RunError(file_ + ": the database has schema version " + std::to_string(version) +
                     ", this program knows version " + std::to_string(schemaVersion) +
                     "; use the program that wrote it");
  }

  void upgrade() {
    if (number("PRAGMA user_version") == schemaVersion) return;
    SQLite::Transaction transaction(*database_, SQLite::TransactionBehavior::IMMEDIATE);
    if (number("PRAGMA user_version") == schemaVersion) return;  // another program was first
    database_->exec(passSchema);
    database_->exec("PRAGMA user_version = " + std::to_string(schemaVersion));
    transaction.commit();
  }

  std::string file_;
  std::optional<SQLite::Database> database_;
};

Database::Database(const std::filesystem::path& file, Access access) : impl_(std::make_unique<Impl>(file, access)) {}
Database::~Database() = default;

std::vector<Database::Entry> Database::list() const {
  return impl_->doing("list the tables", [&] {
    SQLite::Statement rows(impl_->sql(),
                           "SELECT type, name, z_count, count(x), coalesce(sum(length(times)), 0), "
                           "coalesce(min(x), 0), coalesce(max(x), 0), count(map_x) "
                           "FROM korvane_table LEFT JOIN korvane_function ON table_id = id "
                           "GROUP BY id ORDER BY type, name");
    std::vector<Entry> entries;
    while (rows.executeStep()) {
      entries.push_back({.type = rows.getColumn(0).getString(),
                         .name = rows.getColumn(1).getString(),
                         .functions = rows.getColumn(3).getInt(),
                         .points = rows.getColumn(4).getInt64() / static_cast<std::int64_t>(sizeof(float)),
                         .zCount = rows.getColumn(2).getInt(),
                         .firstX = static_cast<float>(rows.getColumn(5).getDouble()),
                         .lastX = static_cast<float>(rows.getColumn(6).getDouble()),
                         .positions = false});
      Entry& entry = entries.back();
      entry.positions = entry.functions > 0 && rows.getColumn(7).getInt() == entry.functions;
    }
    return entries;
  });
}

std::unique_ptr<Table> Database::load(const std::string& type, const std::string& name) const {
  const TableType& kind = tableType(type);
  const std::string label = quoted(type, name);
  return impl_->doing("read table " + label, [&]() -> std::unique_ptr<Table> {
    SQLite::Statement head(impl_->sql(),
                           "SELECT id, z_count, x_name, y_name, z_name FROM korvane_table WHERE type = ? AND name = ?");
    head.bind(1, type);
    head.bind(2, name);
    if (!head.executeStep()) return nullptr;
    const std::int64_t given = head.getColumn(1).getInt64();
    // 0: a table that never held a point
    if (!std::in_range<int>(given) || given < 0 || (kind.zCount != 0 && given != 0 && given != kind.zCount))
      impl_->refuse(label, ": " + std::to_string(given) + " values a point are not what its type has");
    const int zCount = static_cast<int>(given);
    auto table = std::make_unique<Table>(name, zCount, head.getColumn(2).getString(), head.getColumn(3).getString(),
                                         head.getColumn(4).getString());

    SQLite::Statement rows(impl_->sql(),
                           "SELECT x, map_x, map_y, times, \"values\" FROM korvane_function WHERE table_id = ? "
                           "ORDER BY x");
    rows.bind(1, head.getColumn(0).getInt64());
    while (rows.executeStep()) {
      const auto x = static_cast<float>(rows.getColumn(0).getDouble());
      const auto times = finiteValues(rows.getColumn(3));
      const auto values = finiteValues(rows.getColumn(4));
      if (!(std::abs(x) <= greatestX) || (type == "AHZ" && x < 1.0f))
        impl_->refuse(label, x, "its X is no number of a CDP or horizon");
      if (!times) impl_->refuse(label, x, "its times are not a list of finite numbers");
      if (!values) impl_->refuse(label, x, "its values are not a list of finite numbers");
      if (std::adjacent_find(times->begin(), times->end(), std::greater_equal<>()) != times->end())
        impl_->refuse(label, x, "its times do not ascend");
      if (zCount < 1 || values->size() != times->size() * static_cast<std::size_t>(zCount))
        impl_->refuse(label, x,
                      std::to_string(times->size()) + " times with " + std::to_string(zCount) + " values each, but " +
                          std::to_string(values->size()) + " values");
      if (type != "AHZ" && std::any_of(values->begin(), values->end(), [](float v) { return v <= 0.0f; }))
        impl_->refuse(label, x, "it has a velocity that is not above 0");
      if (rows.getColumn(1).isNull() != rows.getColumn(2).isNull())
        impl_->refuse(label, x, "its map position is incomplete");
      for (std::size_t k = 0; k < times->size(); ++k)
        table->add(x, (*times)[k], values->data() + k * static_cast<std::size_t>(zCount));
      if (const auto place = position(rows.getColumn(1), rows.getColumn(2))) {
        if (!fitsHeaders(*place)) impl_->refuse(label, x, "its map position is not a finite number");
        table->place(x, *place);
      }
    }
    return table;
  });
}

void Database::save(const Table& table, const std::string& type) {
  tableType(type);
  impl_->doing("write table " + quoted(type, table.name()), [&] {
    SQLite::Transaction transaction(impl_->sql(), SQLite::TransactionBehavior::IMMEDIATE);
    impl_->replace(table, type);
    transaction.commit();
  });
}

bool Database::remove(const std::string& type, const std::string& name) {
  tableType(type);
  return impl_->doing("delete table " + quoted(type, name), [&] {
    SQLite::Statement statement(impl_->sql(), "DELETE FROM korvane_table WHERE type = ? AND name = ?");
    statement.bind(1, type);
    statement.bind(2, name);
    return statement.exec() > 0;
  });
}

std::int64_t Database::beginRun(const std::string& tool, const std::string& jobText) {
  return impl_->doing("record the run", [&] {
    SQLite::Statement statement(impl_->sql(), std::string("INSERT INTO korvane_run (tool, started, job, result) "
                                                          "VALUES (?, ") +
                                                  now + ", ?, 'running')");
    statement.bind(1, tool);
    statement.bind(2, jobText);
    statement.exec();
    return static_cast<std::int64_t>(impl_->sql().getLastInsertRowid());
  });
}

void Database::endRun(std::int64_t id, std::int64_t traces, const std::string& result) {
  impl_->doing("record the end of the run", [&] { impl_->end(id, traces, result); });
}

void Database::completeRun(std::int64_t id, std::int64_t traces, const Table* table, const std::string& type,
                           const std::function<void()>& last) {
  if (table != nullptr) tableType(type);
  impl_->doing(table != nullptr ? "write table " + quoted(type, table->name()) : "record the end of the run", [&] {
    impl_->sql().setBusyTimeout(endTimeout);
    SQLite::Transaction transaction(impl_->sql(), SQLite::TransactionBehavior::IMMEDIATE);
    if (table != nullptr) impl_->replace(*table, type);
    impl_->end(id, traces, "completed");
    // What is left to the commit takes no more room on the disk: every page that it touches is in the journal, the
    // first one, which counts the changes, by being written here as it is.
    impl_->sql().exec("PRAGMA user_version = " + std::to_string(schemaVersion));
    const int flushed = sqlite3_db_cacheflush(impl_->sql().getHandle());
    if (flushed != SQLITE_OK) throw SQLite::Exception(sqlite3_errstr(flushed), flushed);
    last();
    transaction.commit();
  });
}

void Database::resumeRun(std::int64_t id) {
  impl_->doing("take up the record of the run", [&] {
    SQLite::Statement statement(impl_->sql(), "UPDATE korvane_run SET ended = NULL, result = 'running' WHERE id = ?");
    statement.bind(1, id);
    statement.exec();
  });
}

std::vector<Database::Run> Database::runs() const {
  return impl_->doing("read the runs", [&] {
    SQLite::Statement rows(impl_->sql(),
                           "SELECT id, started, coalesce(ended, ''), job, result, coalesce(traces, 0) FROM korvane_run "
                           "ORDER BY id");
    std::vector<Run> runs;
    while (rows.executeStep()) {
      runs.push_back({.id = rows.getColumn(0).getInt64(),
                      .started = rows.getColumn(1).getString(),
                      .ended = rows.getColumn(2).getString(),
                      .job = rows.getColumn(3).getString(),
                      .result = rows.getColumn(4).getString(),
                      .traces = rows.getColumn(5).getInt64()});
    }
    return runs;
  });
}

std::vector<PassRecord> Database::passes(std::int64_t run) const {
  return impl_->doing("read the passes of a run", [&] {
    std::vector<PassRecord> passes;
    if (!impl_->sql().tableExists("korvane_pass")) return passes;
    SQLite::Statement rows(impl_->sql(),
                           "SELECT pass, seconds, traces, revised, mean, rms, limited, inline_step, crossline_step, "
                           "revision, at_limit FROM korvane_pass WHERE run_id = ? ORDER BY pass");
    rows.bind(1, run);
    while (rows.executeStep()) {
      const auto revision = finiteValues(rows.getColumn(9));
      const auto atLimit = finiteValues(rows.getColumn(10));
      const int inlineStep = rows.getColumn(7).getInt(), crosslineStep = rows.getColumn(8).getInt();
      if (!revision || !atLimit || inlineStep < 1 || crosslineStep < 1) continue;
      passes.push_back({.pass = rows.getColumn(0).getInt(),
                        .seconds = rows.getColumn(1).getDouble(),
                        .traces = rows.getColumn(2).getInt64(),
                        .revised = rows.getColumn(3).getInt64(),
                        .mean = rows.getColumn(4).getDouble(),
                        .rms = rows.getColumn(5).getDouble(),
                        .limited = rows.getColumn(6).getDouble(),
                        .inlineStep = inlineStep,
                        .crosslineStep = crosslineStep,
                        .revision = *revision,
                        .atLimit = *atLimit});
    }
    return passes;
  });
}

void Database::addPass(std::int64_t run, const PassRecord& pass) {
  impl_->doing("record a pass", [&] {
    SQLite::Statement statement(impl_->sql(),
                                "INSERT OR REPLACE INTO korvane_pass VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    statement.bind(1, run);
    statement.bind(2, pass.pass);
    statement.bind(3, pass.seconds);
    statement.bind(4, pass.traces);
    statement.bind(5, pass.revised);
    statement.bind(6, pass.mean);
    statement.bind(7, pass.rms);
    statement.bind(8, pass.limited);
    statement.bind(9, pass.inlineStep);
    statement.bind(10, pass.crosslineStep);
    bindBlob(statement, 11, pass.revision);
    bindBlob(statement, 12, pass.atLimit);
    statement.exec();
  });
}

}  // namespace host::local
