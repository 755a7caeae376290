#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "solution/solution.h"
#include "tests/solution/fenced.h"

namespace {

using Trace = std::vector<float>;
using Sum = std::vector<double>;

TEST(LargestMagnitude, IsTheFirstOfItsSizeAndNeverNaN) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(solution::a_idamax(4, Sum{1, -4, 4, 2}.data(), 1), 2);
  EXPECT_EQ(solution::a_idamax(4, Sum{nan, 1, nan, 3}.data(), 1), 4);
  EXPECT_EQ(solution::a_idamax(3, Sum{1, 9, 2, 9, 3, 9}.data(), 2), 3);
}

struct Correlation {
  Correlation(const Sum& a, const Sum& b, const Sum& real, const Sum& imaginary, const Sum& weight, int first, int last,
              int shift = 0)
      : count(static_cast<int>(a.size())) {
    solution::a_saucor(a.data(), b.data(), real.data(), imaginary.data(), weight.data(), siga, sigb, corr, cori,
                       scratch, count, first, last, 3, shift, live);
  }

  int count;
  Fenced<float> siga{count, 7.0f}, sigb{count, 7.0f}, corr{count, 7.0f}, cori{count, 7.0f}, scratch{count};
  bool live = false;
};

TEST(CorrelationStatistics, NeedOneSampleWithWeightAndLeaveSamplesBehindTheRange) {
  const Sum a{1, 1, 1, 36, 1}, b{1, 1, 1, 16, 1}, real{1, 1, 1, 12, 1}, imaginary{1, 1, 1, -6, 1};
  Correlation result(a, b, real, imaginary, {4, 0, 0, 4, 4}, 2, 4), none(a, b, real, imaginary, {5, 0, 0, 5, 5}, 2, 3);
  EXPECT_TRUE(result.live);
  EXPECT_EQ(result.siga.values(), (Trace{0, 0, 0, 3, 7}));
  EXPECT_EQ(result.sigb.values(), (Trace{0, 0, 0, 2, 7}));
  EXPECT_EQ(result.corr.values(), (Trace{0, 0, 0, 0.5f, 7}));
  EXPECT_EQ(result.cori.values(), (Trace{0, 0, 0, -0.25f, 7}));
  EXPECT_FALSE(none.live);
  for (Fenced<float>* output : {&none.siga, &none.sigb, &none.corr, &none.cori})
    EXPECT_EQ(output->values(), Trace(5, 0.0f)) << "a neighbourhood without weight clears the whole trace";
}

TEST(CorrelationStatistics, ShiftedBeyondTheSumsAreZero) {
  const Sum energy{1, 4, 9, 16}, ones(4, 1.0);
  Correlation later(energy, ones, ones, ones, ones, 1, 4, 2), earlier(energy, ones, ones, ones, ones, 1, 4, -1);
  EXPECT_EQ(later.siga.values(), (Trace{3, 4, 0, 0}));
  EXPECT_EQ(earlier.siga.values(), (Trace{0, 1, 2, 3}));
}

TEST(CorrelationStatistics, OfAnEnergyBelowZeroAreNaNAmplitudeAndNoCorrelation) {
  Correlation result({-1e-30}, {1}, {1}, {1}, {1}, 1, 1);
  EXPECT_TRUE(std::isnan(result.siga[0]) && result.sigb[0] == 1.0f);
  EXPECT_TRUE(result.corr[0] == 0.0f && result.cori[0] == 0.0f);
}

TEST(VelocityErrorIndicator, IsTheQuadratureCorrelationScaledToTheInterceptAndComesWithAResidual) {
  // Two ordinary samples with q = 0.375 and 0.5, a reference correlation of magnitude 1, no intercept.
  const Trace sa{2, 2, 2, 0}, sb{4, 4, 4, 2}, real{1.25f, 0.875f, 0.25f, 0.5f}, imaginary{0, -0.125f, 0.5f, 0.25f};
  const Trace reference_real{1, 0.25f, 1, 1}, reference_imaginary{2, 0.25f, 0, 1};
  Fenced<float> dvel(4), kr(4), ki(4), sbpr(4);
  solution::a_sauovb(sa.data(), sb.data(), real.data(), imaginary.data(), dvel, kr, ki, sbpr, reference_real.data(),
                     reference_imaginary.data(), 4);
  EXPECT_EQ(dvel.values(), (Trace{0, 0.25f, -1, 0}));
  EXPECT_EQ(kr.values(), (Trace{-1.75f, -1.5f, -0.5f, 0}));
  EXPECT_EQ(ki.values(), (Trace{1.5f, 0.5f, -1, 0}));
  EXPECT_EQ(sbpr.values(), (Trace{1.5f, 2, 0, 0}));
}

}  // namespace
