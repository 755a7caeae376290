#include <SQLiteCpp/SQLiteCpp.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/program.h"

namespace {

namespace fs = std::filesystem;
using korvane_test::expectParts;
using Words = std::vector<std::string>;

class CommandLine : public korvane_test::ProgramTest {
 protected:
  /// Standard error of a call that has to fail.
  std::string failed(const Words& words, int status = 1) const {
    const korvane_test::Outcome outcome = call(words);
    EXPECT_EQ(outcome.status, status) << outcome.err;
    return outcome.err;
  }

  /// A call that has to fail with one line that says this.
  void refused(const Words& words, const std::string& part) const {
    const std::string text = failed(words);
    expectParts(text, {part});
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
  }

  void import(const std::string& type, const std::string& name, const std::string& csv) const {
    done({"table", "import", db, type, name, save("in.csv", csv)});
  }
  std::string table(const std::string& name) const { return done({"table", "export", db, "VEL", name}); }
  std::string tables() const { return done({"table", "list", db}); }

  const std::string db = path("survey.db");
};

TEST_F(CommandLine, WordsThatMakeNoCommandAreNamedAndEndWithStatusTwo) {
  const std::vector<std::pair<Words, std::string>> calls{
      {{}, "subcommand"},
      {{"table", "improt"}, "Not understood: improt\n"},
      {{"run"}, "JOB"},
      {{"scan", "a", "--fast"}, "--fast"},
      {{"synth", path("s"), "--fold", "many"}, "many"},
      {{"table", "export", db, "VLE", "a"}, "VLE"},
      {{"table", "diff", db, "a", "b", "--to", "9", "--step", "0"}, "--step"},
      {{"table", "diff", db, "a", "b", "--cdps", "5", "1"},
       "--cdps: expected the first CDP, then the last, not 5 and"}};
  for (const auto& [words, part] : calls) expectParts(failed(words, 2), {part});
  EXPECT_EQ(filesInFolder(), 2);  // what the calls said
}

const std::string velocityCsv = "cdp,x,y,time,velocity\n1,10,20,0,1500\n1,10,20,100.5,1600.12305\n4,40,20,0,1700\n";

TEST_F(CommandLine, TablesOfEveryTypeComeBackAsTheyWereImportedUntilTheyAreDeleted) {
  for (const auto& [type, csv] : {std::pair{"VEL", velocityCsv},
                                  {"VAZ", "cdp,time,velocity_0,velocity_1\n7,0,1500,1510\n7,20,1600,1610.5\n"},
                                  {"AHZ", "horizon,cdp,time\n1,5,400\n1,9,420.25\n2,5,800\n"}}) {
    import(type, "one", csv);
    EXPECT_EQ(done({"table", "export", db, type, "one"}), csv);
  }
  done({"table", "delete", db, "VAZ", "one"});
  EXPECT_EQ(table("one"), velocityCsv);
  refused({"table", "delete", db, "VAZ", "one"}, "no VAZ table \"one\" to delete");
  refused({"table", "export", db, "VAZ", "one"},
          db + ": no VAZ table \"one\"; 'korvane table list " + db + "' shows those that are there\n");
}

TEST_F(CommandLine, ABadCsvIsRefusedWithItsLineAndTheStoredTableStays) {
  import("VEL", "one", velocityCsv);
  const std::string csv = save("bad.csv", velocityCsv + "5,50,20,0,fast\n"), before = tables();
  refused({"table", "import", db, "VEL", "one", csv}, csv + ", line 5: \"fast\"");
  refused({"table", "import", db, "VEL", "two", csv}, csv);
  refused({"table", "import", path("new.db"), "VEL", "one", csv}, csv);
  EXPECT_EQ(table("one"), velocityCsv);
  EXPECT_EQ(tables(), before);
  EXPECT_FALSE(fs::exists(path("new.db")));
}

TEST_F(CommandLine, AnExportReplacesAFileOnlyAsAWholeAndNeverTheDatabase) {
  import("VEL", "one", velocityCsv);
  const std::string csv = save("out.csv", "an earlier one");
  fs::create_symlink(csv, path("link.csv"));
  refused({"table", "export", db, "VEL", "one", path("none/out.csv")},
          "none/out.csv: the table cannot be written: No such file");
  refused({"table", "export", db, "VEL", "one", "/dev/full"}, "/dev/full: the table cannot be written: No space left");
  refused({"table", "export", db, "VEL", "one", db}, db + ": is in use here and is not replaced");
  refused({"table", "export", db, "VEL", "two", csv}, "no VEL table");
  EXPECT_EQ(contents("out.csv"), "an earlier one");
  done({"table", "export", db, "VEL", "one", path("link.csv")});
  EXPECT_EQ(contents("out.csv"), velocityCsv);
  EXPECT_TRUE(fs::is_symlink(path("link.csv")));
  EXPECT_TRUE(fs::is_character_file("/dev/full"));
  const std::string full = std::string(KORVANE_PROGRAM) + " table export '" + db + "' VEL one >/dev/full 2>/dev/null";
  EXPECT_EQ(WEXITSTATUS(std::system(full.c_str())), 1);
}

TEST_F(CommandLine, DiffGivesMeanAndRmsInPercentOfTheReferenceToTheEndOfTheShorterTable) {
  import("VEL", "flat", "cdp,time,velocity\n1,0,2000\n2,0,2000\n2,40,2000\n");
  import("VEL", "off", "cdp,time,velocity\n1,0,2060\n2,0,1980\n2,40,1980\n2,80,9000\n");
  EXPECT_EQ(done({"table", "diff", db, "off", "flat"}), "off against flat: mean +1.00 %, RMS 2.24 %\n");
  refused({"table", "diff", db, "off", "flat", "--cdps", "3", "9"},
          "no function of \"flat\", CDPs 1 to 2, lies in CDPs 1 to 2 of \"off\" and in --cdps 3 9");
  SQLite::Database(db, SQLite::OPEN_READWRITE).exec("DELETE FROM korvane_function WHERE table_id = 1");
  for (const auto& [table, reference] : {std::pair{"off", "flat"}, {"flat", "off"}})
    refused({"table", "diff", db, table, reference}, "table \"flat\" holds no points");
}

TEST_F(CommandLine, DiffLeavesOutAndSaysWhereATableHasNothing) {
  import("VEL", "few", "cdp,time,velocity\n3,0,2000\n3,200,2000\n7,0,2000\n7,200,2000\n");
  import("VEL", "many", "cdp,time,velocity\n1,40,9000\n2,40,9000\n3,40,2000\n5,40,1600\n7,40,2000\n8,40,9000\n");
  const std::string late = "left out: times before 40 ms, the first that both have\n",
                    ends = "left out: 3 CDPs of \"many\" outside CDPs 3 to 7 of \"few\"\n";
  EXPECT_EQ(done({"table", "diff", db, "few", "many", "--from", "-100"}),
            "few against many: mean +8.33 %, RMS 14.43 %\n" + ends + late);
  const std::string last = "left out: times after 40 ms, the last that both have\n";
  EXPECT_EQ(done({"table", "diff", db, "few", "many", "--to", "3000"}),
            "few against many: mean +8.33 %, RMS 14.43 %\n" + ends + late + last);
  refused({"table", "diff", db, "few", "many", "--from", "-100", "--to", "-50"},
          "no time from -100 to -50 ms lies in both \"few\", 0 to 200 ms, and \"many\", 40 to 40 ms");
  EXPECT_EQ(done({"table", "diff", db, "few", "many", "--from", "40", "--cdps", "6", "8"}),
            "few against many: mean +0.00 %, RMS 0.00 %\n"
            "left out: 1 CDP of \"many\" outside CDPs 3 to 7 of \"few\"\n");
  EXPECT_EQ(done({"table", "diff", db, "many", "few"}), "many against few: mean +0.00 %, RMS 0.00 %\n" + late);
}

TEST_F(CommandLine, DiffByTimeAndCdpBreaksTheDifferenceDown) {
  import("VEL", "flat", "cdp,time,velocity\n1,0,2000\n2,0,2000\n2,400,2000\n");
  import("VEL", "off", "cdp,time,velocity\n1,0,2000\n2,0,1980\n2,190,1980\n2,210,2040\n2,400,2040\n");
  EXPECT_EQ(done({"table", "diff", db, "off", "flat", "--step", "100", "--to", "300", "--by", "time,cdp"}),
            "off against flat: mean +0.06 %, RMS 0.88 %\n"
            "time, ms                  mean %     RMS %\n"
            "0 to 0                     -0.50      0.71\n"
            "100 to 100                 -0.50      0.71\n"
            "200 to 200                 +0.25      0.35\n"
            "300 to 300                 +1.00      1.41\n"
            "CDP                       mean %     RMS %\n"
            "2                          +0.12      1.25\n"
            "1                          +0.00      0.00\n");
  expectParts(done({"table", "diff", db, "off", "flat", "--step", "1.2", "--to", "18", "--by", "time"}),
              {"\n15.6 to 16.8 ", "\n18 to 18 "});
  import("VEL", "odd", "cdp,time,velocity\n1,100.3,2000\n1,200.2,2000\n");  // above and below in single precision
  EXPECT_EQ(done({"table", "diff", db, "flat", "odd", "--from", "100.3"}),
            "flat against odd: mean +0.00 %, RMS 0.00 %\n");
  done({"table", "diff", db, "flat", "odd", "--from", "200.2"});
  refused({"table", "diff", db, "off", "flat", "--from", "300", "--to", "299.9"}, "from 300 to 299.9 ms");
}

TEST_F(CommandLine, ImportSaysWhatItReadAndHowItTookTheUnits) {
  const std::string text = save("picks.par", "cdp=3,9 tnmo=0,1.5 vnmo=6000,9000 tnmo=0.1 vnmo=7000\n");
  EXPECT_EQ(done({"table", "import", db, "VEL", "one", text, "--to", "m/s"}),
            text +
                ": parameters, 2 functions, 3 points; CDP 3 to 9, time 0 to 1500 ms, velocity 1828.8 to 2743.2 m/s\n"
                "the file has times in s (the last time 1.5), velocities in ft/s (the largest velocity 9000) converted "
                "to m/s\n");
  EXPECT_EQ(table("one"), "cdp,time,velocity\n3,0,1828.80005\n3,1500,2743.19995\n9,100,2133.6001\n");
  const std::string csv = save("seconds.csv", "cdp,time,velocity\n1,0,2000\n1,2.5,3000\n");
  expectParts(call({"table", "import", db, "VEL", "short", csv}).err, {"only 2.5 ms", "--times s"});
  expectParts(done({"table", "import", db, "VEL", "short", csv, "--times", "s"}), {"time 0 to 2500 ms"});
  const std::string picks = save("picks.txt", "# m/s\n3 0 5000 7\n3 900 6000 7\n");
  expectParts(done({"table", "import", db, "VEL", "two", picks, "--columns", "cdp,time,velocity,-"}),
              {picks + ": columns, 1 function, 2 points", "velocity 5000 to 6000 m/s", "m/s (a comment)"});
  for (const auto& [words, part] : std::vector<std::pair<Words, std::string>>{
           {{"VEL", "t", picks, "--columns", "cdp,time"}, "cdp, time and velocity once each"},
           {{"VEL", "t", picks, "--columns", "cdp,time,vel"}, "no column \"vel\""},
           {{"VEL", "t", picks, "--columns", "cdp,time,velocity", "--form", "handvel"}, "--columns"},
           {{"VAZ", "t", picks, "--times", "s"}, "are for VEL tables"}}) {
    Words call{"table", "import", db};
    call.insert(call.end(), words.begin(), words.end());
    expectParts(failed(call, 2), {part});
  }
}

TEST_F(CommandLine, ShowGivesTheRangesAndDrawsWithinEightyColumns) {
  import("VEL", "one", "cdp,time,velocity\n1,0,1500\n1,2300,3810\n5,0,1600\n9,0,1700\n9,2300,2000\n");
  import("VAZ", "two", "cdp,time,velocity_0,velocity_1\n7,0,1500,1600\n7,230,2170,1600\n");
  import("AHZ", "hor", "horizon,cdp,time\n1,1,400\n1,68,400\n2,1,860\n2,68,860\n");
  import("AHZ", "short", "horizon,cdp,time\n1,1,100\n1,100,120\n10,50,400\n10,51,410\n36,37,700\n");
  const std::string velocities = done({"table", "show", db, "VEL", "one"}),
                    one = done({"table", "show", db, "VEL", "one", "--cdp", "3"}),
                    sectors = done({"table", "show", db, "VAZ", "two"}),
                    horizons = done({"table", "show", db, "AHZ", "hor"}),
                    between = done({"table", "show", db, "AHZ", "short"});
  expectParts(
      velocities,
      {"VEL \"one\": 3 functions, 5 points, 1 to 2 a function\n", "CDP       1 to 9\n", "time      0 to 2300 ms\n",
       "1500 (CDP 1 at 0 ms) to 3810 (CDP 1 at 2300 ms)\n", "\n     0.0 |1  2  3\n", "\n   100.0 |   *",
       "\n  2300.0 |   2           3" + std::string(51, ' ') + "1\n", "1 CDP 1   2 CDP 5   3 CDP 9"});
  expectParts(one, {"1 CDP 3 (between functions)"});
  expectParts(sectors, {"2 a function, 2 sectors\n", "\n     0.0 |0         1\n", "sectors of CDP 7"});
  expectParts(horizons, {"400 (horizon 1 at CDP 1) to 860 (horizon 2 at CDP 1) ms\n",
                         "|" + std::string(68, '1') + "\n   420.0 |\n", "   860.0 |" + std::string(68, '2') + "\n",
                         "marks: horizons   * several\n"});
  expectParts(between,  // points that no column of the plot stands for
              {"   413.0 |" + std::string(33, ' ') + "aa\n", "   700.0 |" + std::string(24, ' ') + "0\n",
               "marks: horizons, a to z from 10, 0 to z again from 36   * several\n"});
  for (const std::string& text : {velocities, one, sectors, horizons, between})
    for (std::size_t at = 0, end; (end = text.find('\n', at)) != std::string::npos; at = end + 1)
      EXPECT_LE(end - at, 80u);
  refused({"table", "show", db, "VEL", "one", "--cdp", "10"}, "has CDPs 1 to 9; CDP 10 is outside");
  refused({"table", "show", db, "VEL", "one", "--cdp", "nan"}, "CDP nan is outside");
  refused({"table", "show", db, "AHZ", "hor", "--cdp", "1"}, "--cdp is for VEL and VAZ");
}

/// A synthetic survey, and jobs made from its own.
class SurveyRun : public CommandLine {
 protected:
  SurveyRun() {
    done({"synth", folder.string(), "--crosslines", "12", "--fold", "8", "--samples", "250", "--passes", "2"});
  }

  /// The survey's own job with a text exchanged.
  std::string job(const std::string& from, const std::string& to) const {
    std::string text = contents("job.toml");
    return save("changed.toml", text.replace(text.find(from), from.size(), to));
  }
  std::string jobFrom(const std::string& name) const {
    return job("VELNAME = \"start\"", "VELNAME = \"" + name + "\"");
  }

  double rmsError(const std::string& name) const {
    const std::string text = done({"table", "diff", db, name, "true", "--to", "900"});
    return std::stod(text.substr(text.find("RMS ") + 4));
  }
};

TEST_F(SurveyRun, BringsTheVelocitiesCloserToTheTruthAndRepeatsToTheLastBit) {
  const std::string start = table("start"), log = korvane_test::toolLines(done({"run", path("job.toml")}));
  EXPECT_LT(rmsError("refined"), 0.9 * rmsError("start"));
  EXPECT_EQ(table("start"), start);
  const std::string traces = contents("attributes.sgy"), refined = table("refined");
  EXPECT_EQ(korvane_test::toolLines(done({"run", path("job.toml")})), log);
  EXPECT_TRUE(contents("attributes.sgy") == traces);
  EXPECT_EQ(table("refined"), refined);
}

TEST_F(SurveyRun, AFailedRunLeavesTheEarlierTracesAndTableAsTheyWere) {
  done({"synth", folder.string(), "--inlines", "3", "--crosslines", "6", "--fold", "12", "--force"});
  done({"run", path("job.toml")});
  done({"run", jobFrom("refined")});  // a table of a run has its CDPs' positions
  const std::string traces = contents("attributes.sgy"), refined = table("refined");
  // in the first pass: a function of the input table stands nowhere on the map
  import("VEL", "astray", "cdp,time,velocity\n1,0,1800\n9999,0,2000\n");
  expectParts(failed({"run", jobFrom("astray")}),
              {"table astray", "9999", "KORVANE: Error interpolating 3D velocity table\n"});
  SQLite::Database database(db);
  EXPECT_EQ(database.execAndGet("SELECT group_concat(result, '|') FROM korvane_run").getString(),
            "completed|completed|KORVANE: Error interpolating 3D velocity table");
  // before the first pass: the input ends inside a trace
  save("cut.sgy", contents("gathers.sgy").substr(0, fs::file_size(path("gathers.sgy")) - 50));
  refused({"run", job("gathers.sgy", "cut.sgy")}, "cut.sgy");
  EXPECT_TRUE(contents("attributes.sgy") == traces);
  EXPECT_EQ(table("refined"), refined);
  for (const auto& entry : fs::directory_iterator(folder)) EXPECT_NE(entry.path().extension(), ".part");
}

TEST_F(SurveyRun, WhatAJobLacksIsNamedBeforeAnythingIsWritten) {
  const std::string before = tables();
  refused({"run", job("survey.db", "other.db")}, path("other.db") + ": there is no such database file");
  EXPECT_EQ(failed({"run", jobFrom("strat")}), "warning: " + db + ": no VEL table \"strat\"; 'korvane table list " +
                                                   db +
                                                   "' shows those that are there, 'korvane table import' adds one\n"
                                                   "KORVANE: Cannot open input velocity table: strat.\n");
  refused({"run", job("gathers.sgy", "gather.sgy")}, "gather.sgy");
  refused({"run", job("VELSAMP = 20.000", "VELSAMP = 1001.0")}, "expected at most the length of a trace, 1000 ms");
  refused({"run", job("attributes.sgy", "none/out.sgy")}, "none/out.sgy");
  refused({"run", path("none.toml")}, "none.toml: cannot be read: No such file");
  EXPECT_FALSE(fs::exists(path("other.db")));
  EXPECT_FALSE(fs::exists(path("attributes.sgy")));
  EXPECT_EQ(tables(), before);
}

TEST_F(SurveyRun, AJobThatScanSuggestsRunsOnceItsTableIsThere) {
  const std::string scan = done({"scan", path("gathers.sgy")}), mark = "A job to start from:\n\n";
  expectParts(scan, {"Traces          96, of which 96 live", mark});
  const std::string suggested = save("suggested.toml", scan.substr(scan.find(mark) + mark.size()));
  done({"table", "import", path("gathers.db"), "VEL", "initial", path("start.csv")});
  done({"run", suggested});
  EXPECT_TRUE(fs::exists(path("gathers_velocities.sgy")));
}

TEST_F(SurveyRun, AScanNamesTheWrongFormatAndTheMovedHeaderAndItsJobGivesTheSameTable) {
  std::string bytes = contents("gathers.sgy");
  const std::size_t traceBytes = (bytes.size() - 3600) / 96;
  for (std::size_t at = 3600; at < bytes.size(); at += traceBytes) {  // CDP from byte 21 to 205
    bytes.replace(at + 204, 4, bytes.substr(at + 20, 4));
    bytes.replace(at + 20, 4, std::string(4, '\0'));
  }
  bytes[3225] = 1;
  save("odd.sgy", bytes);
  const std::string report = done({"scan", path("odd.sgy"), "--job", path("odd.toml")});
  expectParts(report, {"the header says format 1", "Looks like      IEEE float, BUT IS READ AS IBM float", "205  int32",
                       "CDP is taken from byte 205", "In the way of a run:", "`format = \"ieee\"`"});
  expectParts(contents("odd.toml"), {"format      = \"ieee\"", "CDP         = 205 ", "a guess: "});
  expectParts(done({"scan", path("odd.sgy"), "--format", "ieee"}), {"Nothing was found that keeps a run"});
  done({"scan", path("gathers.sgy"), "--job", path("gathers.toml")});
  for (const std::string name : {"gathers", "odd"}) {
    done({"table", "import", path(name + ".db"), "VEL", "initial", path("start.csv")});
    done({"run", path(name + ".toml")});
  }
  EXPECT_EQ(done({"table", "export", path("odd.db"), "VEL", "refined"}),
            done({"table", "export", path("gathers.db"), "VEL", "refined"}));
  EXPECT_EQ(call({"scan", path("odd.sgy"), "--format", "ebcdic"}).status, 2);
  const std::string job = contents("odd.toml");
  refused({"scan", path("odd.sgy"), "--job", path("odd.toml")}, "odd.toml: is there already");
  EXPECT_EQ(contents("odd.toml"), job);
}

TEST_F(SurveyRun, AScanTellsWhyNoTraceIsLive) {
  const std::string whole = contents("gathers.sgy");
  const std::size_t traceBytes = (whole.size() - 3600) / 96;
  const auto spoilt = [&](char code, const std::string& sample) {
    std::string bytes = whole;
    for (std::size_t at = 3600; at < bytes.size(); at += traceBytes) {
      bytes[at + 29] = code;
      for (std::size_t k = at + 240; k < at + traceBytes && !sample.empty(); k += 4) bytes.replace(k, 4, sample);
    }
    return call({"scan", save("spoilt.sgy", bytes)}).out;
  };
  expectParts(spoilt(2, ""), {"map the code to a word that is 0", "TRC_TYPE    = 121 "});
  expectParts(spoilt(1, "\x7f\xc0\x01\x01"), {"No trace is live with finite samples"});
  expectParts(spoilt(2, std::string(4, '\0')), {"none that was looked at has a signal"});
  expectParts(call({"scan", save("cut.sgy", whole.substr(0, 3600 + traceBytes + 1))}).out,
              {"cut inside trace 2 (1 stray byte)", "Largest         1 trace, at", "use the 1 whole trace."});
}

TEST_F(SurveyRun, IsReplacedOnlyWhenToldAndByOptionsThatMakeOne) {
  const std::string before = contents("gathers.sgy");
  refused({"synth", folder.string(), "--seed", "2"}, folder.string());
  EXPECT_TRUE(contents("gathers.sgy") == before);
  refused({"synth", path("s"), "--fold", "3"}, "fold 3: expected 4 to");
  refused({"synth", path("s"), "--interval", "1.0005"}, "interval (ms) 1.0005: expected a whole number of microsec");
  EXPECT_FALSE(fs::exists(path("s")));
  const std::string checkpoint = "survey.db.job.toml.checkpoint";
  done({"run", path("job.toml")});
  save(checkpoint, "of a run that was stopped");
  done({"synth", folder.string(), "--seed", "2", "--force"});
  EXPECT_FALSE(contents("gathers.sgy") == before);
  for (const std::string& left : {std::string("attributes.sgy"), checkpoint}) {
    EXPECT_FALSE(fs::exists(path(left))) << left;
    fs::create_directory(path("s"));
    save("s/" + left, "of another survey");
    refused({"synth", path("s")}, left + " is there already");
    fs::remove_all(path("s"));
  }
}

}  // namespace
