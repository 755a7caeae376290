#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "tests/support/program.h"

namespace {

namespace fs = std::filesystem;
using korvane_test::Outcome;
using korvane_test::Program;
using korvane_test::readFile;

/// Lines cut into fields at commas.
std::vector<std::vector<std::string>> readCsv(const fs::path& file) {
  std::vector<std::vector<std::string>> rows;
  std::istringstream text(readFile(file));
  for (std::string line; std::getline(text, line);) {
    std::istringstream fields(line);
    std::vector<std::string> row;
    for (std::string field; std::getline(fields, field, ',');) row.push_back(field);
    rows.push_back(row);
  }
  return rows;
}

/// A table without its position columns.
std::vector<std::vector<std::string>> withoutPositions(std::vector<std::vector<std::string>> rows) {
  const std::vector<std::string> heading = rows.at(0);
  for (std::vector<std::string>& row : rows) {
    std::vector<std::string> kept;
    for (std::size_t k = 0; k < row.size(); ++k) {
      if (heading.at(k) != "x" && heading.at(k) != "y") kept.push_back(row[k]);
    }
    row = kept;
  }
  return rows;
}

std::uint32_t bigEndian(const std::string& bytes, std::size_t at, int width) {
  std::uint32_t value = 0;
  for (int k = 0; k < width; ++k)
    value = value << 8 | static_cast<unsigned char>(bytes.at(at + static_cast<std::size_t>(k)));
  return value;
}

/// The trace part of a SEG-Y file of four-byte samples.
class Traces {
 public:
  explicit Traces(const fs::path& file) : bytes_(readFile(file)), samples_(bigEndian(bytes_, 3220, 2)) {}

  std::size_t count() const { return (bytes_.size() - 3600) / (240 + 4 * samples_); }
  std::string header(std::size_t trace) const { return bytes_.substr(start(trace), 240); }
  std::uint32_t word(std::size_t trace, int byte, int width) const {
    return bigEndian(bytes_, start(trace) + static_cast<std::size_t>(byte - 1), width);
  }
  std::vector<std::uint32_t> samples(std::size_t trace) const {
    std::vector<std::uint32_t> values;
    for (std::size_t i = 0; i < samples_; ++i) values.push_back(bigEndian(bytes_, start(trace) + 240 + 4 * i, 4));
    return values;
  }

 private:
  std::size_t start(std::size_t trace) const { return 3600 + trace * (240 + 4 * samples_); }

  std::string bytes_;
  std::size_t samples_;
};

std::vector<std::uint32_t> littleEndianWords(const std::string& bytes, std::size_t first, std::size_t count) {
  std::vector<std::uint32_t> values;
  for (std::size_t i = first; i < first + count; ++i) {
    std::uint32_t value = 0;
    for (std::size_t k = 4; k-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes.at(4 * i + k));
    values.push_back(value);
  }
  return values;
}

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
  ASSERT_EQ(output.count(), heads.size() - 1);
  for (std::size_t t = 0; t < output.count(); ++t) {
    const std::vector<std::string>& head = heads[t + 1];
    const std::vector<std::uint32_t> found = output.samples(t);
    ASSERT_EQ(found, littleEndianWords(samples, t * found.size(), found.size())) << "output trace " << t;
    EXPECT_EQ(output.word(t, 29, 2), std::stoul(head[1])) << t;
    EXPECT_EQ(output.word(t, 237, 2), std::stoul(head[2])) << t;
    EXPECT_EQ(output.word(t, 33, 2), std::stoul(head[3])) << t;
    EXPECT_EQ(output.word(t, 239, 2), std::stoul(head[4])) << t;
    EXPECT_EQ(std::bit_cast<float>(output.word(t, 233, 4)), std::stof(head[5])) << t;
    EXPECT_EQ(untouched(output.header(t)), untouched(input.header(std::stoul(head[0])))) << t;
    EXPECT_EQ(output.word(t, 1, 4), t + 1);
  }
}

void setThreads(const fs::path& job, int threads) {
  std::string text = readFile(job);
  const std::string one = "threads = 1\n";
  text.replace(text.find(one), one.size(), "threads = " + std::to_string(threads) + "\n");
  korvane_test::writeFile(job, text);
}

/// A text without the new lines at its end.
std::string withoutEnd(const std::string& text) { return text.substr(0, text.find_last_not_of('\n') + 1); }

/// A run and the number of threads to make it with.
class RunCase : public testing::TestWithParam<std::tuple<std::string, int>> {};

TEST_P(RunCase, GivesTheSameBits) {
  Program program;
  const auto& [name, threads] = GetParam();
  const fs::path folder = program.unpack("runs/" + name + ".tar.gz") / name;
  setThreads(folder / "job.toml", threads);
  const std::string db = (folder / "survey.db").string();
  const auto import = [&](const char* type, const char* table, const char* csv) {
    if (!fs::exists(folder / csv)) return;
    const Outcome outcome = program.call({"table", "import", db, type, table, (folder / csv).string()});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
  };
  import("VEL", "vin", "vel.csv");
  import("AHZ", "hor", "hor.csv");
  import("VEL", "vout", "prev.csv");

  const Outcome run = program.call({"run", (folder / "job.toml").string()});
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
  const bool azimuthal = readFile(folder / "job.toml").find("VAZNAMO") != std::string::npos;
  const std::string table = (folder / "out.csv").string();
  const Outcome exported = program.call({"table", "export", db, azimuthal ? "VAZ" : "VEL", "vout", table});
  ASSERT_EQ(exported.status, 0) << exported.err;
  EXPECT_EQ(withoutPositions(readCsv(table)), readCsv(folder / "expected/out_table.csv"));
}

std::vector<std::string> runCases() {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(fs::path(KORVANE_TEST_DATA) / "runs")) {
    names.push_back(entry.path().stem().stem().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string nameOf(const testing::TestParamInfo<RunCase::ParamType>& run) {
  return std::get<0>(run.param) + "_threads_" + std::to_string(std::get<1>(run.param));
}

INSTANTIATE_TEST_SUITE_P(Data, RunCase, testing::Combine(testing::ValuesIn(runCases()), testing::Values(1, 2, 3, 8)),
                         nameOf);

}  // namespace
