#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "avo/avo.h"

namespace {

std::vector<float> noise(int n, std::mt19937& random) {
  std::normal_distribution<float> amplitude;
  std::vector<float> x(static_cast<std::size_t>(n));
  for (float& value : x) value = amplitude(random);
  return x;
}

TEST(CentredConvolution, AddsTheTapsInAscendingOrderAtEveryLength) {
  const unsigned seed = 7;
  SCOPED_TRACE(seed);
  std::mt19937 random(seed);
  std::vector<int> lengths{63, 64, 65, 73, 74, 75, 127, 128, 129, 137, 138, 139, 183, 184, 185, 247, 248, 249, 400};
  for (int n = 1; n <= 40; ++n) lengths.push_back(n);
  for (const int n : lengths) {
    for (const int half : {0, 1, 5, 60}) {
      const int taps = 2 * half + 1;
      const std::vector<float> a = noise(n, random), f = noise(taps, random);
      std::vector<float> expected(a.size()), b(a.size() + 2, -9.0f);
      for (int i = 0; i < n; ++i)
        for (int k = -half; k <= half; ++k)
          if (i - k >= 0 && i - k < n) expected[i] += f[k + half] * a[i - k];
      avo::a_maconv(a.data(), f.data(), b.data() + 1, n, taps, half % 2 == 0 ? half + 1 : -(half + 1));
      EXPECT_EQ(std::vector<float>(b.begin() + 1, b.end() - 1), expected) << n << " samples, " << taps << " taps";
      EXPECT_TRUE(b.front() == -9.0f && b.back() == -9.0f);
    }
  }
}

}  // namespace
