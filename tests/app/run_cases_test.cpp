#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "tests/support/program.h"

namespace {

namespace fs = std::filesystem;
using korvane_test::Outcome;
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

/// The traces of a SEG-Y file of four-byte samples.
class Traces {
 public:
  explicit Traces(const fs::path& file) : bytes_(readFile(file)), sampleBytes_(4 * number(3221, 2)) {}

  std::size_t count() const { return (bytes_.size() - 3600) / (240 + sampleBytes_); }
  std::string header(std::size_t trace) const { return bytes_.substr(start(trace), 240); }
  std::uint32_t word(std::size_t trace, std::size_t byte, int width) const {
    return number(start(trace) + byte, width);
  }
  /// Samples in little-endian order of bytes.
  std::string samples(std::size_t trace) const {
    std::string bytes = bytes_.substr(start(trace) + 240, sampleBytes_);
    for (auto at = bytes.begin(); at != bytes.end(); at += 4) std::reverse(at, at + 4);
    return bytes;
  }

 private:
  std::size_t start(std::size_t trace) const { return 3600 + trace * (240 + sampleBytes_); }
  /// Big-endian number at a byte counted from 1.
  std::uint32_t number(std::size_t byte, int width) const {
    std::uint32_t value = 0;
    while (width-- > 0) value = value << 8 | static_cast<unsigned char>(bytes_.at(byte++ - 1));
    return value;
  }

  std::string bytes_;
  std::size_t sampleBytes_;
};

/// The bytes of a trace header that the run does not set.
std::string untouched(std::string header) {
  for (const auto& [byte, width] : {std::pair<std::size_t, std::size_t>{1, 8}, {29, 2}, {33, 2}, {233, 8}}) {
    header.replace(byte - 1, width, width, '\0');
  }
  return header;
}

void expectTraces(const fs::path& folder) {
  const Traces output(folder / "out.sgy"), input(folder / "gathers.sgy");
  const std::string samples = readFile(folder / "expected/out_traces.f32");
  const auto heads = readCsv(folder / "expected/out_heads.csv");
  ASSERT_EQ(output.count(), heads.size());
  for (std::size_t t = 0; t < output.count(); ++t) {
    const auto& head = heads[t];
    const std::string found = output.samples(t);
    ASSERT_TRUE(found == samples.substr(t * found.size(), found.size())) << "samples of output trace " << t;
    for (const auto& [byte, column] :
         {std::pair{29u, "itrc_type"}, {237u, "iend_ens"}, {33u, "itr_fold"}, {239u, "ilseg_seq"}}) {
      EXPECT_EQ(output.word(t, byte, 2), std::stoul(head.at(column))) << column << " of " << t;
    }
    EXPECT_EQ(std::bit_cast<float>(output.word(t, 233, 4)), std::stof(head.at("vel_azim"))) << t;
    EXPECT_TRUE(untouched(output.header(t)) == untouched(input.header(std::stoul(head.at("src"))))) << t;
    EXPECT_EQ(output.word(t, 1, 4), t + 1);
  }
}

/// A text without the new lines at its end.
std::string withoutEnd(const std::string& text) { return text.substr(0, text.find_last_not_of('\n') + 1); }

/// A run and the number of threads to make it with.
class RunCase : public testing::TestWithParam<std::tuple<std::string, int>> {};

TEST_P(RunCase, GivesTheSameBits) {
  korvane_test::Program program;
  const auto& [name, threads] = GetParam();
  const fs::path folder = program.unpack("runs/" + name + ".tar.gz") / name, job = folder / "job.toml";
  const std::string text = readFile(job), one = "threads = 1\n", db = (folder / "survey.db").string();
  korvane_test::writeFile(
      job, std::string(text).replace(text.find(one), one.size(), "threads = " + std::to_string(threads) + "\n"));
  for (const auto& [type, table, csv] :
       {std::tuple{"VEL", "vin", "vel.csv"}, {"AHZ", "hor", "hor.csv"}, {"VEL", "vout", "prev.csv"}}) {
    if (!fs::exists(folder / csv)) continue;
    ASSERT_EQ(program.call({"table", "import", db, type, table, (folder / csv).string()}).status, 0) << csv;
  }

  const Outcome run = program.call({"run", job.string()});
  EXPECT_EQ(run.out, readFile(folder / "expected/stdout.txt"));
  if (fs::exists(folder / "expected/message.txt")) {
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(withoutEnd(run.err), withoutEnd(readFile(folder / "expected/message.txt")));
    EXPECT_FALSE(fs::exists(folder / "out.sgy"));
    return;
  }
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  expectTraces(folder);
  if (!fs::exists(folder / "expected/out_table.csv")) return;
  const std::string type = text.find("VAZNAMO") != std::string::npos ? "VAZ" : "VEL";
  const std::string table = (folder / "out.csv").string();
  const Outcome exported = program.call({"table", "export", db, type, "vout", table});
  ASSERT_EQ(exported.status, 0) << exported.err;
  EXPECT_EQ(readCsv(table), readCsv(folder / "expected/out_table.csv"));
}

std::vector<std::string> runCases() {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(fs::path(KORVANE_TEST_DATA) / "runs")) {
    names.push_back(entry.path().stem().stem().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

INSTANTIATE_TEST_SUITE_P(Data, RunCase, testing::Combine(testing::ValuesIn(runCases()), testing::Values(1, 2, 3, 8)),
                         [](const auto& run) {
                           return std::get<0>(run.param) + "_threads_" + std::to_string(std::get<1>(run.param));
                         });

}  // namespace
