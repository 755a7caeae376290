#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "solution/smoothed_products.h"
#include "solution/solution.h"
#include "tests/support/fenced.h"

namespace {

using support::Fenced;
using Trace = std::vector<float>;
using Sum = std::vector<double>;

/// Sums over the window, samples one by one; exact while the data are small integers.
Trace windowed_sums(const Trace& data, int window, const Trace& untouched) {
  const int n = static_cast<int>(data.size()), length = 2 * (window / 2) + 1, half = length / 2;
  if (length > 1 && half > n) return untouched;
  Trace sums(data.size(), 0.0f);
  for (int k = 0; k < n && length > 0; ++k) {
    for (int j = std::max(k - half, 0); j <= std::min(k + half, n - 1); ++j) sums[k] += data[j];
  }
  return sums;
}

TEST(RunningSum, IsOneTotalInDoublePrecisionThatTakesInASampleBeforeItDropsOne) {
  const Trace data{1.0e20f, 1.0f, 1.0f, 1.0f, 1.0f};
  Trace sums(5);
  solution::a_namsum(data.data(), sums.data(), 5, 3);
  // The ones that arrive while the total holds the large sample are lost, and are missing when they leave.
  EXPECT_EQ(sums, (Trace{1.0e20f, 1.0e20f, 0.0f, 0.0f, -1.0f}));
}

TEST(NeighbourhoodSum, SeesAThirdOfTheWindowBeyondTheRangeAndNothingOfASampleWhereEitherTraceIsZero) {
  std::mt19937 random(31);
  const auto between = [&](int low, int high) { return std::uniform_int_distribution(low, high)(random); };
  for (int round = 0; round < 2000; ++round) {
    const int n = between(1, 24), first = between(1, n), last = between(first, n), window = between(-8, n + 6);
    SCOPED_TRACE(testing::Message() << n << " samples, " << first << " to " << last << ", window " << window);
    Trace ar(n), ai(n), br(n), bi(n), w(n);
    for (Trace* trace : {&ar, &ai, &br, &bi, &w})
      for (float& value : *trace) value = -static_cast<float>(between(-9, 9));

    std::vector<Fenced<double>> sums(5, Fenced<double>(n));
    Fenced<float> weight(n), scratch1(n), scratch2(n);
    std::copy(w.begin(), w.end(), weight.data());
    for (auto& sum : sums) std::fill_n(sum.data(), n, 1.0);
    solution::a_sauavg(sums[0].data(), sums[1].data(), sums[2].data(), sums[3].data(), sums[4].data(), ar.data(),
                       ai.data(), br.data(), bi.data(), weight.data(), scratch1.data(), scratch2.data(), n, first, last,
                       window, 2.0f);
    for (const auto* array : {&weight, &scratch1, &scratch2}) EXPECT_TRUE(array->fences_stand());

    const int reach = (window - 1) / 3, begin = std::max(first - reach, 1) - 1, end = std::min(last + reach, n);
    for (int q = 0; q < 5; ++q) {
      Trace seen, once(n, 0.0f);
      for (int k = begin; k < end; ++k) {
        const float products[] = {ar[k] * ar[k] + ai[k] * ai[k], br[k] * br[k] + bi[k] * bi[k],
                                  ar[k] * br[k] + ai[k] * bi[k], ai[k] * br[k] - ar[k] * bi[k], 1.0f};
        seen.push_back(ar[k] == 0.0f || br[k] == 0.0f ? 0.0f : products[q] * w[k]);
      }
      const Trace part = windowed_sums(seen, window, Trace(seen.size(), 0.0f));
      if (begin < end) std::copy(part.begin(), part.end(), once.begin() + begin);
      const Trace twice = windowed_sums(once, reach + 1, once);
      Sum expected(n, 1.0);
      for (int k = first - 1; k < last; ++k) expected[k] += 2.0 * twice[k];
      EXPECT_EQ(sums[q].values(), expected) << "sum " << q;
      EXPECT_TRUE(sums[q].fences_stand());
    }
  }
}

TEST(SmoothedProducts, HaveTheBitsOfWhatOneCdpAddsToANeighbourhoodSum) {
  std::mt19937 random(32);
  std::uniform_real_distribution<float> value(-1.0f, 1.0f);
  std::uniform_int_distribution<int> exponent(-20, 20);
  for (const int n : {1, 2, 3, 4, 5, 8, 24, 63, 64, 65, 130}) {
    constexpr int least = std::numeric_limits<int>::min(), greatest = std::numeric_limits<int>::max();
    for (const int window :
         {least, -9, -2, -1, 0, 1, 2, 3, 4, 7, 25, n, 2 * n, 2 * n + 1, 2 * n + 2, 6 * n, 9 * n, greatest}) {
      Trace ar(n), ai(n), br(n), bi(n), w(n, 1.0f), scratch1(n), scratch2(n);
      for (Trace* trace : {&ar, &ai, &br, &bi})
        for (float& x : *trace) x = random() % 8 == 0 ? 0.0f : std::ldexp(value(random), exponent(random));
      Sum sums(5 * n);
      solution::a_sauavg(&sums[0], &sums[n], &sums[2 * n], &sums[3 * n], &sums[4 * n], ar.data(), ai.data(), br.data(),
                         bi.data(), w.data(), scratch1.data(), scratch2.data(), n, 1, n, window, 1.0f);
      Fenced<float> scratch(10 * n), products(5 * n);
      solution::smoothed_products(ar.data(), ai.data(), br.data(), bi.data(), n, window, scratch.data(),
                                  products.data());
      EXPECT_EQ(products.values(), Trace(sums.begin(), sums.end())) << n << " samples, window " << window;
      EXPECT_TRUE(products.fences_stand() && scratch.fences_stand());
    }
  }
}

constexpr float kept = Fenced<float>::mark;

TEST(LargestMagnitude, IsTheFirstOfItsSizeAndNeverNaN) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(solution::a_idamax(4, Sum{1, -4, 4, 2}.data(), 1), 2);
  EXPECT_EQ(solution::a_idamax(4, Sum{nan, 1, nan, 3}.data(), 1), 4);
  EXPECT_EQ(solution::a_idamax(3, Sum{1, 9, 2, 9, 3, 9}.data(), 2), 3);
}

struct Correlation {
  Correlation(const Sum& a, const Sum& b, const Sum& real, const Sum& imaginary, const Sum& weight, int first, int last,
              int shift = 0)
      : siga(a.size()), sigb(siga), corr(siga), cori(siga), scratch(siga) {
    solution::a_saucor(a.data(), b.data(), real.data(), imaginary.data(), weight.data(), siga.data(), sigb.data(),
                       corr.data(), cori.data(), scratch.data(), static_cast<int>(a.size()), first, last, 3, shift,
                       live);
    for (const Fenced<float>* output : {&siga, &sigb, &corr, &cori, &scratch}) EXPECT_TRUE(output->fences_stand());
  }

  Fenced<float> siga, sigb, corr, cori, scratch;
  bool live = false;
};

TEST(CorrelationStatistics, NeedOneSampleWithWeightAndLeaveSamplesBehindTheRange) {
  const Sum a{1, 1, 1, 36, 1}, b{1, 1, 1, 16, 1}, real{1, 1, 1, 12, 1}, imaginary{1, 1, 1, -6, 1};
  Correlation result(a, b, real, imaginary, {4, 0, 0, 4, 4}, 2, 4), none(a, b, real, imaginary, {5, 0, 0, 5, 5}, 2, 3);
  EXPECT_TRUE(result.live);
  EXPECT_EQ(result.siga.values(), (Trace{0, 0, 0, 3, kept}));
  EXPECT_EQ(result.sigb.values(), (Trace{0, 0, 0, 2, kept}));
  EXPECT_EQ(result.corr.values(), (Trace{0, 0, 0, 0.5f, kept}));
  EXPECT_EQ(result.cori.values(), (Trace{0, 0, 0, -0.25f, kept}));
  EXPECT_FALSE(none.live);
  for (const Fenced<float>* output : {&none.siga, &none.sigb, &none.corr, &none.cori})
    EXPECT_EQ(output->values(), Trace(5, 0.0f)) << "a neighbourhood without weight clears the whole trace";
}

TEST(CorrelationStatistics, AreZeroWhereAShiftLeavesTheSumsAndNaNAmplitudeForAnEnergyBelowZero) {
  const Sum energy{1, 4, 9, -1e-30}, ones(4, 1.0);
  Correlation later(energy, ones, ones, ones, ones, 1, 4, 1), earlier(energy, ones, ones, ones, ones, 1, 4, -1);
  EXPECT_EQ(earlier.siga.values(), (Trace{0, 1, 2, 3}));
  EXPECT_TRUE(later.siga[0] == 2.0f && std::isnan(later.siga[2]) && later.siga[3] == 0.0f);
  EXPECT_EQ(later.sigb.values(), (Trace{1, 1, 1, 0}));
  EXPECT_TRUE(later.corr[2] == 0.0f && later.cori[2] == 0.0f);
}

TEST(VelocityErrorIndicator, IsTheQuadratureCorrelationScaledToTheInterceptAndComesWithAResidual) {
  // Two ordinary samples with q = 0.375 and 0.5, a reference correlation of magnitude 1, no intercept.
  const Trace sa{2, 2, 2, 0}, sb{4, 4, 4, 2}, real{1.25f, 0.875f, 0.25f, 0.5f}, imaginary{0, -0.125f, 0.5f, 0.25f};
  const Trace reference_real{1, 0.25f, 1, 1}, reference_imaginary{2, 0.25f, 0, 1};
  Fenced<float> dvel(4), kr(4), ki(4), sbpr(4);
  solution::a_sauovb(sa.data(), sb.data(), real.data(), imaginary.data(), dvel.data(), kr.data(), ki.data(),
                     sbpr.data(), reference_real.data(), reference_imaginary.data(), 4);
  EXPECT_EQ(dvel.values(), (Trace{0, 0.25f, -1, 0}));
  EXPECT_EQ(kr.values(), (Trace{-1.75f, -1.5f, -0.5f, 0}));
  EXPECT_EQ(ki.values(), (Trace{1.5f, 0.5f, -1, 0}));
  EXPECT_EQ(sbpr.values(), (Trace{1.5f, 2, 0, 0}));
  for (const Fenced<float>* output : {&dvel, &kr, &ki, &sbpr}) EXPECT_TRUE(output->fences_stand());
}

}  // namespace
