#include "host/local/job_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace host::local {
namespace {

namespace fs = std::filesystem;

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

/// A job that lacks its parameters.
const std::string frame = R"([data]
input = "gathers.sgy"
output = "out.sgy"
[database]
file = "survey.db"
)";

/// The complete job with one of its lines replaced; `line` is the last line of the replacement, from 1.
std::string changed(const std::string& from, const std::string& to, int* line = nullptr) {
  std::string text = completeJob;
  const std::size_t at = text.find(from + "\n");
  EXPECT_NE(at, std::string::npos) << from;
  text.replace(at, from.size(), to);
  const auto end = text.begin() + static_cast<std::ptrdiff_t>(at + to.size());
  if (line != nullptr) *line = static_cast<int>(std::count(text.begin(), end, '\n')) + 1;
  return text;
}

struct Fault {
  std::string from, to;            ///< the last line of `to` is at fault
  std::vector<std::string> parts;  ///< of the message, beside file and line
};

struct Messages : MessageSink {
  std::vector<std::string> warnings;
  void warn(const std::string& text) override { warnings.push_back(text); }
};

class JobFileTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = (fs::temp_directory_path() / "job-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder = name;
    file = folder / "job.toml";
  }
  void TearDown() override { fs::remove_all(folder); }

  static void write(const fs::path& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

  JobFile read(const std::string& text) {
    write(file, text);
    messages.warnings.clear();
    return readJobFile(file, messages);
  }

  template <class Operation>
  static std::string refusalOf(Operation operation) {
    try {
      operation();
    } catch (const RunError& error) {
      return error.what();
    }
    return "not refused";
  }
  std::string refusal(const std::string& text) {
    return refusalOf([&] { read(text); });
  }

  void expectRefused(const Fault& fault) {
    int line = 0;
    const std::string message = refusal(changed(fault.from, fault.to, &line));
    EXPECT_TRUE(message.starts_with(file.string() + ":" + std::to_string(line) + ": ")) << fault.to << '\n' << message;
    for (const std::string& part : fault.parts) EXPECT_NE(message.find(part), std::string::npos) << message;
  }

  fs::path folder, file;
  Messages messages;
};

TEST_F(JobFileTest, AMessageNamesFileLineKeyFoundAndExpected) {
  const std::string name = file.string();
  EXPECT_EQ(
      refusal(changed("NUMITER = 4", "NUMITER = -1")),
      name + ":17: [parameters] NUMITER = -1: expected at least 0 (analysis passes, each followed by a revision)");
  EXPECT_EQ(refusal(changed("MAXCDP = 9", "MAXCPD = 9")),
            name + ":16: [parameters] MAXCPD = 9: unknown key; the nearest one known is MAXCDP");
  EXPECT_EQ(refusal(changed("VELNAME = \"vin\"", "")),
            name + ": [parameters] VELNAME is missing: expected string, input velocity table (VEL)");
  EXPECT_EQ(refusal(changed("units = \"metres\"", "units = \"meters\"")),
            name + ":3: [survey] units = \"meters\": expected \"metres\" or \"feet\"");
  EXPECT_EQ(refusal(changed("AZIMTH = 0", "AZIMTH = 0\nAZIMUTH 1")).find(name + ":22: "), 0u);
}

TEST_F(JobFileTest, AnUnknownNameIsRefusedWithTheNearestKnownOne) {
  const std::vector<Fault> faults{
      {"[run]", "[rum]", {"unknown key rum", "[run]"}},
      {"type = \"2D\"", "typ = \"2D\"", {"[survey] typ = \"2D\"", "nearest one known is type"}},
      {"input = \"gathers.sgy\"", "imput = \"gathers.sgy\"", {"[data] imput", "nearest one known is input"}},
      {"OFFSET = 37", "OFSET = 37", {"[headers] OFSET = 37", "nearest one known is OFFSET"}},
      {"OFFSET = 37", "SGCDP = 197", {"nearest one known is SG_CDP"}},
      {"file = \"survey.db\"", "name = \"survey.db\"", {"[database] name", "nearest one known is file"}},
      {"threads = 2", "thread = 2", {"[run] thread = 2", "nearest one known is threads"}},
      {"FOLD = 6", "fold = 6", {"[parameters] fold = 6", "unknown key"}},
      {"FOLD = 6", "MINLINE = 1", {"nearest one known is MINILINE"}},
  };
  for (const Fault& fault : faults) expectRefused(fault);
}

TEST_F(JobFileTest, AWrongTypeOrAnImpossibleValueIsRefusedAtItsLine) {
  const std::vector<Fault> faults{
      {"type = \"2D\"", "type = 2", {"[survey] type = 2", "\"2D\" or \"3D\""}},
      {"input = \"gathers.sgy\"", "input = 1", {"[data] input = 1", "name in quotes"}},
      {"output = \"out.sgy\"", "output = \"\"", {"[data] output = \"\"", "name in quotes"}},
      {"primary_key = \"CDP\"", "primary_key = \"OFFSET\"", {"\"CDP\" or \"SG_CDP\""}},
      {"primary_key = \"CDP\"", "primary_key = \"SG_CDP\"", {"primary_key = \"SG_CDP\"", "[headers] gives none"}},
      {"primary_key = \"CDP\"", "allow_truncated = 1", {"allow_truncated = 1", "true or false"}},
      {"OFFSET = 37", "OFFSET = 0", {"[headers] OFFSET = 0", "a byte from 1 to 237"}},
      {"OFFSET = 37", "OFFSET = 238", {"OFFSET = 238", "a byte from 1 to 237"}},
      {"OFFSET = 37", "TR_FOLD = 240", {"TR_FOLD = 240", "a byte from 1 to 239"}},
      {"OFFSET = 37", "OFFSET = 37.0", {"a byte from 1"}},
      {"OFFSET = 37", "NA_STAT = { byte = 239, format = \"float32\" }", {"NA_STAT = {", "a byte from 1 to 237"}},
      {"OFFSET = 37", "NA_STAT = { format = \"float32\" }", {"a byte from 1 to 237"}},
      {"OFFSET = 37", "OFFSET = { byte = 37, format = \"float64\" }", {"\"int16\", \"int32\" or \"float32\""}},
      {"OFFSET = 37", "OFFSET = { byte = 37, format = 4 }", {"\"int16\", \"int32\" or \"float32\""}},
      {"OFFSET = 37", "OFFSET = { bite = 37 }", {"the keys byte and format"}},
      {"OFFSET = 37", "CDP = { byte = 21, format = \"float32\" }", {"[headers] CDP", "for the primary key"}},
      {"threads = 2", "threads = -1", {"[run] threads = -1", "at least 0"}},
      {"threads = 2", "threads = \"all\"", {"threads = \"all\"", "a whole number"}},
      {"NUMITER = 4", "NUMITER = 4.0", {"int, a whole number"}},
      {"NUMITER = 4", "NUMITER = 3000000000", {"NUMITER = 3000000000", "at most 32 bits"}},
      {"FOLD = 6", "FOLD = 0", {"FOLD = 0", "at least 1"}},
      {"START = 0", "START = -1", {"START = -1", "at least 0"}},
      {"THMIN = 0", "THMIN = -0.5", {"THMIN = -0.5", "at least 0"}},
      {"THMIN = 0", "THMAX = 90.5", {"THMAX = 90.5", "at most 90"}},
      {"THMIN = 0", "THMAX = nan", {"THMAX = nan"}},
      {"THMIN = 0", "THMIN = \"0\"", {"THMIN = \"0\"", "float, a number"}},
      {"AZIMTH = 0", "AZIMTH = true", {"AZIMTH = true", "int"}},
      {"AZIMTH = 0", "AZIMTH = 1\nVAZNAMO = \"az\"\nNAZIM = 0", {"NAZIM = 0", "at least 1"}},
      {"VELNAME = \"vin\"", "VELNAME = 7", {"VELNAME = 7", "text in quotes"}},
      {"VELSAMP = 20", "VELSAMP = 0", {"VELSAMP = 0", "at least 0.001"}},
      {"VELSAMP = 20", "VELSAMP = -4", {"VELSAMP = -4", "at least 0.001"}},
      {"OUTPUT = \"1,2\"", "OUTPUT = \"1,two\"", {"OUTPUT = \"1,two\"", "list of output codes"}},
      {"MAXCDP = 9", "MAXCDP = 0", {"MAXCDP = 0", "at least MINCDP, which is 1"}},
  };
  for (const Fault& fault : faults) expectRefused(fault);
}

TEST_F(JobFileTest, AModeNeedsItsOwnKeysAndNoOthers) {
  struct Mode {
    const char* type;
    std::string choice;
    std::vector<std::string> needed;
  };
  const std::vector<std::string> line{"MINCDP = 1", "MAXCDP = 9", "VELNAME = \"vin\""};
  const auto with = [](std::vector<std::string> keys, const char* key) {
    keys.emplace_back(key);
    return keys;
  };
  const std::vector<Mode> modes{
      {"2D", "", with(line, "VELNAMO = \"vout\"")},
      {"3D",
       "",
       {"MINILINE = 1", "MAXILINE = 2", "MINXLINE = 3", "MAXXLINE = 4", "VELNAME = \"v\"", "VELNAMO = \"o\""}},
      {"2D", "METHOD = 2\n", with(with(line, "VELNAMO = \"vout\""), "HORNAME = \"hor\"")},
      {"2D", "AZIMTH = 1\n", with(line, "VAZNAMO = \"vout\"")},
      {"2D", "PRESTACK = 1\n", line},
      {"2D", "OUTVEL = 0\n", line},
  };
  for (const Mode& mode : modes) {
    const auto job = [&](const std::string& left) {
      std::string text = frame + "[survey]\ntype = \"" + mode.type + "\"\n[parameters]\n" + mode.choice;
      for (const std::string& key : mode.needed) {
        if (key != left) text += key + "\n";
      }
      return text;
    };
    EXPECT_NO_THROW(read(job(""))) << mode.choice;
    EXPECT_TRUE(messages.warnings.empty()) << messages.warnings.front();
    for (const std::string& left : mode.needed) {
      const std::string key = left.substr(0, left.find(' '));
      EXPECT_TRUE(refusal(job(left)).starts_with(file.string() + ": [parameters] " + key + " is missing: expected "))
          << mode.choice << left;
    }
  }
}

TEST_F(JobFileTest, TheOutputMayNotReplaceAnotherFileOfTheJob) {
  for (const char* name : {"gathers.sgy", "survey.db"}) write(folder / name, "x");
  fs::create_symlink(folder / "gathers.sgy", folder / "link.sgy");
  for (const auto& [output, role] : {std::pair{"gathers.sgy", "input"},
                                     {"./link.sgy", "input"},
                                     {"survey.db", "database"},
                                     {"job.toml", "job file"}}) {
    const std::string value = "output = \"" + std::string(output) + '"';
    EXPECT_EQ(refusal(changed("output = \"out.sgy\"", value)),
              file.string() + ":6: [data] " + value + ": expected a file other than the " + role);
  }
}

TEST_F(JobFileTest, AMappedHeaderKeepsItsUsualFormatUnlessTheJobGivesOne) {
  const std::string text = changed("OFFSET = 37",
                                   "SG_CDP = { byte = 197 }\nNA_STAT = { byte = 201, format = \"float32\" }\n"
                                   "TR_FOLD = 31\nOFFSET = { byte = 41, format = \"int16\" }\nILINE_NO = 237");
  const JobFile job = read(text);
  EXPECT_EQ(job.text, text);
  const auto& fields = job.input.layout.fields;
  EXPECT_EQ(fields.at("SG_CDP"), (HeaderField{197, HeaderFormat::int32}));
  EXPECT_EQ(fields.at("NA_STAT"), (HeaderField{201, HeaderFormat::float32}));
  EXPECT_EQ(fields.at("TR_FOLD"), (HeaderField{31, HeaderFormat::int16}));
  EXPECT_EQ(fields.at("OFFSET"), (HeaderField{41, HeaderFormat::int16}));
  EXPECT_EQ(fields.at("ILINE_NO"), (HeaderField{237, HeaderFormat::int32}));
  EXPECT_EQ(fields.at("CDP"), (HeaderField{21, HeaderFormat::int32}));
  EXPECT_FALSE(read(completeJob).input.layout.fields.contains("SG_CDP"));
}

TEST_F(JobFileTest, AKeyThatTheChosenModeDoesNotReadGivesOneWarning) {
  const std::vector<std::vector<std::string>> cases{
      {"FOLD = 6\nMINXLINE = 4", "MINXLINE = 4", "survey type 3D"},
      {"FOLD = 6\nHORNAME = \"hor\"", "HORNAME = \"hor\"", "METHOD not 1"},
      {"FOLD = 6\nNAZIM = 0", "NAZIM = 0", "AZIMTH not 0"},
      {"FOLD = 6\nVAZNAMO = \"az\"", "VAZNAMO = \"az\"", "PRESTACK 0, OUTVEL not 0, AZIMTH not 0"},
  };
  for (const auto& words : cases) {
    int line = 0;
    read(changed("FOLD = 6", words[0], &line));
    ASSERT_EQ(messages.warnings.size(), 1u) << words[0];
    EXPECT_EQ(messages.warnings[0], file.string() + ":" + std::to_string(line) + ": [parameters] " + words[1] +
                                        ": not read by this job (read when: " + words[2] + ")");
  }
  read(changed("PRESTACK = 0", "PRESTACK = 1"));
  EXPECT_EQ(messages.warnings.size(), 3u);  // VELSAMP, OUTPUT, VELNAMO
}

TEST_F(JobFileTest, AFoldThatNoNeighbourhoodReachesGivesAWarning) {
  read(changed("FOLD = 6", "FOLD = 8\nNUMYSUM = 8"));  // made odd: 7
  ASSERT_EQ(messages.warnings.size(), 1u);
  EXPECT_NE(messages.warnings[0].find("FOLD = 8: more than the 7 CDPs of a neighbourhood (NUMYSUM)"), std::string::npos)
      << messages.warnings[0];
  read(changed("FOLD = 6", "FOLD = 7\nNUMYSUM = 7"));
  EXPECT_TRUE(messages.warnings.empty());
}

TEST_F(JobFileTest, TheOutputIntervalIsAtMostTheLengthOfATrace) {
  EXPECT_NO_THROW(read(completeJob).parameters.checkAgainst(20.0f));
  EXPECT_EQ(refusalOf([&] { read(completeJob).parameters.checkAgainst(16.0f); }),
            file.string() + ":24: [parameters] VELSAMP = 20: expected at most the length of a trace, 16 ms");
  EXPECT_NO_THROW(read(changed("AZIMTH = 0", "OUTVEL = 0")).parameters.checkAgainst(16.0f));
}

}  // namespace
}  // namespace host::local
