#include <SQLiteCpp/SQLiteCpp.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/program.h"

namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

class CommandLine : public testing::Test {
 protected:
  std::string path(const std::string& name) const { return (program.folder() / name).string(); }
  std::string contents(const std::string& name) const { return korvane_test::readFile(path(name)); }
  std::string save(const std::string& name, const std::string& text) const {
    korvane_test::writeFile(path(name), text);
    return path(name);
  }

  /// Standard output of a call that has to succeed without a word on standard error.
  std::string done(const Words& words) const {
    const korvane_test::Outcome outcome = program.call(words);
    EXPECT_EQ(outcome.status, 0) << words.front();
    EXPECT_EQ(outcome.err, "");
    return outcome.out;
  }

  /// Standard error of a call that has to fail.
  std::string failed(const Words& words, int status = 1) const {
    const korvane_test::Outcome outcome = program.call(words);
    EXPECT_EQ(outcome.status, status) << outcome.err;
    return outcome.err;
  }

  /// A call that has to fail with one line that says this.
  void refused(const Words& words, const std::string& part) const {
    const std::string text = failed(words);
    EXPECT_TRUE(contains(text, part)) << text;
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
  }

  std::string table(const std::string& name) const { return done({"table", "export", db, "VEL", name}); }
  std::string tables() const { return done({"table", "list", db}); }

  korvane_test::Program program;
  const std::string db = path("survey.db");
};

TEST_F(CommandLine, WordsThatMakeNoCommandAreNamedAndEndWithStatusTwo) {
  const std::vector<std::pair<Words, std::string>> calls{
      {{}, "subcommand"},
      {{"tabel"}, "Not understood: tabel\n"},
      {{"table", "improt"}, "Not understood: improt\n"},
      {{"run"}, "JOB"},
      {{"scan", "a", "--fast"}, "--fast"},
      {{"synth", path("s"), "--fold", "many"}, "many"},
      {{"table", "export", db, "VLE", "a"}, "VLE"},
      {{"table", "diff", db, "a", "b", "--to", "9", "--step", "0"}, "--step"}};
  for (const auto& [words, part] : calls) EXPECT_TRUE(contains(failed(words, 2), part)) << part;
  EXPECT_FALSE(fs::exists(path("s")));
}

const std::string velocityCsv = "cdp,x,y,time,velocity\n1,10,20,0,1500\n1,10,20,100.5,1600.12305\n4,40,20,0,1700\n";
const std::string sectorCsv = "cdp,time,velocity_0,velocity_1\n7,0,1500,1510\n7,20,1600,1610.5\n";
const std::string horizonCsv = "horizon,cdp,time\n1,5,400\n1,9,420.25\n2,5,800\n";

TEST_F(CommandLine, TablesOfEveryTypeComeBackAsTheyWereImportedUntilTheyAreDeleted) {
  for (const auto& [type, csv] : {std::pair{"VEL", velocityCsv}, {"VAZ", sectorCsv}, {"AHZ", horizonCsv}}) {
    done({"table", "import", db, type, "one", save("in.csv", csv)});
    EXPECT_EQ(done({"table", "export", db, type, "one"}), csv);
  }
  done({"table", "delete", db, "VAZ", "one"});
  EXPECT_FALSE(contains(tables(), "VAZ"));
  EXPECT_EQ(table("one"), velocityCsv);
}

TEST_F(CommandLine, ABadCsvIsRefusedWithItsLineAndTheStoredTableStays) {
  done({"table", "import", db, "VEL", "one", save("good.csv", velocityCsv)});
  const std::string csv = save("bad.csv", velocityCsv + "5,50,20,0,fast\n"), before = tables();
  for (const std::string& part : {csv, std::string("5,50,20,0,fast"), std::string("line 5")}) {
    refused({"table", "import", db, "VEL", "one", csv}, part);
  }
  EXPECT_EQ(table("one"), velocityCsv);
  refused({"table", "import", db, "VEL", "two", csv}, csv);
  EXPECT_EQ(tables(), before);
  refused({"table", "import", path("new.db"), "VEL", "one", csv}, csv);
  EXPECT_FALSE(fs::exists(path("new.db")));
}

TEST_F(CommandLine, AMissingDatabaseOrTableIsNamedWithWhatToDo) {
  refused({"table", "delete", db, "VEL", "a"},
          db + ": there is no such database file; import a table to make one, or correct the name\n");
  EXPECT_FALSE(fs::exists(db));
  done({"table", "import", db, "VEL", "one", save("in.csv", velocityCsv)});
  refused({"table", "export", db, "VAZ", "one"},
          db + ": no VAZ table \"one\"; 'korvane table list " + db + "' shows those that are there\n");
  refused({"table", "delete", db, "VEL", "two"}, "no VEL table \"two\"");
  refused({"table", "list", path("in.csv")}, "in.csv");
}

TEST_F(CommandLine, DiffGivesMeanAndRmsInPercentOfTheReferenceToTheEndOfTheShorterTable) {
  done({"table", "import", db, "VEL", "flat", save("a.csv", "cdp,time,velocity\n1,0,2000\n2,0,2000\n2,40,2000\n")});
  done({"table", "import", db, "VEL", "off",
        save("b.csv", "cdp,time,velocity\n1,0,2060\n2,0,1980\n2,40,1980\n2,80,9000\n")});
  EXPECT_EQ(done({"table", "diff", db, "off", "flat"}), "off against flat: mean +1.00 %, RMS 2.24 %\n");
  refused({"table", "diff", db, "off", "flat", "--cdps", "3", "9"}, "range of CDPs");
}

/// A synthetic survey, and jobs made from its own.
class SurveyRun : public CommandLine {
 protected:
  void SetUp() override {
    const std::string folder = program.folder().string();
    done({"synth", folder, "--crosslines", "12", "--fold", "8", "--samples", "250", "--passes", "2"});
  }

  /// The survey's own job with a text exchanged.
  std::string job(const std::string& from, const std::string& to) const {
    std::string text = contents("job.toml");
    return save("changed.toml", text.replace(text.find(from), from.size(), to));
  }

  double rmsError(const std::string& name) const {
    const std::string text = done({"table", "diff", db, name, "true", "--to", "900"});
    return std::stod(text.substr(text.find("RMS ") + 4));
  }
};

TEST_F(SurveyRun, BringsTheVelocitiesCloserToTheTruthAndRepeatsToTheLastBit) {
  const std::string start = table("start"), log = done({"run", path("job.toml")});
  EXPECT_LT(rmsError("refined"), 0.9 * rmsError("start"));
  EXPECT_EQ(table("start"), start);
  const std::string traces = contents("attributes.sgy"), refined = table("refined");
  EXPECT_EQ(done({"run", path("job.toml")}), log);
  EXPECT_TRUE(contents("attributes.sgy") == traces);
  EXPECT_EQ(table("refined"), refined);
}

TEST_F(SurveyRun, AFailedRunLeavesTheEarlierTracesAndTableAsTheyWere) {
  done({"synth", program.folder().string(), "--inlines", "3", "--crosslines", "6", "--fold", "12", "--force"});
  done({"run", path("job.toml")});
  done({"run", job("VELNAME = \"start\"", "VELNAME = \"refined\"")});  // a table of a run has its CDPs' positions
  const std::string traces = contents("attributes.sgy"), refined = table("refined");
  // in the first pass: a function of the input table stands nowhere on the map
  done({"table", "import", db, "VEL", "astray", save("astray.csv", "cdp,time,velocity\n1,0,1800\n9999,0,2000\n")});
  const std::string text = failed({"run", job("VELNAME = \"start\"", "VELNAME = \"astray\"")});
  for (const char* part : {"table astray", "9999", "KORVANE: Error interpolating 3D velocity table\n"}) {
    EXPECT_TRUE(contains(text, part)) << text;
  }
  const SQLite::Database database(db);
  SQLite::Statement run(database, "SELECT result FROM korvane_run ORDER BY id");
  for (const char* result : {"completed", "completed", "KORVANE: Error interpolating 3D velocity table"}) {
    ASSERT_TRUE(run.executeStep());
    EXPECT_EQ(run.getColumn(0).getString(), result);
  }
  // before the first pass: the input ends inside a trace
  save("cut.sgy", contents("gathers.sgy").substr(0, fs::file_size(path("gathers.sgy")) - 50));
  refused({"run", job("gathers.sgy", "cut.sgy")}, "cut.sgy");
  EXPECT_TRUE(contents("attributes.sgy") == traces);
  EXPECT_EQ(table("refined"), refined);
  for (const auto& entry : fs::directory_iterator(program.folder())) EXPECT_NE(entry.path().extension(), ".part");
}

TEST_F(SurveyRun, WhatAJobLacksIsNamedBeforeAnythingIsWritten) {
  const std::string before = tables();
  refused({"run", job("survey.db", "other.db")},
          path("other.db") + ": there is no such database file; import a table to make one, or correct the name\n");
  EXPECT_FALSE(fs::exists(path("other.db")));
  EXPECT_EQ(failed({"run", job("VELNAME = \"start\"", "VELNAME = \"strat\"")}),
            "warning: " + db + ": no VEL table \"strat\"; 'korvane table list " + db +
                "' shows those that are there, 'korvane table import' adds one\n"
                "KORVANE: Cannot open input velocity table: strat.\n");
  refused({"run", job("gathers.sgy", "gather.sgy")}, "gather.sgy");
  refused({"run", job("VELSAMP = 20.000", "VELSAMP = 1001.0")}, "expected at most the length of a trace, 1000 ms");
  refused({"run", job("attributes.sgy", "none/out.sgy")}, "none/out.sgy");
  refused({"run", path("none.toml")}, "none.toml: cannot read");
  EXPECT_FALSE(fs::exists(path("attributes.sgy")));
  EXPECT_EQ(tables(), before);
}

TEST_F(SurveyRun, AJobThatScanSuggestsRunsOnceItsTableIsThere) {
  const std::string scan = done({"scan", path("gathers.sgy")}), mark = "A job to start from:\n\n";
  EXPECT_TRUE(contains(scan, "Traces          96, of which 96 live")) << scan;
  const std::string suggested = save("suggested.toml", scan.substr(scan.find(mark) + mark.size()));
  refused({"run", suggested}, "gathers.db: there is no such database file");
  done({"table", "import", path("gathers.db"), "VEL", "initial", path("start.csv")});
  done({"run", suggested});
  EXPECT_TRUE(fs::exists(path("gathers_velocities.sgy")));
}

TEST_F(SurveyRun, IsReplacedOnlyWhenToldAndByOptionsThatMakeOne) {
  const std::string before = contents("gathers.sgy"), folder = program.folder().string();
  refused({"synth", folder, "--seed", "2"}, folder);
  EXPECT_TRUE(contents("gathers.sgy") == before);
  refused({"synth", path("s"), "--fold", "3"}, "fold 3: expected 4 to");
  EXPECT_FALSE(fs::exists(path("s")));
  done({"synth", folder, "--seed", "2", "--force"});
  EXPECT_FALSE(contents("gathers.sgy") == before);
}

}  // namespace
