#include <SQLiteCpp/SQLiteCpp.h>

#include <sstream>

#include "fuzz/fuzz_target.h"
#include "host/local/database.h"
#include "host/local/table_text.h"

// Tables and passes in a database whose rows somebody else has written: columns of any type, packed numbers of any
// length.

namespace {

using namespace host::local;

/// A database with one table and one run, open for both sides.
struct Store {
  korvane_fuzz::PrivateFolder folder;
  std::filesystem::path file = folder.path() / "fuzz.db";
  Database read{file, Database::Access::create};
  SQLite::Database written{file.string(), SQLite::OPEN_READWRITE};

  Store() {
    written.exec("PRAGMA synchronous = OFF; PRAGMA journal_mode = MEMORY");
    for (const char* type : {"VEL", "VAZ", "AHZ"}) {
      host::Table table("fuzz", 1, "X", "Y", "Z");
      read.save(table, type);
    }
    read.beginRun("fuzz", "");
  }
};

void bindAny(SQLite::Statement& row, int column, FuzzedDataProvider& choice) {
  switch (choice.ConsumeIntegralInRange(0, 5)) {
    case 0:
      return row.bind(column);
    case 1:
      return row.bind(column, choice.ConsumeIntegralInRange(-2, 9));
    case 2:
      return row.bind(column, choice.ConsumeIntegral<std::int64_t>());
    case 3: {
      double value = 0.0;
      choice.ConsumeData(&value, sizeof value);
      return row.bind(column, value);
    }
    case 4:
      return row.bind(column, choice.ConsumeRandomLengthString(20));
    default: {
      const std::string bytes = choice.ConsumeBytesAsString(choice.ConsumeIntegralInRange<std::size_t>(0, 64));
      return row.bind(column, bytes.data(), static_cast<int>(bytes.size()));
    }
  }
}

/// Puts a row in; rows that the schema refuses are left out.
void put(SQLite::Database& database, const char* statement, int columns, FuzzedDataProvider& choice) {
  try {
    SQLite::Statement row(database, statement);
    for (int column = 1; column <= columns; ++column) bindAny(row, column, choice);
    row.exec();
  } catch (const SQLite::Exception&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Store store;
  FuzzedDataProvider choice(data, size);
  const std::string type = choice.PickValueInArray({"VEL", "VAZ", "AHZ"});
  const float x = choice.ConsumeFloatingPoint<float>(), y = choice.ConsumeFloatingPoint<float>();
  {
    SQLite::Transaction transaction(store.written);
    store.written.exec("DELETE FROM korvane_function; DELETE FROM korvane_pass");
    put(store.written, "UPDATE korvane_table SET z_count = ?", 1, choice);
    for (int rows = choice.ConsumeIntegralInRange(0, 4); rows > 0; --rows)
      put(store.written, "INSERT INTO korvane_function SELECT id, ?, ?, ?, ?, ? FROM korvane_table", 5, choice);
    put(store.written, "INSERT INTO korvane_pass VALUES (1, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)", 10, choice);
    transaction.commit();
  }
  korvane_fuzz::attempt([&] { store.read.list(); });
  korvane_fuzz::attempt([&] { store.read.passes(1); });
  korvane_fuzz::attempt([&] {
    const auto table = store.read.load(type, "fuzz");
    if (table->functions().empty()) return;
    korvane_fuzz::interpolate(*table, x, y);
    std::ostringstream text;
    writeTableCsv(*table, type, text);
  });
  return 0;
}
