#include "host/local/mapped_store.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include "tests/support/host_test.h"

namespace host::local {
namespace {

class MappedStoreTest : public korvane_test::HostTest {
 protected:
  /// Mappings of this process that a deleted file of the folder backs.
  std::int64_t mappedFiles() const {
    std::ifstream maps("/proc/self/maps");
    std::int64_t found = 0;
    for (std::string line; std::getline(maps, line);) found += line.find(folder.string()) != std::string::npos;
    return found;
  }
};

void expectZeroedAndWritable(void* block, std::int64_t bytes) {
  ASSERT_NE(block, nullptr);
  const auto* values = static_cast<unsigned char*>(block);
  EXPECT_EQ(std::count(values, values + bytes, 0), bytes);
  std::memset(block, 0xa5, static_cast<std::size_t>(bytes));
  EXPECT_EQ(values[bytes - 1], 0xa5);
}

TEST_F(MappedStoreTest, KeepsBlocksInMemoryWhileTheyFitTogetherAndInAFileWithoutANameBeyond) {
  MappedStore store(folder, warnings, 3'000'000);
  // the block in the file takes no memory from the last one
  for (const auto& [bytes, files] : {std::pair{2'000'000, 0}, {2'000'000, 1}, {1'000'000, 1}}) {
    expectZeroedAndWritable(store.map(bytes), bytes);
    EXPECT_EQ(mappedFiles(), files);
  }
  EXPECT_EQ(filesInFolder(), 0);
  EXPECT_TRUE(warnings.texts.empty());
  const StorePlan plan = planStores({2'000'000, 2'000'000, 1'000'000}, 3'000'000);
  EXPECT_EQ(plan.inMemory, 3'000'000);
  EXPECT_EQ(plan.inScratch, 2'000'000);
}

TEST_F(MappedStoreTest, SaysWhatWasNeededAndFoundWhenThereIsNoRoom) {
  MappedStore store(folder, warnings, 5'000'000);
  constexpr std::int64_t tooMuch = std::int64_t{1} << 60;
  EXPECT_EQ(store.map(tooMuch), nullptr);
  ASSERT_EQ(warnings.texts.size(), 1u);
  korvane_test::expectParts(warnings.texts[0], {std::to_string(tooMuch), "5.0 MB of memory", folder.string()});
  EXPECT_EQ(filesInFolder(), 0);
  EXPECT_NE(store.map(1000), nullptr);  // the run may still ask for less
}

}  // namespace
}  // namespace host::local
