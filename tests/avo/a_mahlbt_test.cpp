#include <gtest/gtest.h>

#include <random>
#include <tuple>
#include <vector>

#include "avo/avo.h"

namespace {

using Trace = std::vector<float>;

Trace hilbert(const Trace& a, int is1, int is2, int ftrlen) {
  Trace h(a.size() + 2, 7.0f);
  avo::a_mahlbt(a.data(), h.data() + 1, static_cast<int>(a.size()), is1, is2, ftrlen);
  EXPECT_TRUE(h.front() == 7.0f && h.back() == 7.0f);
  return {h.begin() + 1, h.end() - 1};
}

TEST(HilbertTransform, AddsOddLagsFromTheMostNegativeOneInsideTheOutputRange) {
  const unsigned seed = 43;
  SCOPED_TRACE(seed);
  std::mt19937 random(seed);
  std::normal_distribution<float> amplitude;
  for (const auto& [length, first, last] : {std::tuple{95, 0.6363167f, 0.0130099f},
                                            {63, 0.635628f, 0.0055706f},
                                            {43, 0.6353344f, 0.0216528f},
                                            {31, 0.6313536f, 0.0041956f}}) {
    SCOPED_TRACE(length);
    const int longest = (length + 1) / 2 - 1;
    Trace impulse(101);
    impulse[50] = 1.0f;
    const Trace g = hilbert(impulse, -5, 106, length);
    EXPECT_TRUE(g[51] == first && g[50 + longest] == last);
    for (int lag = 0; lag <= 50; ++lag) {
      EXPECT_EQ(g[50 - lag], -g[50 + lag]);
      EXPECT_EQ(g[50 + lag] != 0.0f, lag % 2 == 1 && lag <= longest) << "lag " << lag;
    }
    for (int n = 1; n <= 120; ++n) {
      Trace a(n), expected(n);
      for (float& value : a) value = amplitude(random);
      for (int i = n / 3; i < n - n / 4; ++i)
        for (int lag = -longest; lag <= longest; lag += 2)
          if (i - lag >= 0 && i - lag < n) expected[i] += g[50 + lag] * a[i - lag];
      EXPECT_EQ(hilbert(a, n / 3 + 1, n - n / 4, length), expected) << n << " samples";
    }
    EXPECT_EQ(hilbert(impulse, 1, 101, length + 1), Trace(101, 0.0f)) << "a length without a filter";
  }
}

}  // namespace
