#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <random>
#include <vector>

#include "solution/solution.h"
#include "tests/solution/fenced.h"

namespace {

using Trace = std::vector<float>;
using Sum = std::vector<double>;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(LargestMagnitude, IsTheFirstOfItsSizeAndNeverNaN) {
  const auto position = [](const Sum& x, int count, int stride) { return solution::a_idamax(count, x.data(), stride); };
  EXPECT_EQ(position({1, -4, 4, 2}, 4, 1), 2);
  EXPECT_EQ(position({nan, 1, nan, 3}, 4, 1), 4);
  EXPECT_EQ(position({nan, nan}, 2, 1), 1);
  EXPECT_EQ(position({0, -0.0, 0}, 3, 1), 1);
  EXPECT_EQ(position({1, 9, 2, 9, 3, 9}, 3, 2), 3);
  for (const int count : {-1, 0, 2}) {
    for (const int stride : {-1, 0}) EXPECT_EQ(position({1, 2}, count, stride), 1);
  }
  EXPECT_EQ(position({1, 2}, 0, 1), 1);
  EXPECT_EQ(position({1, 2}, -1, 1), 1);
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

TEST(CorrelationStatistics, OfProportionalTracesAreTheirAmplitudesAndTheirPhase) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> uniform(0.5f, 2.0f);
  const int n = 60;
  const double phase = 0.7, gain = 0.25;
  const std::complex<double> b_over_a = std::polar(gain, -phase);  // so that A conj(B) has the phase +0.7

  Sum a(n), b(n), real(n), imaginary(n), weight(n);
  Trace scratch1(n), scratch2(n);
  for (int cdp = 0; cdp < 5; ++cdp) {
    Trace ar(n), ai(n), br(n), bi(n), w(n, 1.0f);
    for (int k = 0; k < n; ++k) {
      const std::complex<double> va(uniform(random), uniform(random)), vb = va * b_over_a;
      ar[k] = static_cast<float>(va.real()), ai[k] = static_cast<float>(va.imag());
      br[k] = static_cast<float>(vb.real()), bi[k] = static_cast<float>(vb.imag());
    }
    solution::a_sauavg(a.data(), b.data(), real.data(), imaginary.data(), weight.data(), ar.data(), ai.data(),
                       br.data(), bi.data(), w.data(), scratch1.data(), scratch2.data(), n, 1, n, 9, 1.0f);
  }
  Correlation result(a, b, real, imaginary, weight, 1, n);
  EXPECT_TRUE(result.live);
  for (int k = 0; k < n; ++k) {
    EXPECT_NEAR(result.corr[k], std::cos(phase), 1e-6);
    EXPECT_NEAR(result.cori[k], std::sin(phase), 1e-6);
    EXPECT_NEAR(result.sigb[k] / result.siga[k], gain, 1e-6);
    EXPECT_FLOAT_EQ(result.siga[k], static_cast<float>(std::sqrt(a[k] / weight[k])));
  }
}

TEST(CorrelationStatistics, OfANeighbourhoodWithoutWeightAreZeroOverTheWholeTrace) {
  const Sum ones(4, 1.0);
  Correlation result(ones, ones, ones, ones, {5, 0, 0, 5}, 2, 3);
  EXPECT_FALSE(result.live);
  for (Fenced<float>* output : {&result.siga, &result.sigb, &result.corr, &result.cori}) {
    EXPECT_EQ(output->values(), Trace(4, 0.0f));
  }
}

TEST(CorrelationStatistics, NeedOneSampleWithWeightAndLeaveSamplesBehindTheRange) {
  const Sum ones(5, 1.0);
  Correlation result({1, 1, 1, 36, 1}, {1, 1, 1, 16, 1}, {1, 1, 1, 12, 1}, {1, 1, 1, -6, 1}, {4, 0, 0, 4, 4}, 2, 4);
  EXPECT_TRUE(result.live);
  EXPECT_EQ(result.siga.values(), (Trace{0, 0, 0, 3, 7}));
  EXPECT_EQ(result.sigb.values(), (Trace{0, 0, 0, 2, 7}));
  EXPECT_EQ(result.corr.values(), (Trace{0, 0, 0, 0.5f, 7}));
  EXPECT_EQ(result.cori.values(), (Trace{0, 0, 0, -0.25f, 7}));
}

TEST(CorrelationStatistics, ShiftedBeyondTheSumsAreZero) {
  const Sum energy{1, 4, 9, 16}, ones(4, 1.0);
  Correlation later(energy, ones, ones, ones, ones, 1, 4, 2), earlier(energy, ones, ones, ones, ones, 1, 4, -1);
  EXPECT_EQ(later.siga.values(), (Trace{3, 4, 0, 0}));
  EXPECT_EQ(earlier.siga.values(), (Trace{0, 1, 2, 3}));
}

TEST(CorrelationStatistics, OfAnEnergyBelowZeroAreNaNAmplitudeAndNoCorrelation) {
  Correlation result({-1e-30}, {1}, {1}, {1}, {1}, 1, 1);
  EXPECT_TRUE(std::isnan(result.siga[0]));
  EXPECT_EQ(result.sigb[0], 1.0f);
  EXPECT_EQ(result.corr[0], 0.0f);
  EXPECT_EQ(result.cori[0], 0.0f);
}

struct Indicator {
  Indicator(const Trace& sa, const Trace& sb, const Trace& rrc, const Trace& ric, float reference_real,
            float reference_imaginary)
      : count(static_cast<int>(sa.size())) {
    const Trace wrr(sa.size(), reference_real), wri(sa.size(), reference_imaginary);
    solution::a_sauovb(sa.data(), sb.data(), rrc.data(), ric.data(), dvel, kr, ki, sbpr, wrr.data(), wri.data(), count);
  }

  int count;
  Fenced<float> dvel{count}, kr{count}, ki{count}, sbpr{count};
};

TEST(VelocityErrorIndicator, IsTheQuadratureCorrelationScaledToTheIntercept) {
  Indicator result({4, 4, 0}, {2, 2, 2}, {0.5f, 0.5f, 0.5f}, {0.25f, 0, 0.25f}, 1, 1);
  EXPECT_EQ(result.dvel.values(), (Trace{-0.125f, 0, 0}));
  EXPECT_EQ(result.kr.values(), (Trace{-0.25f, -0.25f, 0}));
  EXPECT_EQ(result.ki.values(), result.dvel.values());
  EXPECT_EQ(result.sbpr.values(), Trace(3, 0.0f));
  EXPECT_TRUE(std::signbit(result.dvel[1])) << "the sign is turned by a product, which makes zero negative";
}

TEST(VelocityErrorIndicator, ComesWithAResidualAgainstTheReferenceCorrelation) {
  // |r|^2 = 1.5625 and |w|^2 = 5 give q = 0.375; |r|^2 = 0.4375 and w = 0 give q = 0.75.
  Indicator beyond_one({2}, {4}, {1.25f}, {0}, 1, 2);
  EXPECT_EQ(beyond_one.kr[0], -1.75f);
  EXPECT_EQ(beyond_one.ki[0], 1.5f);
  EXPECT_EQ(beyond_one.sbpr[0], 1.5f);
  Indicator no_reference({2}, {4}, {0.25f}, {0.61237244f}, 0, 0);
  EXPECT_FLOAT_EQ(no_reference.sbpr[0], 3.0f);
  EXPECT_EQ(no_reference.kr[0], -0.5f);
  Indicator unit_reference({2}, {4}, {0.25f}, {0.5f}, 1, 0);
  EXPECT_EQ(unit_reference.sbpr[0], 0.0f);
}

}  // namespace
