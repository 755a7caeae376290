#include "host/local/mapped_store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace host::local {
namespace {

struct Warnings : MessageSink {
  std::vector<std::string> texts;
  void warn(const std::string& text) override { texts.push_back(text); }
};

class MappedStoreTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = (std::filesystem::temp_directory_path() / "mapped-store-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    scratch = name;
  }
  void TearDown() override { std::filesystem::remove_all(scratch); }

  /// Mappings of this process that a deleted file of the scratch folder backs.
  std::int64_t mappedFiles() const {
    std::ifstream maps("/proc/self/maps");
    std::int64_t found = 0;
    for (std::string line; std::getline(maps, line);)
      if (line.find(scratch.string()) != std::string::npos) ++found;
    return found;
  }

  std::filesystem::path scratch;
  Warnings warnings;
};

void expectZeroedAndWritable(void* block, std::size_t bytes) {
  ASSERT_NE(block, nullptr);
  auto* values = static_cast<unsigned char*>(block);
  EXPECT_EQ(std::count(values, values + bytes, 0), static_cast<std::ptrdiff_t>(bytes));
  std::memset(block, 0xa5, bytes);
  EXPECT_EQ(values[bytes - 1], 0xa5);
}

TEST_F(MappedStoreTest, KeepsBlocksInMemoryWhileTheyFitTogetherAndInAFileWithoutANameBeyond) {
  MappedStore store(scratch, warnings, 3'000'000);
  expectZeroedAndWritable(store.map(2'000'000), 2'000'000);
  EXPECT_EQ(mappedFiles(), 0);
  expectZeroedAndWritable(store.map(2'000'000), 2'000'000);
  EXPECT_EQ(mappedFiles(), 1);
  expectZeroedAndWritable(store.map(1'000'000), 1'000'000);  // the block in the file takes no memory from this one
  EXPECT_EQ(mappedFiles(), 1);
  EXPECT_TRUE(std::filesystem::is_empty(scratch));
  EXPECT_TRUE(warnings.texts.empty());
}

TEST_F(MappedStoreTest, SaysWhatWasNeededAndFoundWhenThereIsNoRoom) {
  MappedStore store(scratch, warnings, 5'000'000);
  constexpr std::int64_t tooMuch = std::int64_t{1} << 60;
  EXPECT_EQ(store.map(tooMuch), nullptr);
  ASSERT_EQ(warnings.texts.size(), 1u);
  for (const std::string& part : {std::to_string(tooMuch), std::string("5.0 MB of memory"), scratch.string()})
    EXPECT_NE(warnings.texts[0].find(part), std::string::npos) << warnings.texts[0];
  EXPECT_TRUE(std::filesystem::is_empty(scratch));
  EXPECT_NE(store.map(1000), nullptr);  // the run may still ask for less
}

}  // namespace
}  // namespace host::local
