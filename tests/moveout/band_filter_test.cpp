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

/// Row i, from 0, of the symmetric Toeplitz matrix with that first row, times y.
template <class Row, class Solution>
double toeplitz_row(const Row& row, const Solution& y, int n, int i) {
  double sum = 0.0;
  for (int j = 0; j < n; ++j) sum += double(row[std::abs(i - j)]) * double(y[j]);
  return sum;
}

TEST(ToeplitzSolver, WarnsOfAFailedRecursionAndLeavesZerosWhereItDidNotReach) {
  const Vector row = {1, 1, 0.5f}, rhs = {3, 2, 1};
  Fenced<float> y(5);
  Fenced<double> aux(5);
  testing::internal::CaptureStdout();
  moveout::a_swlev(row.data(), 1, rhs.data(), 1, y.data(), 2, 3, aux.data());
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "  Warning: ier\t> 0 from HERMTOEP.\n");
  EXPECT_EQ(y.values(), (Vector{3, y.mark, 0, y.mark, 0}));
  EXPECT_TRUE(y.fences_stand() && aux.fences_stand());
}

/// One design for a wavelet of 30 Hz.
struct Design {
  double interval = 0.004, pole = 3.0 - std::numbers::sqrt2 * 2.0;
  float white = 10.0f, coloured = 0.0f;
  int lag_end = 40, max_lag = 100, ier = -1;
  Fenced<float> h1{201}, h2{201}, corr{81}, cvect{201};
  Fenced<double> work{161};

  float scaled_interval() const { return static_cast<float>(2.0 * std::numbers::pi * 30.0 * interval); }
  void run() {
    moveout::a_sarkft(h1.data(), h2.data(), corr.data(), cvect.data(), work.data(), max_lag, lag_end, scaled_interval(),
                      white, coloured, pole, ier);
    EXPECT_TRUE(h1.fences_stand() && h2.fences_stand() && corr.fences_stand());
    EXPECT_TRUE(cvect.fences_stand() && work.fences_stand());
  }
};

TEST(BandFilters, SolveTheNoisySystemsOfAWaveletAndItsStretchAndLeaveTheAutocorrelationClean) {
  for (const float coloured : {0.0f, 5.0f}) {
    Design d{.interval = coloured > 0.0f ? 0.001 : 0.004, .coloured = coloured};
    d.run();
    EXPECT_EQ(d.ier, 0);
    std::vector<double> noisy(81);
    for (int n = 0; n <= 80; ++n) {
      const float t = static_cast<float>(n) * d.scaled_interval(), x = t * t;
      const float clean = x < 200.0f ? (48.0f - (24.0f - x) * x) * std::exp(-0.125f * x) : 0.0f;
      EXPECT_NEAR(d.corr[n], clean, coloured > 0.0f ? 1.0e-5 : 0.0) << "lag " << n;
      noisy[n] = double(clean) + 0.48 * double(coloured) * std::pow(d.pole, n) + (n == 0 ? 4.8 : 0.0);
      if (n > 40) continue;
      const float stretch = ((((x - 36.0f) * x + 144.0f) * x + 192.0f) * std::exp(-0.125f * x)) * -0.125f;
      for (const int lag : {-n, n}) EXPECT_EQ(d.cvect[100 + lag], x <= 200.0f ? stretch : 0.0f) << "lag " << lag;
    }
    for (int lag = -100; lag <= 100; ++lag) {
      const bool used = std::abs(lag) <= 40;
      const auto left = [&](auto& h) {
        return used ? toeplitz_row(noisy, &h[60], 81, lag + 40) : double(h[100 + lag]);
      };
      EXPECT_NEAR(left(d.h1), used ? d.corr[std::abs(lag)] : 0.0f, used ? 2.0e-4 : 0.0) << "lag " << lag;
      EXPECT_NEAR(left(d.h2), used ? d.cvect[100 + lag] : 0.0f, used ? 2.0e-4 : 0.0) << "lag " << lag;
    }
  }
}

TEST(BandFilters, TheHighestCodeThatAppliesNamesBadInputAndNothingElseIsWritten) {
  Design no_white{.white = 0.0f}, too_long{.white = 0.0f, .lag_end = 101}, unstable{.pole = -1.0, .lag_end = 101};
  int code = 1;
  for (Design* d : {&no_white, &too_long, &unstable}) {
    d->run();
    EXPECT_EQ(d->ier, code++);
    EXPECT_TRUE(d->h1.untouched() && d->h2.untouched() && d->corr.untouched() && d->cvect.untouched());
  }
}

}  // namespace
