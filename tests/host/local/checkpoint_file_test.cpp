#include "host/local/checkpoint_file.h"

#include <xxhash.h>

#include <cstring>
#include <numeric>

#include "tests/support/host_test.h"

namespace host::local {
namespace {

namespace fs = std::filesystem;
using korvane_test::expectParts;
using korvane_test::readFile;
using korvane_test::refusal;
using korvane_test::writeFile;

CheckpointState before(int pass) {
  CheckpointState state;
  state.pass = pass;
  return state;
}

class CheckpointFile : public korvane_test::HostTest {
 protected:
  CheckpointFile() { std::iota(values.begin(), values.end(), 1.0f); }

  static CheckpointBlock block(const char* name, std::vector<float>& data) {
    return {name, data.data(), static_cast<std::int64_t>(data.size() * sizeof(float))};
  }
  void write(const CheckpointState& state) {
    CheckpointWriter writer(file);
    writer.add(block("velocity", values));
    writer.add(block("few", few));
    EXPECT_TRUE(writer.commit(identity, state));
  }
  /// Reads everything. @return the state
  CheckpointState readBack() {
    std::vector<float> found(values.size()), foundFew(few.size());
    const CheckpointReader reader(file, identity);
    reader.read(block("velocity", found));
    reader.read(block("few", foundFew));
    EXPECT_EQ(found, values);
    EXPECT_EQ(foundFew, few);
    return reader.state();
  }

  const fs::path file = folder / "job.checkpoint";
  const RunIdentity identity = {{"NUMITER", "4"}, {"input in [data]", "odd \xff name"}};
  std::vector<float> values = std::vector<float>(2'500'001), few = {1.0f, -0.0f, 3.0f};
};

TEST_F(CheckpointFile, ReadsBackWhatWasWritten) {
  write({.pass = 3, .traces = 1LL << 40, .record = 7, .place = {.pass = 3, .run = 12, .delivered = 1LL << 41}});
  const CheckpointState state = readBack();
  EXPECT_EQ(state.pass, 3);
  EXPECT_EQ(state.traces, 1LL << 40);
  EXPECT_EQ(state.record, 7);
  EXPECT_EQ(state.place.pass, 3);
  EXPECT_EQ(state.place.run, 12);
  EXPECT_EQ(state.place.delivered, 1LL << 41);
}

TEST_F(CheckpointFile, TheEarlierOneStandsUntilTheNewOneIsWhole) {
  write(before(2));
  {
    CheckpointWriter writer(file);
    writer.add(block("velocity", few));
    EXPECT_EQ(readBack().pass, 2);
    writer.abandon();
    EXPECT_FALSE(writer.commit(identity, before(3)));
  }
  EXPECT_EQ(readBack().pass, 2);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
}

TEST_F(CheckpointFile, EveryDamageIsFound) {
  values.resize(5000);
  write(before(2));
  const std::string whole = readFile(file);
  const std::size_t blocksEnd = 4096 + 5 * 4096 + 12;  // 20000 bytes of velocity, then few
  std::vector<std::size_t> bytes = {0, 24, 32, 40, 48, 4096, 4096 + 19999, 4096 + 5 * 4096, blocksEnd - 1};
  for (std::size_t k = whole.find("{\"blocks\""); k < whole.size(); k += 7) bytes.push_back(k);
  for (const std::size_t byte : bytes) {
    std::string damaged = whole;
    damaged[byte] = static_cast<char>(damaged[byte] ^ 4);
    writeFile(file, damaged);
    expectParts(refusal([&] { readBack(); }), {"job.checkpoint: the checkpoint ", "without --resume"});
  }
  for (const std::size_t length : {std::size_t{0}, std::size_t{10}, std::size_t{4096}, blocksEnd, whole.size() - 1}) {
    writeFile(file, whole.substr(0, length));
    expectParts(refusal([&] { readBack(); }), {"too short", "without --resume"});
  }
  writeFile(file, whole);
  EXPECT_EQ(readBack().pass, 2);
}

TEST_F(CheckpointFile, NumbersThatAreNoneOfItsAreRefused) {
  few = {1.0f};
  values = few;
  write(before(2));
  const std::string whole = readFile(file);
  const std::size_t at = whole.find("{\"blocks\""), pass = whole.find("\"pass\":2");
  ASSERT_NE(pass, std::string::npos);
  const auto forge = [&](const std::string& number) {
    const std::string text = whole.substr(at, pass + 7 - at) + number + whole.substr(pass + 8);
    std::string forged = whole.substr(0, at) + text;
    const std::uint64_t length = text.size(), hash = XXH3_64bits(text.data(), text.size());
    std::memcpy(&forged[40], &length, sizeof length);
    std::memcpy(&forged[48], &hash, sizeof hash);
    writeFile(file, forged);
  };
  forge("14");
  EXPECT_EQ(readBack().pass, 14);
  for (const std::string number : {"1e30", "92233720368547758074905398146289433", "\"2\"", "null", "[]"}) {
    forge(number);
    expectParts(refusal([&] { readBack(); }), {"damaged (what it says of itself)"});
  }
}

TEST_F(CheckpointFile, OfAnotherRunOrWithOtherBlocksIsRefused) {
  write(before(2));
  const RunIdentity other = {{"NUMITER", "6"}, {"input in [data]", "odd \xff name"}, {"NAZIM", "3"}};
  expectParts(refusal([&] { CheckpointReader(file, other); }),
              {"NUMITER was 4, now it is 6", "NAZIM was not set, now it is 3"});
  const CheckpointReader reader(file, identity);
  std::vector<float> longer(few.size() + 1);
  expectParts(refusal([&] { reader.read(block("few", longer)); }), {"damaged (few)"});
  expectParts(refusal([&] { reader.read(block("none", few)); }), {"damaged (none)"});
}

}  // namespace
}  // namespace host::local
