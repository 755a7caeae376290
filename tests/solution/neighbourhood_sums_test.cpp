#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "solution/solution.h"
#include "tests/solution/fenced.h"

namespace {

using Trace = std::vector<float>;
using Sum = std::vector<double>;

/// Sums over the window, samples one by one; exact while the data are small integers.
Trace windowed_sums(const Trace& data, int window, const Trace& untouched) {
  const int n = static_cast<int>(data.size()), length = 2 * (window / 2) + 1, half = length / 2;
  if (length > 1 && half > n) return untouched;
  Trace sums(data.size(), 0.0f);
  if (length < 1) return sums;
  for (int k = 0; k < n; ++k) {
    for (int j = std::max(k - half, 0); j <= std::min(k + half, n - 1); ++j) sums[k] += data[j];
  }
  return sums;
}

class NeighbourhoodSums : public testing::Test {
 protected:
  Trace integers(int count) {
    Trace values(static_cast<size_t>(count));
    for (float& value : values) value = static_cast<float>(std::uniform_int_distribution(-9, 9)(random_));
    return values;
  }

  int between(int low, int high) { return std::uniform_int_distribution(low, high)(random_); }

 private:
  const unsigned seed_ = std::random_device{}();
  testing::ScopedTrace trace_{__FILE__, __LINE__, "seed " + std::to_string(seed_)};
  std::mt19937 random_{seed_};
};

TEST_F(NeighbourhoodSums, RunningSumIsTheSumOverAWindowCutOffAtBothEnds) {
  for (int n = 1; n <= 20; ++n) {
    for (int window = -4; window <= 2 * n + 4; ++window) {
      SCOPED_TRACE(testing::Message() << n << " samples, window " << window);
      const Trace data = integers(n), before(data.size(), 77.0f);
      Fenced<float> sums(before);
      solution::a_namsum(data.data(), sums, n, window);
      EXPECT_EQ(sums.values(), windowed_sums(data, window, before));
    }
  }
}

TEST(RunningSum, IsOneTotalInDoublePrecisionThatTakesInASampleBeforeItDropsOne) {
  const Trace large{1.0e8f, 3.0f, -1.0e8f, 5.0f, 3.0f}, too_large{1.0e20f, 1.0f, 1.0f, 1.0f, 1.0f};
  Fenced<float> sums(5);
  solution::a_namsum(large.data(), sums, 5, 3);
  EXPECT_EQ(sums.values(), (Trace{1.0e8f, 3.0f, -99999992.0f, -99999992.0f, 8.0f}));
  // The ones that arrive while the total holds the large sample are lost, and are missing when they leave.
  solution::a_namsum(too_large.data(), sums, 5, 3);
  EXPECT_EQ(sums.values(), (Trace{1.0e20f, 1.0e20f, 0.0f, 0.0f, -1.0f}));
}

TEST(SmoothedSum, SpreadsAnImpulseOverAnOddWindowAndThenAThirdOfIt) {
  Fenced<double> sum(11);
  Fenced<float> impulse(Trace{0, 0, 0, 0, 0, 2, 0, 0, 0, 0, 0}), weight(11, 1.0f), scratch(11);
  solution::a_naacms(sum, impulse, weight, scratch, 1, 11, 11, 4, 0.5f);  // 5 samples, then 3
  EXPECT_EQ(sum.values(), (Sum{0, 0, 1, 2, 3, 3, 3, 2, 1, 0, 0}));
}

TEST(SmoothedSum, ScalesInSinglePrecisionAndAddsInDouble) {
  Fenced<double> sum(1, 1.0);
  Fenced<float> trace(1, 3.0f), weight(1, 1.0f), scratch(1);
  solution::a_naacms(sum, trace, weight, scratch, 1, 1, 1, 1, 0.1f);
  EXPECT_EQ(sum[0], 1.0 + static_cast<double>(3.0f * 0.1f));
}

TEST_F(NeighbourhoodSums, SmoothingSeesAThirdOfTheWindowBeyondTheRangeAndAddsWithinIt) {
  for (int round = 0; round < 2000; ++round) {
    const int n = between(1, 24), first = between(1, n), last = between(first, n), window = between(-8, n + 6);
    SCOPED_TRACE(testing::Message() << n << " samples, " << first << " to " << last << ", window " << window);
    const Trace data = integers(n), weights = integers(n), zeros(data.size(), 0.0f);

    const int reach = (window - 1) / 3, begin = std::max(first - reach, 1) - 1, end = std::min(last + reach, n);
    Trace once = zeros, seen;
    for (int k = begin; k < end; ++k) seen.push_back(data[k] * weights[k]);
    const Trace sums = windowed_sums(seen, window, Trace(seen.size(), 0.0f));
    if (begin < end) std::copy(sums.begin(), sums.end(), once.begin() + begin);
    const Trace twice = windowed_sums(once, reach + 1, once);
    Sum expected(data.size(), 1.0);
    for (int k = first - 1; k < last; ++k) expected[k] += 2.0 * twice[k];

    Fenced<double> sum(n, 1.0);
    Fenced<float> trace(data), scratch(n);
    solution::a_naacms(sum, trace, weights.data(), scratch, first, last, n, window, 2.0f);
    EXPECT_EQ(sum.values(), expected);
  }
}

/// Five sums, one CDP added.
struct Sums {
  explicit Sums(int n) : a(n), b(n), real(n), imaginary(n), weight(n), w(n, 1.0f), scratch1(n), scratch2(n), count(n) {}

  void add(const Trace& ar, const Trace& ai, const Trace& br, const Trace& bi, int window, float scale) {
    solution::a_sauavg(a, b, real, imaginary, weight, ar.data(), ai.data(), br.data(), bi.data(), w, scratch1, scratch2,
                       count, 1, count, window, scale);
  }

  Fenced<double> a, b, real, imaginary, weight;
  Fenced<float> w, scratch1, scratch2;
  int count;
};

TEST(NeighbourhoodSum, AddsEnergiesAndTheProductOfAWithTheConjugateOfB) {
  Sums sums(1);
  for (int cdp = 0; cdp < 2; ++cdp) sums.add({1.0f}, {2.0f}, {3.0f}, {5.0f}, 1, 0.5f);
  EXPECT_EQ(sums.a[0], 5.0);
  EXPECT_EQ(sums.b[0], 34.0);
  EXPECT_EQ(sums.real[0], 13.0);
  EXPECT_EQ(sums.imaginary[0], 1.0);
  EXPECT_EQ(sums.weight[0], 1.0);
}

TEST(NeighbourhoodSum, SampleWhereEitherTraceIsZeroAddsNothingToItsNeighboursEither) {
  Sums sums(5);
  sums.add({1, 0, 1, 1, 1}, {9, 9, 9, 9, 9}, {1, 1, 1, -0.0f, 1}, {9, 9, 9, 9, 9}, 3, 1.0f);
  EXPECT_EQ(sums.w.values(), (Trace{1, 0, 1, 0, 1}));
  EXPECT_EQ(sums.weight.values(), (Sum{1, 2, 1, 2, 1}));
  for (Fenced<double>* sum : {&sums.a, &sums.b, &sums.real}) EXPECT_EQ(sum->values(), (Sum{82, 164, 82, 164, 82}));
  EXPECT_EQ(sums.imaginary.values(), Sum(5, 0.0));
}

TEST(NeighbourhoodSum, RoundsEachProductBeforeItIsAddedOrSubtracted) {
  const float x = 1.0f + 0x1p-12f, xx = 1.0f + 0x1p-11f;  // x * x rounds to xx
  Sums sums(1);
  sums.add({1.0f}, {x}, {x}, {xx}, 1, 1.0f);
  EXPECT_EQ(sums.imaginary[0], 0.0);
}

}  // namespace
