#include <SQLiteCpp/SQLiteCpp.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "host/local/parameter_set.h"
#include "tests/support/program.h"

namespace {

namespace fs = std::filesystem;
using korvane_test::Outcome;
using korvane_test::Program;
using korvane_test::readFile;
using korvane_test::writeFile;

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

class CommandLine : public testing::Test {
 protected:
  using Words = std::vector<std::string>;

  std::string path(const std::string& name) const { return (program.folder() / name).string(); }

  /// Standard output of a call that has to succeed without a word on standard error.
  std::string done(const Words& words) const {
    const Outcome outcome = program.call(words);
    EXPECT_EQ(outcome.status, 0) << words.front() << ": " << outcome.err;
    EXPECT_EQ(outcome.err, "");
    return outcome.out;
  }

  /// Standard error of a call that has to fail.
  std::string failed(const Words& words, int status = 1) const {
    const Outcome outcome = program.call(words);
    EXPECT_EQ(outcome.status, status) << words.front() << ": " << outcome.err;
    return outcome.err;
  }
  /// The same, where the message is one line.
  std::string message(const Words& words) const {
    const std::string text = failed(words);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
    return text;
  }

  std::string save(const std::string& name, const std::string& text) const {
    writeFile(program.folder() / name, text);
    return path(name);
  }
  std::string contents(const std::string& name) const { return readFile(program.folder() / name); }

  Program program;
  const std::string db = path("survey.db");
};

TEST_F(CommandLine, TellsItsVersionAndHelpsOnEveryCommand) {
  const std::string version = done({"--version"});
  int major = -1, minor = -1, patch = -1;
  EXPECT_EQ(std::sscanf(version.c_str(), "korvane %d.%d.%d\n", &major, &minor, &patch), 3) << version;

  const std::string help = done({"--help"});
  for (const char* command : {"run", "table", "scan", "params", "synth"}) {
    EXPECT_TRUE(contains(help, std::string("\n  ") + command + " ")) << help;
    EXPECT_TRUE(contains(done({command, "--help"}), std::string("korvane ") + command)) << command;
  }
  for (const char* action : {"import", "export", "list", "delete", "diff"}) {
    EXPECT_TRUE(contains(done({"table", action, "--help"}), std::string("table ") + action)) << action;
  }
}

TEST_F(CommandLine, WordsThatMakeNoCommandAreNamedAndEndWithStatusTwo) {
  EXPECT_TRUE(contains(failed({}, 2), "subcommand"));
  EXPECT_TRUE(contains(failed({"tabel"}, 2), "Not understood: tabel\n"));
  EXPECT_TRUE(contains(failed({"table", "improt"}, 2), "Not understood: improt\n"));
  EXPECT_TRUE(contains(failed({"run"}, 2), "JOB"));
  EXPECT_TRUE(contains(failed({"run", "a", "b"}, 2), "b"));
  EXPECT_TRUE(contains(failed({"scan", "a", "--fast"}, 2), "--fast"));
  EXPECT_TRUE(contains(failed({"synth", path("s"), "--fold", "many"}, 2), "many"));
  EXPECT_TRUE(contains(failed({"table", "export", db, "VLE", "a"}, 2), "VLE"));
  EXPECT_TRUE(contains(failed({"table", "diff", db, "a", "b", "--to", "9", "--step", "0"}, 2), "--step"));
  EXPECT_FALSE(fs::exists(path("s")));
}

TEST_F(CommandLine, ListsEveryParameterWithTypeAndDefault) {
  const std::vector<std::string> lines = linesOf(done({"params"}));
  ASSERT_EQ(lines.size(), host::local::parameterKeys().size() + 1);
  for (std::size_t k = 1; k < lines.size(); ++k) {
    std::istringstream in(lines[k]);
    std::string name, type;
    in >> name >> type;
    EXPECT_EQ(name, host::local::parameterKeys()[k - 1].name);
    EXPECT_TRUE(type == "int" || type == "float" || type == "string") << lines[k];
  }
  EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [](const std::string& line) {
    return line.starts_with("VELNAMO ") && contains(line, "required") && contains(line, "AZIMTH 0");
  }));
}

const std::string velocityCsv = "cdp,x,y,time,velocity\n1,10,20,0,1500\n1,10,20,100.5,1600.12305\n4,40,20,0,1700\n";
const std::string sectorCsv = "cdp,time,velocity_0,velocity_1\n7,0,1500,1510\n7,20,1600,1610.5\n";
const std::string horizonCsv = "horizon,cdp,time\n1,5,400\n1,9,420.25\n2,5,800\n";

TEST_F(CommandLine, TablesOfEveryTypeComeBackAsTheyWereImported) {
  for (const auto& [type, csv] : {std::pair{"VEL", velocityCsv}, {"VAZ", sectorCsv}, {"AHZ", horizonCsv}}) {
    done({"table", "import", db, type, "one", save("in.csv", csv)});
    EXPECT_EQ(done({"table", "export", db, type, "one"}), csv);
    done({"table", "export", db, type, "one", path("out.csv")});
    EXPECT_EQ(contents("out.csv"), csv);
  }
  const std::vector<std::string> list = linesOf(done({"table", "list", db}));
  ASSERT_EQ(list.size(), 4u);
  std::istringstream row(list[3]);
  std::string type, name, functions, points, values, first, last, positions;
  row >> type >> name >> functions >> points >> values >> first >> last >> positions;
  EXPECT_EQ(type + name + functions + points + values + first + last + positions, "VELone23114yes");

  done({"table", "delete", db, "VAZ", "one"});
  EXPECT_EQ(linesOf(done({"table", "list", db})).size(), 3u);
  EXPECT_EQ(done({"table", "export", db, "VEL", "one"}), velocityCsv);
}

TEST_F(CommandLine, ABadCsvIsRefusedWithItsLineAndTheStoredTableStays) {
  done({"table", "import", db, "VEL", "one", save("good.csv", velocityCsv)});
  const std::string csv = save("bad.csv", velocityCsv + "5,50,20,0,fast\n");
  const std::string text = message({"table", "import", db, "VEL", "one", csv});
  for (const std::string& part : {csv, std::string("5,50,20,0,fast"), std::string("line 5")}) {
    EXPECT_TRUE(contains(text, part)) << text;
  }
  EXPECT_EQ(done({"table", "export", db, "VEL", "one"}), velocityCsv);
  message({"table", "import", db, "VEL", "two", csv});
  message({"table", "import", path("new.db"), "VEL", "one", csv});
  EXPECT_EQ(linesOf(done({"table", "list", db})).size(), 2u);
  EXPECT_FALSE(fs::exists(path("new.db")));
  EXPECT_TRUE(contains(message({"table", "import", db, "VEL", "two", path("none.csv")}), "none.csv"));
}

TEST_F(CommandLine, AMissingDatabaseOrTableIsNamedWithWhatToDo) {
  for (const Words& words : {Words{"list", db}, Words{"export", db, "VEL", "a"}, Words{"delete", db, "VEL", "a"},
                             Words{"diff", db, "a", "b", "--to", "100"}}) {
    Words call{"table"};
    call.insert(call.end(), words.begin(), words.end());
    EXPECT_EQ(message(call),
              db + ": there is no such database file; import a table to make one, or correct the name\n");
    EXPECT_FALSE(fs::exists(db));
  }
  done({"table", "import", db, "VEL", "one", save("in.csv", velocityCsv)});
  EXPECT_EQ(message({"table", "export", db, "VAZ", "one"}),
            db + ": no VAZ table \"one\"; 'korvane table list " + db + "' shows those that are there\n");
  EXPECT_TRUE(contains(message({"table", "delete", db, "VEL", "two"}), "no VEL table \"two\""));
  EXPECT_TRUE(contains(message({"table", "diff", db, "one", "two", "--to", "100"}), "no VEL table \"two\""));
  EXPECT_TRUE(contains(message({"table", "list", path("in.csv")}), "in.csv"));
}

TEST_F(CommandLine, DiffGivesMeanAndRmsInPercentOfTheReference) {
  done({"table", "import", db, "VEL", "flat", save("a.csv", "cdp,time,velocity\n1,0,2000\n2,0,2000\n")});
  done({"table", "import", db, "VEL", "off", save("b.csv", "cdp,time,velocity\n1,0,2060\n2,0,1980\n")});
  const Words diff{"table", "diff", db, "off", "flat", "--to", "400"};
  EXPECT_EQ(done(diff), "off against flat: mean +1.00 %, RMS 2.24 %\n");
  const auto with = [&](Words more) {
    Words words = diff;
    words.insert(words.end(), more.begin(), more.end());
    return words;
  };
  EXPECT_EQ(done(with({"--cdps", "2", "2"})), "off against flat: mean -1.00 %, RMS 1.00 %\n");
  EXPECT_TRUE(contains(message(with({"--cdps", "3", "9"})), "range of CDPs"));
  EXPECT_TRUE(contains(message(with({"--from", "500"})), "expected ascending times"));

  // without a last time, to the end of the table that ends first
  done({"table", "import", db, "VEL", "long", save("c.csv", "cdp,time,velocity\n1,0,2000\n1,40,2000\n1,80,9000\n")});
  done({"table", "import", db, "VEL", "short", save("d.csv", "cdp,time,velocity\n1,0,2020\n1,40,2020\n")});
  EXPECT_EQ(done({"table", "diff", db, "short", "long"}), "short against long: mean +1.00 %, RMS 1.00 %\n");
}

/// A synthetic survey, and jobs made from its own.
class SurveyRun : public CommandLine {
 protected:
  void synthesise(const Words& more) {
    Words words{"synth", program.folder().string(), "--passes", "2"};
    words.insert(words.end(), more.begin(), more.end());
    done(words);
  }
  void line() { synthesise({"--crosslines", "12", "--fold", "8", "--samples", "250"}); }
  void grid() { synthesise({"--inlines", "3", "--crosslines", "6", "--fold", "12", "--samples", "200"}); }

  /// A job file that is the survey's own with texts exchanged.
  std::string job(const std::string& name, const std::vector<std::pair<std::string, std::string>>& exchanges) const {
    std::string text = contents("job.toml");
    for (const auto& [from, to] : exchanges) {
      const std::size_t at = text.find(from);
      EXPECT_NE(at, std::string::npos) << from;
      text.replace(at, from.size(), to);
    }
    return save(name, text);
  }

  double rmsError(const std::string& table) const {
    const std::string text = done({"table", "diff", db, table, "true", "--to", "900"});
    const std::size_t at = text.find("RMS ");
    return at == std::string::npos ? std::nan("") : std::stod(text.substr(at + 4));
  }

  std::string table(const std::string& name) const { return done({"table", "export", db, "VEL", name}); }

  /// What the last run left in the run record.
  struct Record {
    std::string tool, started, ended, job, result;
    int traces = 0;
  };
  Record lastRun() const {
    SQLite::Database database(db);
    SQLite::Statement row(database,
                          "SELECT tool, started, ended, job, result, traces FROM korvane_run ORDER BY id DESC");
    if (!row.executeStep()) return {};
    return {.tool = row.getColumn(0).getString(),
            .started = row.getColumn(1).getString(),
            .ended = row.getColumn(2).getString(),
            .job = row.getColumn(3).getString(),
            .result = row.getColumn(4).getString(),
            .traces = row.getColumn(5).getInt()};
  }

  /// Files that a run writes beside its output until it is whole.
  int unfinishedFiles() const {
    int count = 0;
    for (const auto& entry : fs::directory_iterator(program.folder())) count += entry.path().extension() == ".part";
    return count;
  }
};

TEST_F(SurveyRun, BringsTheVelocitiesCloserToTheTruthAndRepeatsToTheLastBit) {
  line();
  const std::string start = table("start");
  const std::string log = done({"run", path("job.toml")});
  EXPECT_TRUE(contains(log, "KORVANE: Start new iteration: 2"));
  EXPECT_LT(rmsError("refined"), 0.9 * rmsError("start"));
  EXPECT_EQ(table("start"), start);
  EXPECT_EQ(unfinishedFiles(), 0);

  const Record record = lastRun();
  EXPECT_EQ(record.tool, "Velocity Residuals (KORVANE)");
  EXPECT_EQ(record.job, contents("job.toml"));
  EXPECT_EQ(record.result, "completed");
  EXPECT_GE(record.traces, 2 * 12 * 8);  // of every analysis pass
  EXPECT_EQ(record.started.size(), std::string("2000-01-01T00:00:00Z").size());
  EXPECT_LE(record.started, record.ended);

  const std::string traces = contents("attributes.sgy"), refined = table("refined");
  EXPECT_EQ(done({"run", path("job.toml")}), log);
  EXPECT_TRUE(contents("attributes.sgy") == traces);
  EXPECT_EQ(table("refined"), refined);
}

TEST_F(SurveyRun, AFailedRunLeavesTheEarlierTracesAndTableAsTheyWere) {
  grid();
  done({"run", path("job.toml")});
  const std::string traces = contents("attributes.sgy"), refined = table("refined");
  const auto unchanged = [&] {
    EXPECT_TRUE(contents("attributes.sgy") == traces);
    EXPECT_EQ(table("refined"), refined);
    EXPECT_EQ(unfinishedFiles(), 0);
  };

  // in the first pass: a function of the input table stands nowhere on the map
  done({"table", "import", db, "VEL", "astray", save("astray.csv", "cdp,time,velocity\n1,0,1800\n9999,0,2000\n")});
  const std::string text = failed({"run", job("astray.toml", {{"VELNAME = \"start\"", "VELNAME = \"astray\""}})});
  for (const char* part : {"table astray", "9999", "KORVANE: Error interpolating 3D velocity table\n"}) {
    EXPECT_TRUE(contains(text, part)) << text;
  }
  EXPECT_TRUE(contains(lastRun().result, "Error interpolating 3D velocity table"));
  unchanged();

  // before the first pass: the input ends inside a trace
  const std::string gathers = contents("gathers.sgy");
  save("cut.sgy", gathers.substr(0, gathers.size() - 50));
  const std::string cut = job("cut.toml", {{"gathers.sgy", "cut.sgy"}});
  EXPECT_TRUE(contains(message({"run", cut}), "cut.sgy"));
  unchanged();
  save("cut.toml",
       contents("cut.toml").replace(contents("cut.toml").find("[data]"), 6, "[data]\nallow_truncated = true"));
  EXPECT_EQ(program.call({"run", cut}).status, 0);
}

TEST_F(SurveyRun, WhatAJobLacksIsNamedBeforeAnythingIsWritten) {
  line();
  EXPECT_EQ(message({"run", job("a.toml", {{"survey.db", "other.db"}})}),
            path("other.db") + ": there is no such database file; import a table to make one, or correct the name\n");
  EXPECT_FALSE(fs::exists(path("other.db")));
  const std::string text = failed({"run", job("b.toml", {{"VELNAME = \"start\"", "VELNAME = \"strat\""}})});
  EXPECT_EQ(text, "warning: " + db + ": no VEL table \"strat\"; 'korvane table list " + db +
                      "' shows those that are there, 'korvane table import' adds one\n"
                      "KORVANE: Cannot open input velocity table: strat.\n");
  EXPECT_TRUE(contains(message({"run", job("c.toml", {{"gathers.sgy", "gather.sgy"}})}), "gather.sgy"));
  EXPECT_EQ(failed({"run", job("d.toml", {{"OUTPUT = \"1,2,3,4\"", "OUTPUT = \"\""}})}),
            "\nKORVANE: Trace outputs are empty. Must have a least one output.\n\n");
  EXPECT_TRUE(contains(message({"run", job("e.toml", {{"VELSAMP = 20.000", "VELSAMP = 1001.0"}})}),
                       "expected at most the length of a trace, 1000 ms"));
  EXPECT_TRUE(contains(message({"run", job("f.toml", {{"attributes.sgy", "none/out.sgy"}})}), "none/out.sgy"));
  EXPECT_TRUE(contains(message({"run", path("none.toml")}), "none.toml: cannot read"));
  EXPECT_FALSE(fs::exists(path("attributes.sgy")));
  EXPECT_EQ(linesOf(done({"table", "list", db})).size(), 3u);
}

TEST_F(SurveyRun, AJobThatScanSuggestsRunsOnceItsTableIsThere) {
  line();
  const std::string scan = done({"scan", path("gathers.sgy")});
  EXPECT_TRUE(contains(scan, "Traces          96, of which 96 live"));
  EXPECT_TRUE(contains(scan, "Ensembles       12 by CDP, 1 to 12, in order in the file"));
  const std::string mark = "A job to start from:\n\n";
  ASSERT_TRUE(contains(scan, mark));
  const std::string suggested = save("suggested.toml", scan.substr(scan.find(mark) + mark.size()));
  EXPECT_TRUE(contains(message({"run", suggested}), "gathers.db: there is no such database file"));
  done({"table", "import", path("gathers.db"), "VEL", "initial", path("start.csv")});
  done({"run", suggested});
  EXPECT_TRUE(fs::exists(path("gathers_velocities.sgy")));
  EXPECT_TRUE(contains(done({"table", "list", path("gathers.db")}), "refined"));
  EXPECT_TRUE(contains(message({"scan", path("none.sgy")}), "none.sgy"));
  EXPECT_TRUE(contains(message({"scan", path("job.toml")}), "job.toml"));
}

TEST_F(SurveyRun, ATableOfA3DRunIsInputToAnother3DRun) {
  grid();
  std::string noPositions = "cdp,time,velocity\n";
  for (const std::string& row : linesOf(contents("start.csv"))) {
    if (row.starts_with("cdp")) continue;
    std::vector<std::string> fields;
    std::istringstream in(row);
    for (std::string field; std::getline(in, field, ',');) fields.push_back(field);
    noPositions += fields.at(0) + ',' + fields.at(3) + ',' + fields.at(4) + '\n';
  }
  // the positions of the CDPs come from the traces and stay with what the run writes
  done({"table", "import", db, "VEL", "start", save("start.csv", noPositions)});
  done({"run", path("job.toml")});
  const std::string refined = table("refined");
  EXPECT_TRUE(refined.starts_with("cdp,x,y,time,velocity\n"));
  done({"run", job("again.toml", {{"VELNAME = \"start\"", "VELNAME = \"refined\""},
                                  {"VELNAMO = \"refined\"", "VELNAMO = \"again\""}})});
  EXPECT_EQ(table("refined"), refined);
  EXPECT_LE(rmsError("again"), rmsError("start"));
}

TEST_F(SurveyRun, TheOutputTracesAreInputToASecondJob) {
  line();
  const Outcome first =
      program.call({"run", job("first.toml", {{"PRESTACK = 0", "PRESTACK = 1"}, {"attributes.sgy", "moved.sgy"}})});
  EXPECT_EQ(first.status, 0) << first.err;
  EXPECT_EQ(linesOf(first.err).size(), 5u);  // keys of the stack output are not read
  EXPECT_TRUE(contains(done({"scan", path("moved.sgy")}), "Traces          132, of which 96 live"));
  done({"run", job("second.toml", {{"gathers.sgy", "moved.sgy"}, {"attributes.sgy", "second.sgy"}})});
  const std::string scan = done({"scan", path("second.sgy")});
  for (const char* type : {" 43 on ", " 44 on ", " 51 on ", " 52 on "}) EXPECT_TRUE(contains(scan, type)) << scan;
}

}  // namespace
