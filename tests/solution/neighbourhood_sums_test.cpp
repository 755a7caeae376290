#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <utility>
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

TEST(RunningSum, IsOneTotalInDoublePrecisionThatTakesInASampleBeforeItDropsOne) {
  const Trace data{1.0e20f, 1.0f, 1.0f, 1.0f, 1.0f};
  Fenced<float> sums(5);
  solution::a_namsum(data.data(), sums, 5, 3);
  // The ones that arrive while the total holds the large sample are lost, and are missing when they leave.
  EXPECT_EQ(sums.values(), (Trace{1.0e20f, 1.0e20f, 0.0f, 0.0f, -1.0f}));
}

TEST(SmoothedSum, SeesAThirdOfTheWindowBeyondTheRangeAndAddsWithinIt) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  const auto between = [&](int low, int high) { return std::uniform_int_distribution(low, high)(random); };
  for (int round = 0; round < 2000; ++round) {
    const int n = between(1, 24), first = between(1, n), last = between(first, n), window = between(-8, n + 6);
    SCOPED_TRACE(testing::Message() << n << " samples, " << first << " to " << last << ", window " << window);
    Trace data(n), weights(n), once(n, 0.0f), seen;
    for (float& value : data) value = static_cast<float>(between(-9, 9));
    for (float& value : weights) value = static_cast<float>(between(-9, 9));

    const int reach = (window - 1) / 3, begin = std::max(first - reach, 1) - 1, end = std::min(last + reach, n);
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

TEST(NeighbourhoodSum, AddsEnergiesAndAConjugateBAndNothingFromASampleWhereEitherTraceIsZero) {
  const Trace ar{1, 0, 1, 1, 1}, ai(5, 2.0f), br{3, 3, 3, -0.0f, 3}, bi(5, 5.0f);
  Fenced<double> a(5, 1.0), b(5, 1.0), real(5, 1.0), imaginary(5, 1.0), weight(5, 1.0);
  Fenced<float> w(5, 1.0f), scratch1(5), scratch2(5);
  solution::a_sauavg(a, b, real, imaginary, weight, ar.data(), ai.data(), br.data(), bi.data(), w, scratch1, scratch2,
                     5, 1, 5, 3, 0.5f);
  const std::pair<Fenced<double>*, double> terms[] = {
      {&a, 2.5}, {&b, 17.0}, {&real, 6.5}, {&imaginary, 0.5}, {&weight, 0.5}};
  for (const auto& [sum, term] : terms)
    EXPECT_EQ(sum->values(), (Sum{1 + term, 1 + 2 * term, 1 + term, 1 + 2 * term, 1 + term}));
}

}  // namespace
