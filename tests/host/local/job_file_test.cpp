#include "host/local/job_file.h"

#include <algorithm>
#include <string>
#include <vector>

#include "tests/support/host_test.h"

namespace host::local {
namespace {

const std::string completeJob = R"([survey]
type = "2D"
units = "metres"
[data]
input = "gathers.sgy"
output = "out.sgy"
primary_key = "CDP"
[headers]
OFFSET = 37
[database]
file = "survey.db"
[run]
threads = 2
[parameters]
MINCDP = 1
MAXCDP = 9
NUMITER = 4
FOLD = 6
START = 0
THMIN = 0
AZIMTH = 0
PRESTACK = 0
VELNAME = "vin"
VELSAMP = 20
OUTPUT = "1,2"
VELNAMO = "vout"
)";

/// A line of the complete job, what takes its place, and what is said of it.
struct Change {
  std::string from, to, said;
};

class JobFileTest : public korvane_test::HostTest {
 protected:
  JobFile read(const std::string& text) {
    korvane_test::writeFile(file, text);
    warnings.texts.clear();
    return readJobFile(file, warnings);
  }
  std::string refusal(const std::string& text) {
    return korvane_test::refusal([&] { read(text); });
  }

  /// The complete job with a line replaced; `place` is then what a message on the last of the new lines begins with.
  std::string changed(const std::string& from, const std::string& to) {
    std::string text = completeJob;
    const std::size_t at = text.find(from + "\n");
    EXPECT_NE(at, std::string::npos) << from;
    text.replace(at, from.size(), to);
    const std::string before = text.substr(0, at + to.size());
    place = file.string() + ":" + std::to_string(std::count(before.begin(), before.end(), '\n') + 1) + ": ";
    return text;
  }

  const std::filesystem::path file = folder / "job.toml";
  std::string place;
};

TEST_F(JobFileTest, AMistakeIsNamedWithFileLineKeyFoundAndExpected) {
  const std::string byte = "a byte from 1 to 237";
  const std::vector<Change> changes{
      {"AZIMTH = 0", "AZIMTH = 0\nAZIMUTH 1", ""},
      {"[run]", "[rum]", "unknown key rum; the nearest table known is [run]"},
      {"MAXCDP = 9", "MAXCPD = 9", "[parameters] MAXCPD = 9: unknown key; the nearest one known is MAXCDP"},
      {"OFFSET = 37", "SGCDP = 197", "[headers] SGCDP = 197: unknown key; the nearest one known is SG_CDP"},
      {"type = \"2D\"", "type = 2", "[survey] type = 2: expected \"2D\" or \"3D\""},
      {"units = \"metres\"", "units = \"meters\"", "[survey] units = \"meters\": expected \"metres\" or \"feet\""},
      {"output = \"out.sgy\"", "output = \"\"", "[data] output = \"\": expected a file or folder name in quotes"},
      {"primary_key = \"CDP\"", "primary_key = \"SG_CDP\"",
       "[data] primary_key = \"SG_CDP\": expected a header whose byte is known; [headers] gives none"},
      {"primary_key = \"CDP\"", "format = \"ebcdic\"", "[data] format = \"ebcdic\": expected \"ibm\" or \"ieee\""},
      {"primary_key = \"CDP\"", "allow_truncated = 1", "[data] allow_truncated = 1: expected true or false"},
      {"OFFSET = 37", "OFFSET = 238", "[headers] OFFSET = 238: expected " + byte},
      {"OFFSET = 37", "TR_FOLD = 240", "[headers] TR_FOLD = 240: expected a byte from 1 to 239"},
      {"OFFSET = 37", "TR_FOLD = { byte = 239, format = \"float32\" }", "[headers] TR_FOLD = {"},
      {"OFFSET = 37", "OFFSET = { format = \"int32\" }", "[headers] OFFSET = { format = \"int32\" }: expected " + byte},
      {"OFFSET = 37", "OFFSET = { byte = 37, format = 4 }",
       "[headers] OFFSET = 4: expected format \"int16\", \"int32\" or"},
      {"OFFSET = 37", "OFFSET = { bite = 37 }", "[headers] OFFSET = { bite = 37 }: expected the keys byte and format"},
      {"OFFSET = 37", "CDP = { byte = 21, format = \"float32\" }", "[headers] CDP = {"},
      {"output = \"out.sgy\"", "output = \"/dev/null\"", "[data] output = \"/dev/null\": expected a file, no device"},
      {"threads = 2", "threads = 1025", "[run] threads = 1025: expected a whole number from 0 to 1024"},
      {"threads = 2", "threads = -1", "[run] threads = -1: expected a whole number from 0 to 1024"},
      {"threads = 2", "threads = \"all\"", "[run] threads = \"all\": expected a whole number"},
      {"NUMITER = 4", "NUMITER = 4.0", "[parameters] NUMITER = 4.0: expected int, a whole number"},
      {"NUMITER = 4", "NUMITER = 3000000000", "[parameters] NUMITER = 3000000000: expected int, a whole number of at"},
      {"NUMITER = 4", "NUMITER = -1",
       "[parameters] NUMITER = -1: expected at least 0 (analysis passes, each followed by a revision)"},
      {"THMIN = 0", "THMAX = nan", "[parameters] THMAX = nan: expected"},
      {"THMIN = 0", "THMIN = \"0\"", "[parameters] THMIN = \"0\": expected float, a number"},
      {"VELNAME = \"vin\"", "VELNAME = 7", "[parameters] VELNAME = 7: expected string, text in quotes"},
      {"VELSAMP = 20", "VELSAMP = 0", "[parameters] VELSAMP = 0: expected at least 0.001"},
      {"OUTPUT = \"1,2\"", "OUTPUT = \"1,two\"", "[parameters] OUTPUT = \"1,two\": expected a list of output codes"},
      {"MAXCDP = 9", "MAXCDP = 0", "[parameters] MAXCDP = 0: expected at least MINCDP, which is 1"},
  };
  for (const auto& [from, to, said] : changes) {
    const std::string message = refusal(changed(from, to));
    EXPECT_TRUE(message.starts_with(place + said)) << to << '\n' << message;
  }
  read(completeJob).parameters.checkAgainst(20.0f);  // an output interval may be as long as a trace
}

TEST_F(JobFileTest, EveryMistakeIsListedAndNoneThatFollowsFromAnother) {
  const std::string text = refusal(
      "[survey]\nunits = 1\n[dta]\n[data]\ninput = 7\n[headers]\nCDP = 0\nOFFSET = 0\n[database]\nfile = \"a.db\"\n"
      "[parameters]\nMINCDP = 9\nMAXCDP = 1\nNUMITER = -1\nVELNAME = \"v\"\n");
  korvane_test::expectParts(text, {":2: [survey] units = 1", ":3: unknown key dta", ":5: [data] input = 7",
                                   ":7: [headers] CDP = 0", ":8: [headers] OFFSET = 0", ":13: [parameters] MAXCDP = 1",
                                   ":14: [parameters] NUMITER = -1", "VELNAMO is missing"});
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 7) << text;
  // a value that is none, or stands under a wrong name, is not also missing
  for (const auto& [from, to] : {std::pair{"MAXCDP = 9", "MAXCDP = true"}, {"MAXCDP = 9", "MAXCPD = 9"}}) {
    EXPECT_EQ(refusal(changed(from, to)).find("missing"), std::string::npos);
  }
}

TEST_F(JobFileTest, ALineIsAsLongAsTablesWithinTablesMayBeDeep) {
  const auto dotted = [](std::size_t parts) {
    std::string key = "a";
    for (std::size_t i = 1; i < parts; ++i) key += ".a";
    return key;
  };
  for (const std::string& line : {dotted(4999) + "=1", "[" + dotted(4999) + "]"}) {
    korvane_test::expectParts(refusal(completeJob + line), {"unknown key"});
  }
  for (const std::string& line : {dotted(200'000) + "=1", "[" + dotted(200'000) + "]"}) {
    const std::string said = std::to_string(line.size()) + " characters, expected at most 10000";
    korvane_test::expectParts(refusal("\n" + line + "\n" + completeJob), {file.string() + ":2: ", said});
  }
  korvane_test::writeFile(file, completeJob);
  korvane_test::expectParts(
      korvane_test::refusal([&] { readJobFile(file, warnings, {"NUMITER={" + dotted(20'000) + "=1}"}); }),
      {"--set NUMITER: expected at most 10000 characters"});
}

TEST_F(JobFileTest, ASettingTakesThePlaceOfWhatTheJobSays) {
  const auto set = [&](const JobSettings& settings) {
    korvane_test::writeFile(file, completeJob);
    return readJobFile(file, warnings, settings);
  };
  const JobFile job =
      set({"NUMITER=5", "NUMITER=6", "parameters.FOLD=3", "VELNAME=a b=c", "VELNAMO=\"7\"", "OUTPUT=1", "VELSAMP=1e1",
           "data.output=2024", "run.threads=4", "run.scratch=/x",
           "headers.NA_STAT={ byte = 201, format = \"float32\" }", "data.allow_truncated=true", "survey.units=feet"});
  const ParameterSet& p = job.parameters;
  EXPECT_EQ(p.integer("NUMITER"), 6);
  EXPECT_EQ(p.integer("FOLD"), 3);
  EXPECT_EQ(p.text("VELNAME"), "a b=c");
  EXPECT_EQ(p.text("VELNAMO"), "7");
  EXPECT_EQ(p.text("OUTPUT"), "1");
  EXPECT_EQ(p.real("VELSAMP"), 10.0f);
  EXPECT_EQ(job.output, folder / "2024");
  EXPECT_EQ(job.scratch, "/x");
  EXPECT_EQ(job.input.layout.fields.at("NA_STAT"), (HeaderField{201, HeaderFormat::float32}));
  EXPECT_TRUE(job.threads == 4 && job.input.allowTruncated && job.feet);
  EXPECT_EQ(set({"FOLD=3", "parameters.NUMITER=6", "data.output=a"}).text,
            set({"data.output=a", "NUMITER=5", "NUMITER=6", "FOLD=3"}).text)
      << "the report of a run is found whatever the order of its settings";
  EXPECT_NE(set({"FOLD=3"}).text, set({}).text);
  EXPECT_NE(job.text.find("# --set parameters.NUMITER=6"), std::string::npos) << "the run record tells what was run";

  for (const auto& [setting, said] : std::vector<std::pair<std::string, std::string>>{
           {"NUMITR=6", "--set NUMITR=6: unknown key; the nearest one known is NUMITER"},
           {"output=x", "--set output=x: unknown key; the nearest one known is data.output"},
           {"units=feet", "--set units=feet: unknown key; the nearest one known is survey.units"},
           {"dat.output=x", "--set dat.output=x: unknown key; the nearest one known is data.output"},
           {"headers.CDP.byte=9", "--set headers.CDP.byte=9: unknown key; the nearest one known is headers.CDP"},
           {"NUMITER", "--set NUMITER: expected KEY=VALUE"},
           {"NUMITER=six", "--set: [parameters] NUMITER = \"six\": expected int"},
           {"NUMITER=-1", "--set: [parameters] NUMITER = -1: expected at least 0"},
           {"run.threads=[2]", "--set: [run] threads = [ 2 ]: expected a whole number"},
           {"data.output=", "--set: [data] output = \"\": expected a file or folder name"},
           {"data.output=job.toml", "--set: [data] output = \"job.toml\": expected a file other than the job file"}}) {
    const std::string text = korvane_test::refusal([&, s = setting] { set({s}); });
    EXPECT_TRUE(text.starts_with(said)) << text;
  }
}

TEST_F(JobFileTest, AModeNeedsItsOwnKeysAndNoOthers) {
  const std::string type = "type = \"2D\"", table = "VELNAMO = \"vout\"";
  const std::vector<Change> changes{{"MINCDP = 1", "", "MINCDP"},           {"MAXCDP = 9", "", "MAXCDP"},
                                    {"VELNAME = \"vin\"", "", "VELNAME"},   {table, "", "VELNAMO"},
                                    {"START = 0", "METHOD = 2", "HORNAME"}, {"AZIMTH = 0", "AZIMTH = 1", "VAZNAMO"},
                                    {type, "type = \"3D\"", "MINILINE"}};
  for (const auto& [from, to, key] : changes) {
    const std::string said = file.string() + ": [parameters] " + key + " is missing: expected ";
    EXPECT_TRUE(refusal(changed(from, to)).starts_with(said)) << to;
  }
  EXPECT_NO_THROW(read(changed(table, "OUTVEL = 0")));
  EXPECT_EQ(warnings.texts.size(), 1u);  // VELSAMP
  EXPECT_NO_THROW(read(changed(table, "").replace(completeJob.find("PRESTACK = 0"), 12, "PRESTACK = 1")));
  EXPECT_EQ(warnings.texts.size(), 2u);  // VELSAMP, OUTPUT
}

TEST_F(JobFileTest, AnOutputFunctionIsNeitherEmptyNorLongerThanADatabaseTakes) {
  const float second = 1000.0f;
  const auto refusalOf = [&](const char* interval, const std::string& mode = "AZIMTH = 0") {
    std::string job = changed("VELSAMP = 20", std::string("VELSAMP = ") + interval);
    job.replace(job.find("AZIMTH = 0"), 10, mode);
    return korvane_test::refusal([&] { read(job).parameters.checkAgainst(second); });
  };
  EXPECT_EQ(refusalOf("1000"), "not refused");
  korvane_test::expectParts(refusalOf("1001"), {"VELSAMP = 1001: expected at most the length of a trace, 1000 ms"});
  EXPECT_EQ(refusalOf("0.001"), "not refused");
  const std::string sectors = "AZIMTH = 1\nNAZIM = 18000\nVAZNAMO = \"az\"";
  korvane_test::expectParts(refusalOf("0.07", sectors), {"VELSAMP = 0.07: expected at least 0.072"});
  EXPECT_EQ(refusalOf("0.073", sectors), "not refused");
}

TEST_F(JobFileTest, WhatTheJobWillNotReadOrReachGivesAWarning) {
  const std::vector<Change> changes{
      {"FOLD = 6", "MINXLINE = 4", "MINXLINE = 4: not read by this job (read when: survey type 3D)"},
      {"FOLD = 6", "HORNAME = \"h\"", "HORNAME = \"h\": not read by this job (read when: METHOD not 1)"},
      {"FOLD = 6", "NAZIM = 0", "NAZIM = 0: not read by this job (read when: AZIMTH not 0)"},
      {"FOLD = 6", "NUMYSUM = 8\nFOLD = 8",
       "FOLD = 8: more than the 7 CDPs that a neighbourhood (NUMYSUM)"},  // made odd
      {"MAXCDP = 9\nNUMITER = 4\nFOLD = 6", "MAXCDP = 3\nFOLD = 6", "FOLD = 6: more than the 3 CDPs"},
  };
  for (const auto& [from, to, said] : changes) {
    read(changed(from, to));
    ASSERT_EQ(warnings.texts.size(), 1u) << to;
    EXPECT_TRUE(warnings.texts[0].starts_with(place + "[parameters] " + said)) << warnings.texts[0];
  }
  read(changed("FOLD = 6", "FOLD = 7"));
  EXPECT_TRUE(warnings.texts.empty());
}

TEST_F(JobFileTest, TheOutputMayNotReplaceAnotherFileOfTheJob) {
  for (const char* name : {"gathers.sgy", "survey.db"}) korvane_test::writeFile(folder / name, "x");
  std::filesystem::create_symlink(folder / "gathers.sgy", folder / "link.sgy");
  for (const auto& [output, role] : {std::pair{"gathers.sgy", "input"},
                                     {"./link.sgy", "input"},
                                     {"survey.db", "database"},
                                     {"job.toml", "job file"}}) {
    const std::string value = "output = \"" + std::string(output) + '"';
    const std::string message = refusal(changed("output = \"out.sgy\"", value));
    EXPECT_EQ(message, place + "[data] " + value + ": expected a file other than the " + role);
  }
}

}  // namespace
}  // namespace host::local
