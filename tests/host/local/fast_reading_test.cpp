#include <chrono>
#include <random>

#include "host/local/sample_format.h"
#include "segy_image.h"

namespace host::local {
namespace {

/// The definition of a sample.
float sampleOf(int format, std::uint32_t bits) {
  if (format == 2) return static_cast<float>(static_cast<std::int32_t>(bits));
  if (format == 3) return static_cast<std::int16_t>(bits);
  if (format == 5) return std::bit_cast<float>(bits);
  if (format == 8) return static_cast<std::int8_t>(bits);
  const double magnitude = std::ldexp(bits & 0xffffff, 4 * (static_cast<int>(bits >> 24 & 0x7f) - 64) - 24);
  return static_cast<float>(bits >> 31 != 0 ? -magnitude : magnitude);
}

TEST(SampleFormat, EveryPatternIsDecodedToTheBitsOfItsDefinitionAndOddOnesAreSeenWhereverTheyStand) {
  std::vector<std::uint32_t> patterns(21);  // no whole vectors
  for (std::uint32_t i = 0; i < 256 * 25 * 3; ++i) {
    const std::uint32_t bit = 1u << i % 25, fractions[] = {bit, bit - 1, 0 - bit};
    patterns.push_back(i / 75 << 24 | (fractions[i / 25 % 3] & 0xffffff));
  }
  std::mt19937 random(1);
  for (int i = 0; i < 1 << 20; ++i) patterns.push_back(static_cast<std::uint32_t>(random()));
  const int count = static_cast<int>(patterns.size());
  for (const int format : {1, 2, 3, 5, 8}) {
    const int size = sampleBytes(format);
    for (const bool littleEndian : {true, false}) {
      std::vector<unsigned char> bytes;
      for (const std::uint32_t pattern : patterns) {
        for (int i = 0; i < size; ++i) bytes.push_back(pattern >> 8 * (littleEndian ? i : size - 1 - i) & 0xff);
      }
      std::vector<float> samples(patterns.size());
      EXPECT_EQ(decodeSamples(format, littleEndian, bytes.data(), count, samples.data()), format != 1 && format != 5);
      const auto same = [format](float sample, std::uint32_t pattern) {
        return std::bit_cast<std::uint32_t>(sample) == std::bit_cast<std::uint32_t>(sampleOf(format, pattern));
      };
      EXPECT_TRUE(std::equal(samples.begin(), samples.end(), patterns.begin(), same)) << format << littleEndian;
    }
  }
  float samples[67];
  std::vector<unsigned char> bytes(4 * std::size(samples), 0x7f);  // finite and large
  for (std::size_t at = 1; at < bytes.size(); at += 4) {
    EXPECT_TRUE(decodeSamples(5, false, bytes.data(), 67, samples));
    bytes[at] = 0x80;  // a signalling NaN
    EXPECT_FALSE(decodeSamples(5, false, bytes.data(), 67, samples)) << at;
    bytes[at] = 0x7f;
  }
}

TEST_F(SegyTest, TracesKeepTheirPlacesAcrossTheBlocksTheyAreFetchedAndWrittenIn) {
  SegyImage image{.format = 3, .samples = 30000};
  std::vector<std::pair<int, float>> expected, found;
  for (int i = 0; i < 40; ++i) expected.emplace_back(i < 20 ? i / 3 : i * i % 7, i);
  for (const auto& [cdp, value] : expected) image.add(cdp, value, {{cdpXField, value}});
  std::sort(expected.begin(), expected.end());
  SegyData data = open(image);
  SegyOutput output(folder / "out.sgy", data, {});
  data.deliver(2);
  for (const Ensemble& ensemble : allEnsembles(data)) {
    for (const Delivered& trace : ensemble) {
      found.emplace_back(trace.integer(standardHeaders.icdp), trace.samples.back());
      output.put(trace.samples.data(), trace.head.data());
    }
  }
  output.finish();
  EXPECT_EQ(data.find(6)->x, 18.0);
  const std::string written = korvane_test::readFile(folder / "out.sgy");
  ASSERT_EQ(written.size(), 3600u + 80 * (240 + 4 * 30000));
  for (std::size_t i = 0; i < 80; ++i) {
    EXPECT_EQ(found[i], expected[i % 40]);
    float last = 0.0f;
    const auto* end = reinterpret_cast<const unsigned char*>(&written[3600 + (i + 1) * (240 + 4 * 30000)]);
    EXPECT_TRUE(decodeSamples(5, false, end - 4, 1, &last) && last == found[i].second) << i;
  }
}

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
