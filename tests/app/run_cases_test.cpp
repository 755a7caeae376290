#include <algorithm>
#include <bit>
#include <cstdint>
#include <map>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "host/local/big_endian.h"
#include "host/local/segy_input.h"
#include "tests/support/program.h"

namespace {

namespace fs = std::filesystem;
using host::local::HeaderField;
using host::local::HeaderFormat;
using korvane_test::readFile;

std::vector<std::string> split(const std::string& text, char at) {
  std::vector<std::string> parts;
  std::istringstream in(text);
  for (std::string part; std::getline(in, part, at);) parts.push_back(part);
  return parts;
}

/// Rows of a CSV file: fields by column, without the columns of positions.
std::vector<std::map<std::string, std::string>> readCsv(const fs::path& file) {
  const std::vector<std::string> lines = split(readFile(file), '\n');
  const std::vector<std::string> columns = split(lines.at(0), ',');
  std::vector<std::map<std::string, std::string>> rows(lines.size() - 1);
  for (std::size_t r = 0; r < rows.size(); ++r) {
    const std::vector<std::string> fields = split(lines[r + 1], ',');
    for (std::size_t k = 0; k < columns.size(); ++k) {
      if (columns[k] != "x" && columns[k] != "y") rows[r][columns[k]] = fields.at(k);
    }
  }
  return rows;
}

struct Trace {
  host::local::TraceHeader header;
  std::string samples;  ///< little-endian
};

/// The traces of a SEG-Y file of four-byte samples.
std::vector<Trace> readTraces(const fs::path& file) {
  const std::string bytes = readFile(file);
  const std::size_t length = 4 * host::local::loadBig16(reinterpret_cast<const unsigned char*>(&bytes.at(3220)));
  std::vector<Trace> traces;
  for (std::size_t at = 3600; at < bytes.size(); at += 240 + length) {
    Trace& trace = traces.emplace_back(Trace{.header = {}, .samples = bytes.substr(at + 240, length)});
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), 240, trace.header.begin());
    for (auto word = trace.samples.begin(); word != trace.samples.end(); word += 4) std::reverse(word, word + 4);
  }
  return traces;
}

void expectTraces(const fs::path& folder) {
  const std::vector<Trace> output = readTraces(folder / "out.sgy"), input = readTraces(folder / "gathers.sgy");
  const std::string samples = readFile(folder / "expected/out_traces.f32");
  const auto heads = readCsv(folder / "expected/out_heads.csv");
  ASSERT_EQ(output.size(), heads.size());
  for (std::size_t t = 0; t < output.size(); ++t) {
    const std::string& found = output[t].samples;
    ASSERT_TRUE(found == samples.substr(t * found.size(), found.size())) << "samples of output trace " << t;
    // the input header with the words that the run sets
    host::local::TraceHeader header = input.at(std::stoul(heads[t].at("src"))).header;
    const auto expectWord = [&](HeaderField field, double value) {
      EXPECT_EQ(host::local::readField(output[t].header, field), value)
          << "byte " << field.byte << " of output trace " << t;
      host::local::writeField(header, field, value);
    };
    for (const int byte : {1, 5}) expectWord({byte}, static_cast<double>(t + 1));
    for (const auto& [byte, column] :
         {std::pair{29, "itrc_type"}, {33, "itr_fold"}, {237, "iend_ens"}, {239, "ilseg_seq"}}) {
      expectWord({byte, HeaderFormat::int16}, std::stod(heads[t].at(column)));
    }
    expectWord({233, HeaderFormat::float32}, std::stof(heads[t].at("vel_azim")));
    ASSERT_EQ(output[t].header, header) << "header of output trace " << t;
  }
}

/// A text without the new lines at its end.
std::string withoutEnd(const std::string& text) { return text.substr(0, text.find_last_not_of('\n') + 1); }

/// A run and the number of threads to make it with.
class RunCase : public korvane_test::ProgramTest, public testing::WithParamInterface<std::tuple<std::string, int>> {};

TEST_P(RunCase, GivesTheSameBits) {
  const auto& [name, threads] = GetParam();
  const std::string archive = KORVANE_TEST_DATA "/runs/" + name + ".tar.gz";
  ASSERT_EQ(std::system(("tar -xzf " + archive + " --strip-components=1 -C " + folder.string()).c_str()), 0);
  std::string text = contents("job.toml");
  const std::string one = "threads = 1\n", db = path("survey.db");
  save("job.toml", text.replace(text.find(one), one.size(), "threads = " + std::to_string(threads) + "\n"));
  for (const auto& [type, table, csv] :
       {std::tuple{"VEL", "vin", "vel.csv"}, {"AHZ", "hor", "hor.csv"}, {"VEL", "vout", "prev.csv"}}) {
    if (fs::exists(folder / csv)) done({"table", "import", db, type, table, path(csv)});
  }

  const korvane_test::Outcome run = call({"run", path("job.toml")});
  EXPECT_EQ(run.out.substr(0, run.out.find("\nDone ")), contents("expected/stdout.txt"));
  if (fs::exists(folder / "expected/message.txt")) {
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(withoutEnd(run.err), withoutEnd(contents("expected/message.txt")));
    EXPECT_FALSE(fs::exists(folder / "out.sgy"));
    return;
  }
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  expectTraces(folder);
  if (!fs::exists(folder / "expected/out_table.csv")) return;
  const std::string type = text.find("VAZNAMO") != std::string::npos ? "VAZ" : "VEL";
  done({"table", "export", db, type, "vout", path("out.csv")});
  EXPECT_EQ(readCsv(folder / "out.csv"), readCsv(folder / "expected/out_table.csv"));
}

std::vector<std::string> runCases() {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(KORVANE_TEST_DATA "/runs")) {
    names.push_back(entry.path().stem().stem().string());
  }
  return names;
}

INSTANTIATE_TEST_SUITE_P(Data, RunCase, testing::Combine(testing::ValuesIn(runCases()), testing::Values(1, 2, 3, 8)),
                         [](const auto& run) {
                           return std::get<0>(run.param) + "_threads_" + std::to_string(std::get<1>(run.param));
                         });

}  // namespace
