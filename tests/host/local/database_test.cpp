#include "host/local/database.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include <cmath>
#include <string>
#include <vector>

#include "tests/support/host_test.h"

namespace host::local {
namespace {

using korvane_test::expectParts;
using korvane_test::refusal;
using Access = Database::Access;

class DatabaseTest : public korvane_test::HostTest {
 protected:
  /// A table of one function; its values start at `first`.
  static Table sample(float first = 1500.0f) {
    Table table("vin", 2, "CDP", "TIME", "VELAZRMS");
    for (const float time : {0.0f, 0.1f, 1e4f}) {
      const float z[] = {first + time, std::nextafter(first, 1e9f)};
      table.add(7.0f, time, z);
    }
    return table;
  }

  void store(const Table& table) { Database(file, Access::create).save(table, "VAZ"); }
  void sql(const std::string& statement) {
    SQLite::Database(file, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE).exec(statement);
  }

  void expectRefused(const std::vector<Access>& accesses, const std::string& words) {
    for (const Access access : accesses) expectParts(refusal([&] { Database(file, access); }), {file.string(), words});
  }

  const std::filesystem::path file = folder / "survey.db";
};

TEST_F(DatabaseTest, AWriteThatFailsHalfWayLeavesTheEarlierTableWhole) {
  store(sample());
  sql("CREATE TRIGGER fails BEFORE INSERT ON korvane_function WHEN NEW.x > 8 BEGIN SELECT raise(ABORT, 'no'); END");
  Table next = sample(1800.0f);
  const float z[] = {1.0f, 2.0f};
  next.add(9.0f, 0.0f, z);
  Database database(file, Access::write);
  expectParts(refusal([&] { database.save(next, "VAZ"); }), {file.string(), "cannot write table VAZ \"vin\""});
  const auto table = database.load("VAZ", "vin");
  ASSERT_EQ(table->functions().size(), 1u);
  EXPECT_EQ(table->functions().at(7.0f).z, sample().functions().at(7.0f).z);
}

TEST_F(DatabaseTest, AFileThatIsNoDatabaseOfThisVersionIsRefusedAndStaysAsItWas) {
  const std::vector<Access> existing{Access::read, Access::write}, all{Access::read, Access::write, Access::create};
  expectRefused(existing, "there is no such database file");
  EXPECT_FALSE(std::filesystem::exists(file));

  const std::string text = "cdp,time,velocity\n" + std::string(4000, '1') + "\n";
  korvane_test::writeFile(file, text);
  expectRefused(all, "not a database");
  EXPECT_EQ(korvane_test::readFile(file), text);
  std::filesystem::remove(file);

  store(sample());
  sql("PRAGMA user_version = 99");
  expectRefused(all, "version 99, this program knows version 2");
  sql("PRAGMA user_version = 0; PRAGMA application_id = 0");
  expectRefused(all, "not a KORVANE database");
}

TEST_F(DatabaseTest, KeepsThePassesOfARunAlsoInAFileOfTheFirstVersion) {
  store(sample());
  sql("DROP TABLE korvane_pass; PRAGMA user_version = 1");
  EXPECT_TRUE(Database(file, Access::read).passes(1).empty());
  std::int64_t run = 0;
  const PassRecord pass{.pass = 2,
                        .seconds = 1.5,
                        .traces = 3'000'000'000,
                        .revised = 7,
                        .mean = -0.25,
                        .rms = 1.25,
                        .limited = 0.5,
                        .inlineStep = 3,
                        .crosslineStep = 4,
                        .revision = {0.5f, PassRecord::noData, PassRecord::fewNeighbours},
                        .atLimit = {0.25f, 0.0f, 0.0f}};
  {
    Database database(file, Access::write);
    run = database.beginRun("tool", "job");
    database.addPass(run, pass);
    database.endRun(run, 12, "completed");
  }
  const Database database(file, Access::read);
  EXPECT_NE(database.load("VAZ", "vin"), nullptr);
  const auto runs = database.runs();
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(runs[0].job + " " + runs[0].result, "job completed");
  EXPECT_EQ(runs[0].traces, 12);
  const auto passes = database.passes(run);
  ASSERT_EQ(passes.size(), 1u);
  EXPECT_EQ(passes[0], pass);
}

TEST_F(DatabaseTest, WhatIsDamagedInAFunctionIsRefusedWithTableAndFunction) {
  const std::vector<std::pair<const char*, const char*>> damages = {
      {"times = x'0000'", "times are not"},
      {"times = x''", "times are not"},
      {"times = 'abcd'", "times are not"},
      {"times = x'000000000000c07f0000803f'", "times are not"},
      {"times = x'0000803f0000803f00000040'", "do not ascend"},
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
    expectParts(refusal([&] { Database(file, Access::read).load("VAZ", "vin"); }),
                {file.string() + ": table VAZ \"vin\", function at 7: ", words});
  }
}

TEST_F(DatabaseTest, NumbersThatATypeCannotHaveAreRefusedWhetherTheTableHasFunctionsOrNot) {
  const auto refusalOf = [&](const std::string& type, const std::string& damage) {
    std::filesystem::remove(file);
    Table table("vin", 1, "X", "Y", "Z");
    const float z = 1500.0f;
    table.add(7.0f, 0.0f, &z);
    Database(file, Access::create).save(table, type);
    sql(damage);
    return refusal([&] { Database(file, Access::read).load(type, "vin"); });
  };
  const auto values = [](const std::string& count) { return "UPDATE korvane_table SET z_count = " + count + "; "; };
  const std::string empty = "DELETE FROM korvane_function";
  for (const char* count : {"2", "-1", "4294967297"}) {
    expectParts(refusalOf("VEL", values(count)), {file.string(), "table VEL \"vin\": ", count, "values a point"});
    expectParts(refusalOf("VEL", values(count) + empty), {"values a point"});
  }
  expectParts(refusalOf("AHZ", values("10") + empty), {"10 values a point"});
  for (const auto& [type, count] : {std::pair{"VEL", "0"}, {"VEL", "1"}, {"VAZ", "9"}, {"AHZ", "0"}, {"AHZ", "3"}}) {
    EXPECT_EQ(refusalOf(type, values(count) + empty), "not refused") << type << count;
  }
  for (const char* x : {"1e39", "3e9", "-3e9"}) {
    expectParts(refusalOf("VEL", std::string("UPDATE korvane_function SET x = ") + x), {"no number of a CDP"});
  }
  EXPECT_EQ(refusalOf("VEL", "UPDATE korvane_function SET x = 2147483647"), "not refused");
  const std::string horizon = values("3") + "UPDATE korvane_function SET x = 0, \"values\" = zeroblob(12)";
  expectParts(refusalOf("AHZ", horizon), {"function at 0: ", "no number of a CDP or horizon"});
}

TEST_F(DatabaseTest, ADamagedRecordOfAPassIsPassedOver) {
  Database database(file, Access::create);
  const std::int64_t run = database.beginRun("tool", "job");
  for (int pass = 1; pass <= 4; ++pass) database.addPass(run, {.pass = pass, .revision = {1.0f}, .atLimit = {0.0f}});
  sql("UPDATE korvane_pass SET inline_step = 0 WHERE pass = 1");
  sql("UPDATE korvane_pass SET crossline_step = -1 WHERE pass = 2");
  sql("UPDATE korvane_pass SET revision = x'00' WHERE pass = 3");
  ASSERT_EQ(database.passes(run).size(), 1u);
  EXPECT_EQ(database.passes(run)[0].pass, 4);
}

TEST_F(DatabaseTest, ARunIsRunningUntilItsEndIsRecorded) {
  Database database(file, Access::create);
  const auto recordWhere = [&](const std::string& condition) {
    const std::string query = "SELECT tool || job || result || ifnull(traces, '') FROM korvane_run WHERE ";
    return SQLite::Database(file).execAndGet(query + condition).getString();
  };
  const std::int64_t run = database.beginRun("KORVANE", " [survey] ");
  EXPECT_EQ(recordWhere("ended IS NULL"), "KORVANE [survey] running");
  database.endRun(run, 5'000'000'000, "completed");
  EXPECT_EQ(recordWhere("ended >= started"), "KORVANE [survey] completed5000000000");
}

}  // namespace
}  // namespace host::local
