#include <chrono>

#include "segy_image.h"

namespace host::local {
namespace {

/// A file whose headers change although neither its size nor its time does shows whether a cache was believed.
class IndexCacheTest : public SegyTest {
 protected:
  /// Ensembles, positions and warnings.
  std::string seen() {
    warnings.texts.clear();
    SegyData data(input, warnings, cache);
    std::string text;
    for (const Ensemble& ensemble : allEnsembles(data)) text += " " + std::to_string(ensemble.size());
    for (int cdp = 1; cdp < 10; ++cdp) text += data.find(cdp) ? " " + std::to_string(data.find(cdp)->x) : " none";
    for (const std::string& warning : warnings.texts) text += "\n" + warning;
    return text;
  }

  void write(const std::vector<int>& cdps, int minutes = 60) {
    SegyImage image;
    for (const int n : cdps) image.add(n, 1, {{codeField, n % 2 + 1}, {cdpXField, 100 * n}, {samplesField, n}});
    korvane_test::writeFile(input.file, image.bytes());
    std::filesystem::last_write_time(input.file, time - std::chrono::minutes(minutes));
  }
  const std::filesystem::file_time_type time = std::filesystem::file_time_type::clock::now();
  std::filesystem::path cache = folder / "index";
  const std::vector<int> live{2, 4, 4, 8, 2, 6, 4}, dead{3, 5, 5, 5, 7, 9, 1};
};

TEST_F(IndexCacheTest, GivesWhatTheHeadersGaveUnlessTheFileOrTheJobIsAnother) {
  write(live);
  const std::string ofLive = seen();
  write(dead);
  EXPECT_EQ(seen(), ofLive);
  write(dead, 1);
  const std::string ofDead = seen();
  korvane_test::expectParts(ofDead, {"7 traces (the first is trace 1) with other samples", "no trace is live"});
  write(live, 1);
  EXPECT_EQ(seen(), ofDead);
  input.layout.fields["SG_CDP"] = {181};
  EXPECT_EQ(seen(), ofLive);
  input.primaryKey = "SG_CDP";
  write(dead, 1);
  EXPECT_EQ(seen(), ofDead);
}

TEST_F(IndexCacheTest, IsUsedButNotMadeWhereNothingMayBeWritten) {
  write(live);
  SegyData(input, warnings, cache, CacheAccess::read);
  EXPECT_EQ(filesInFolder(), 1);
  seen();
  write(dead);
  EXPECT_EQ(SegyData(input, warnings, cache, CacheAccess::read).ensembles().size(), 4u) << "those of the live file";
}

TEST_F(IndexCacheTest, IsReplacedWhenDamagedAndNotMissedWhenItCannotBeWritten) {
  write(dead, -60);
  const std::string ofDead = seen();
  EXPECT_FALSE(std::filesystem::exists(cache)) << "another change might bear the same time";
  write(live);
  seen();
  const std::string whole = korvane_test::readFile(cache);
  write(dead);
  for (std::size_t at = 0; at < whole.size(); at += at < 88 ? 1 : 13) {
    std::string damaged = whole;
    damaged[at] ^= static_cast<char>(1 << at % 8);
    for (const std::string& bytes : {damaged, whole.substr(0, at), whole + damaged.substr(at)}) {
      korvane_test::writeFile(cache, bytes);
      ASSERT_EQ(seen(), ofDead) << "byte " << at;
    }
  }
  write(live);
  EXPECT_EQ(seen(), ofDead);  // of the new cache
  write(dead);
  for (const char* place : {"", "none/index"}) {
    cache = folder / place;
    EXPECT_EQ(seen(), ofDead);
  }
  EXPECT_EQ(filesInFolder(), 2);
}

}  // namespace
}  // namespace host::local
