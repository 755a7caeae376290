#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "avo/avo.h"

namespace {

std::vector<float> hilbert(const std::vector<float>& a, int is1, int is2, int ftrlen) {
  const int n = static_cast<int>(a.size());
  std::vector<float> h(a.size() + 2, 7.0f);
  avo::a_mahlbt(a.data(), h.data() + 1, n, is1, is2, ftrlen);
  EXPECT_EQ(h.front(), 7.0f);
  EXPECT_EQ(h.back(), 7.0f);
  return {h.begin() + 1, h.end() - 1};
}

TEST(HilbertTransform, OfAnImpulseIsTheOddFilterOfTheAskedLength) {
  std::vector<float> impulse(200);
  impulse[99] = 1.0f;
  struct Filter {
    int length;
    float first, second, last;
  };
  for (const Filter& f :
       {Filter{95, 0.6363167f, 0.2112989f, 0.0130099f}, Filter{63, 0.635628f, 0.2092445f, 0.0055706f},
        Filter{43, 0.6353344f, 0.2083547f, 0.0216528f}, Filter{31, 0.6313536f, 0.1968315f, 0.0041956f}}) {
    SCOPED_TRACE(f.length);
    const std::vector<float> h = hilbert(impulse, 1, 200, f.length);
    const int longest = (f.length + 1) / 2 - 1;
    EXPECT_EQ(h[99 + 1], f.first);
    EXPECT_EQ(h[99 + 3], f.second);
    EXPECT_EQ(h[99 + longest], f.last);
    for (int lag = 0; lag <= 99; ++lag) {
      EXPECT_EQ(h[99 - lag], -h[99 + lag]);
      EXPECT_EQ(h[99 + lag] != 0.0f, lag % 2 == 1 && lag <= longest) << lag;
    }
  }
}

TEST(HilbertTransform, TurnsACosineIntoASine) {
  std::vector<float> cosine(300);
  const double step = std::numbers::pi / 3.0;
  for (int i = 0; i < 300; ++i) cosine[i] = static_cast<float>(std::cos(step * i));
  for (const int length : {95, 63, 43, 31}) {
    const std::vector<float> h = hilbert(cosine, 1, 300, length);
    for (int i = 50; i < 250; ++i) EXPECT_NEAR(h[i], std::sin(step * i), 0.02) << length;
  }
}

TEST(HilbertTransform, AddsFromTheMostNegativeLagAndTakesMissingSamplesForZero) {
  const unsigned seed = 43;
  SCOPED_TRACE(seed);
  std::mt19937 random(seed);
  std::normal_distribution<float> amplitude;
  std::vector<float> impulse(85);
  impulse[42] = 1.0f;
  const std::vector<float> g = hilbert(impulse, 1, 85, 43);
  for (int n = 1; n <= 60; ++n) {
    std::vector<float> a(static_cast<std::size_t>(n)), expected(a.size());
    for (float& value : a) value = amplitude(random);
    for (int i = 0; i < n; ++i)
      for (int lag = -21; lag <= 21; lag += 2)
        if (i - lag >= 0 && i - lag < n) expected[i] += g[42 + lag] * a[i - lag];
    EXPECT_EQ(hilbert(a, -5, n + 5, 43), expected) << n;
  }
}

TEST(HilbertTransform, IsZeroOutsideTheOutputRange) {
  const std::vector<float> ones(60, 1.0f);
  const std::vector<float> whole = hilbert(ones, 1, 60, 43), part = hilbert(ones, 10, 20, 43);
  for (int i = 1; i <= 60; ++i) EXPECT_EQ(part[i - 1], i >= 10 && i <= 20 ? whole[i - 1] : 0.0f) << i;
  EXPECT_EQ(hilbert(ones, 20, 10, 43), std::vector<float>(60, 0.0f));
}

TEST(HilbertTransform, IsZeroForAnUnknownLengthAndForgetsIt) {
  const std::vector<float> ramp = {1.0f, 2.0f, 3.0f, 4.0f};
  const std::vector<float> before = hilbert(ramp, 1, 4, 43);
  for (const int length : {44, 0, -43}) EXPECT_EQ(hilbert(ramp, 1, 4, length), std::vector<float>(4, 0.0f));
  EXPECT_EQ(hilbert(ramp, 1, 4, 43), before);
}

}  // namespace
