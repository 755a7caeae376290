#include "host/local/sample_format.h"

#include <random>

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

}  // namespace
}  // namespace host::local
