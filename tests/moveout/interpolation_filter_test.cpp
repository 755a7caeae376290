#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "moveout/moveout.h"
#include "tests/support/fenced.h"

namespace {

using support::Fenced;
using Vector = std::vector<float>;

struct Design {
  int taps;
  float band_edge;
  double tolerance;  // of a sinusoid at half the band edge
};

// One design for each range of sample intervals.
constexpr Design designs[] = {{12, 0.8f, 0.01}, {10, 0.75f, 0.01}, {8, 0.7f, 0.01}, {4, 0.45f, 0.01}};

Fenced<float> design_bank(const Design& design) {
  const int n = design.taps;
  Fenced<float> acor(n), ccor(n), filter(n), work(n), bank(100 * n);
  moveout::a_mcofgn(n, design.band_edge, acor.data(), ccor.data(), filter.data(), work.data(), bank.data());
  EXPECT_TRUE(acor.fences_stand() && ccor.fences_stand() && filter.fences_stand() && work.fences_stand());
  EXPECT_TRUE(bank.fences_stand());
  return bank;
}

TEST(InterpolationBank, EveryColumnEstimatesTheSignalAtItsShift) {
  for (const Design& design : designs) {
    const Fenced<float> bank = design_bank(design);
    const double omega = 0.5 * design.band_edge * std::numbers::pi;
    for (int k = 1; k <= 99; ++k) {
      for (const double phase : {0.0, 1.0}) {
        double estimate = 0.0;
        for (int j = 1; j <= design.taps; ++j) {
          estimate += bank[(k - 1) * design.taps + j - 1] * std::sin(omega * j + phase);
        }
        EXPECT_NEAR(estimate, std::sin(omega * (design.taps / 2 + 0.01 * k) + phase), design.tolerance)
            << design.taps << " taps, column " << k;
      }
    }
  }
}

TEST(InterpolationBank, TheUpperHalfMirrorsTheLowerAndTheLastColumnIsLeftAlone) {
  for (const Design& design : designs) {
    const int n = design.taps;
    const Fenced<float> bank = design_bank(design);
    for (int j = 0; j < n; ++j) {
      for (int k = 51; k <= 99; ++k) EXPECT_EQ(bank[(k - 1) * n + j], bank[(99 - k) * n + n - 1 - j]);
      EXPECT_EQ(bank[99 * n + j], bank.mark);
    }
    for (int k = 1; k <= 99; ++k) EXPECT_NE(bank[(k - 1) * n + n / 2], 0.0f) << "column " << k;
  }
}

TEST(InterpolationBank, ShiftsCarryTheRoundingOfTheirAdditions) {
  const int n = 4;
  const float pi = 3.1415927f, edge = 0.45f, half = 0.49999979f;
  ASSERT_NE(half, 0.5f);
  Vector acor(n), ccor(n), filter(n), work(n);
  const auto correlation = [&](float lag) {
    const float phase = (lag * pi) * edge;
    return std::sin(phase) / phase;
  };
  acor[0] = 1.0f;
  for (int k = 1; k < n; ++k) acor[k] = correlation(static_cast<float>(k));
  float lag = -1.0f - half;
  for (int j = 0; j < n; ++j) {
    ccor[j] = correlation(lag);
    lag = lag + 1.0f;
  }
  moveout::a_mwienr(n, acor.data(), ccor.data(), work.data(), filter.data());

  const std::vector<float> bank = design_bank({n, edge, 0.0}).values();
  EXPECT_EQ(Vector(bank.begin() + 49 * n, bank.begin() + 50 * n), filter);
  EXPECT_NE(filter[0], filter[3]);
  EXPECT_NEAR(filter[0], filter[3], 1.0e-5f);
}

TEST(NormalEquations, AUnitAutocorrelationReturnsTheRightHandSide) {
  const int n = 5;
  const Vector acor = {1, 0, 0, 0, 0}, rhs = {3, -1, 4, 1, -5};
  Fenced<float> error(n), filter(n);
  moveout::a_mwienr(n, acor.data(), rhs.data(), error.data(), filter.data());
  EXPECT_EQ(filter.values(), rhs);
  EXPECT_EQ(error.values(), acor);
}

TEST(NormalEquations, TheMatrixTimesTheFilterIsTheRightHandSideAtEveryLength) {
  const unsigned seed = 7;
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> value(-1.0f, 1.0f);
  for (int n = 1; n <= 12; ++n) {
    Vector series(40), acor(n), rhs(n);
    for (float& v : series) v = value(random);
    for (float& v : rhs) v = value(random);
    for (int k = 0; k < n; ++k) {
      for (std::size_t i = k; i < series.size(); ++i) acor[k] += series[i] * series[i - k];
    }
    Fenced<float> error(n), filter(n);
    moveout::a_mwienr(n, acor.data(), rhs.data(), error.data(), filter.data());
    EXPECT_TRUE(error.fences_stand() && filter.fences_stand());
    EXPECT_EQ(error[0], 1.0f);
    for (int i = 0; i < n; ++i) {
      double left = 0.0, prediction = 0.0;
      for (int j = 0; j < n; ++j) {
        left += double(acor[std::abs(i - j)]) * filter[j];
        prediction += double(acor[std::abs(i - j)]) * error[j];
      }
      EXPECT_NEAR(left, rhs[i], 1.0e-4) << n << " taps, row " << i;
      if (i > 0) {
        EXPECT_NEAR(prediction, 0.0, 1.0e-4) << n << " taps, row " << i;
      }
    }
  }
}

}  // namespace
