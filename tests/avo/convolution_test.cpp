#include <gtest/gtest.h>

#include <random>
#include <tuple>
#include <vector>

#include "avo/avo.h"
#include "tests/definitions/definitions.h"
#include "tests/support/fenced.h"

namespace {

using support::bits;
using support::Fenced;
using Trace = std::vector<float>;

/// Noise with some zeros, between fences, which show in what reads beyond it.
Fenced<float> noise(int n, std::mt19937& random) {
  std::normal_distribution<float> amplitude;
  Fenced<float> x(n);
  for (int i = 0; i < n; ++i) x[i] = random() % 4 == 0 ? 0.0f : amplitude(random);
  return x;
}

TEST(CentredConvolution, HasTheBitsOfItsDefinitionAtEveryLength) {
  std::mt19937 random(7);
  for (int n = 1; n <= 260; ++n) {  // blocks are of 64 samples
    for (const int half : {0, 1, 5, 60}) {
      const int taps = 2 * half + 1, centre = half % 2 == 0 ? half + 1 : -(half + 1);
      Fenced<float> a = noise(n, random), f = noise(taps, random), b(n);
      Trace expected(n);
      definition::a_maconv(a.data(), f.data(), expected.data(), n, taps, centre);
      avo::a_maconv(a.data(), f.data(), b.data(), n, taps, centre);
      EXPECT_EQ(bits(b.values()), bits(expected)) << n << " samples, " << taps << " taps";
      EXPECT_TRUE(b.fences_stand());
    }
  }
}

TEST(HilbertTransform, HasTheBitsOfItsDefinitionAtEveryLengthInsideTheOutputRange) {
  std::mt19937 random(43);
  for (const auto& [length, first, last] : {std::tuple{95, 0.6363167f, 0.0130099f},
                                            {63, 0.635628f, 0.0055706f},
                                            {43, 0.6353344f, 0.0216528f},
                                            {31, 0.6313536f, 0.0041956f}}) {
    const int half = (length + 1) / 4;
    const Trace g = definition::hilbert_filter(length);
    EXPECT_TRUE(g.front() == first && g.back() == last) << length;
    for (int n = 1; n <= 230; ++n) {
      for (const auto& [from, to] : {std::pair{-5, n + 5}, {n / 3 + 1, n - n / 4}}) {
        Fenced<float> a = noise(n, random), h(n);
        Trace expected(n);
        definition::hilbert(a.data(), expected.data(), n, from, to, g.data(), half);
        avo::a_mahlbt(a.data(), h.data(), n, from, to, length);
        EXPECT_EQ(bits(h.values()), bits(expected))
            << length << " long, samples " << from << " to " << to << " of " << n;
        EXPECT_TRUE(h.fences_stand());
      }
    }
    Fenced<float> a = noise(101, random), h(101);
    avo::a_mahlbt(a.data(), h.data(), 101, 1, 101, length + 1);
    EXPECT_EQ(h.values(), Trace(101, 0.0f)) << "a length without a filter";
  }
}

}  // namespace
