#include "host/local/database.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include "host/local/job.h"

namespace host::local {
namespace {

using Access = Database::Access;

class DatabaseTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = (std::filesystem::temp_directory_path() / "database-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder = name;
    file = folder / "survey.db";
  }
  void TearDown() override { std::filesystem::remove_all(folder); }

  /// A table of one function; its values start at `first`.
  static Table sample(float first = 1500.0f) {
    Table table("vin", 2, "CDP", "TIME", "VELAZRMS");
    for (const float time : {0.0f, 0.1f, 1e4f}) {
      const float z[] = {first + time, std::nextafter(first, 1e9f)};
      table.add(7.0f, time, z);
    }
    return table;
  }

  void store(const Table& table, const std::string& type = "VAZ") { Database(file, Access::create).save(table, type); }

  void sql(const std::string& statement) {
    SQLite::Database database(file, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
    database.exec(statement);
  }

  template <class Operation>
  static std::string refusal(Operation operation) {
    try {
      operation();
    } catch (const RunError& error) {
      return error.what();
    }
    return "not refused";
  }

  /// The message names the file and every given word.
  void expectWords(const std::string& message, std::vector<std::string> words) const {
    words.push_back(file.string());
    for (const std::string& word : words) EXPECT_NE(message.find(word), std::string::npos) << message;
  }

  std::filesystem::path folder, file;
};

void expectSame(const Table& a, const Table& b) {
  EXPECT_EQ(a.name(), b.name());
  EXPECT_EQ(a.zCount(), b.zCount());
  EXPECT_EQ(a.xName(), b.xName());
  EXPECT_EQ(a.yName(), b.yName());
  EXPECT_EQ(a.zName(), b.zName());
  ASSERT_EQ(a.functions().size(), b.functions().size());
  for (auto p = a.functions().begin(), q = b.functions().begin(); p != a.functions().end(); ++p, ++q) {
    EXPECT_EQ(p->first, q->first);
    EXPECT_EQ(p->second.y, q->second.y);
    EXPECT_EQ(p->second.z, q->second.z);
    EXPECT_EQ(p->second.position, q->second.position);
  }
}

TEST_F(DatabaseTest, ATableComesBackToTheLastBitWithItsPositions) {
  Table table = sample();
  const float z[] = {std::numeric_limits<float>::denorm_min(), 3.4e38f};
  table.add(16777215.0f, 3.0f, z);
  table.place(16777215.0f, {450000.1, -0.1});
  store(table);
  const auto loaded = Database(file, Access::read).load("VAZ", "vin");
  ASSERT_NE(loaded, nullptr);
  expectSame(*loaded, table);
}

TEST_F(DatabaseTest, SavingReplacesAndRemovingLeavesNoFunctionBehind) {
  Database database(file, Access::create);
  database.save(sample(1500.0f), "VEL");
  database.save(sample(1800.0f), "VEL");
  EXPECT_EQ(database.load("VEL", "vin")->functions().at(7.0f).z[0], 1800.0f);
  EXPECT_TRUE(database.remove("VEL", "vin"));
  EXPECT_FALSE(database.remove("VEL", "vin"));
  SQLite::Database raw(file);
  EXPECT_EQ(raw.execAndGet("SELECT count(*) FROM korvane_function").getInt(), 0);
}

TEST_F(DatabaseTest, AWriteThatFailsHalfWayLeavesTheEarlierTableWhole) {
  store(sample(1500.0f));
  sql("CREATE TRIGGER fails BEFORE INSERT ON korvane_function WHEN NEW.x > 8 BEGIN SELECT raise(ABORT, 'no'); END");
  Table next = sample(1800.0f);
  const float z[] = {1.0f, 2.0f};
  next.add(9.0f, 0.0f, z);
  Database database(file, Access::write);
  expectWords(refusal([&] { database.save(next, "VAZ"); }), {"cannot write table VAZ \"vin\""});
  expectSame(*database.load("VAZ", "vin"), sample(1500.0f));
}

TEST_F(DatabaseTest, AMissingFileIsRefusedAndNotMade) {
  for (const Access access : {Access::read, Access::write})
    expectWords(refusal([&] { Database(file, access); }), {"there is no such database file"});
  EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(DatabaseTest, AFileThatIsNoDatabaseOfOursIsRefusedAndStaysAsItWas) {
  const std::string text = "cdp,time,velocity\n" + std::string(4000, '1') + "\n";
  std::ofstream(file) << text;
  for (const Access access : {Access::read, Access::write, Access::create})
    expectWords(refusal([&] { Database(file, access); }), {"not a database"});
  EXPECT_EQ(std::filesystem::file_size(file), text.size());
  std::filesystem::remove(file);

  sql("CREATE TABLE other (a)");
  for (const Access access : {Access::read, Access::write, Access::create})
    expectWords(refusal([&] { Database(file, access); }), {"not a KORVANE database"});
}

TEST_F(DatabaseTest, ANewerSchemaIsRefusedWithBothVersions) {
  store(sample());
  sql("PRAGMA user_version = 99");
  expectWords(refusal([&] { Database(file, Access::read); }), {"99", "version 1"});
}

TEST_F(DatabaseTest, WhatIsDamagedInAFunctionIsRefusedWithTableAndFunction) {
  const std::vector<std::pair<const char*, const char*>> damages = {
      {"times = x'0000'", "times are not"},
      {"times = x''", "times are not"},
      {"times = 'abcd'", "times are not"},
      {"times = x'000000000000c07f0000803f'", "times are not"},
      {"times = x'0000803f0000803f00000040'", "do not ascend"},
      {"times = x'00000000'", "1 times with 2 values each"},
      {"\"values\" = x'0000807f0000803f00000040000080400000a0400000c040'", "values are not"},
      {"\"values\" = x'0000803f'", "3 times with 2 values each, but 1 values"},
      {"\"values\" = x'0000803f00000000000080400000a0400000c0400000c040'", "velocity that is not above 0"},
      {"map_x = 5", "position is incomplete"},
      {"map_x = 9e999, map_y = 0", "not a finite number"},
  };
  for (const auto& [damage, words] : damages) {
    SCOPED_TRACE(damage);
    store(sample());
    sql(std::string("UPDATE korvane_function SET ") + damage);
    expectWords(refusal([&] { Database(file, Access::read).load("VAZ", "vin"); }), {words, "vin", "7"});
  }
}

TEST_F(DatabaseTest, ARunIsRunningUntilItsEndIsRecorded) {
  Database database(file, Access::create);
  const std::int64_t first = database.beginRun("KORVANE", "[survey]\n");
  const std::int64_t second = database.beginRun("KORVANE", "[data]\n");
  database.endRun(first, 5'000'000'000, "completed");
  SQLite::Database raw(file);
  SQLite::Statement run(raw, "SELECT tool, started, ended, traces, job, result FROM korvane_run WHERE id = ?");
  run.bind(1, first);
  ASSERT_TRUE(run.executeStep());
  EXPECT_EQ(run.getColumn(0).getString(), "KORVANE");
  EXPECT_EQ(run.getColumn(1).getString().size(), std::string("2024-01-01T00:00:00Z").size());
  EXPECT_LE(run.getColumn(1).getString(), run.getColumn(2).getString());
  EXPECT_EQ(run.getColumn(3).getInt64(), 5'000'000'000);
  EXPECT_EQ(run.getColumn(4).getString(), "[survey]\n");
  EXPECT_EQ(run.getColumn(5).getString(), "completed");
  run.reset();
  run.bind(1, second);
  ASSERT_TRUE(run.executeStep());
  EXPECT_TRUE(run.getColumn(2).isNull());
  EXPECT_EQ(run.getColumn(5).getString(), "running");
}

}  // namespace
}  // namespace host::local
