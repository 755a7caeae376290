#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>
#include <string>
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

TEST(ToeplitzRecursion, TheMatrixTimesTheSolutionIsTheRightHandSide) {
  const unsigned seed = 3;
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> value(-1.0f, 1.0f);
  for (const int n : {2, 3, 4, 5, 8, 81, 101}) {
    Vector series(300), row(n, 0.0f), rhs(n);
    for (float& v : series) v = value(random);
    for (float& v : rhs) v = value(random);
    for (int k = 0; k < n; ++k) {
      for (std::size_t i = k; i < series.size(); ++i) row[k] += series[i] * series[i - k];
    }
    Fenced<double> x(n), a(n - 1);
    int istat = -1;
    moveout::a_hermtp(n - 1, row[0], row.data() + 1, rhs.data(), x.data(), a.data(), istat);
    EXPECT_EQ(istat, 0);
    EXPECT_TRUE(x.fences_stand() && a.fences_stand());
    // The first equation keeps the rounding of its single-precision quotient, the others are solved to the end.
    const double quotient = double(rhs[0] / row[0]);
    EXPECT_NEAR(toeplitz_row(row, x, n, 0), quotient * double(row[0]), 1.0e-12) << "order " << n;
    for (int i = 1; i < n; ++i)
      EXPECT_NEAR(toeplitz_row(row, x, n, i), rhs[i], 1.0e-12) << "order " << n << " row " << i;
  }
}

TEST(ToeplitzRecursion, StopsAtASystemThatIsNotPositiveDefinite) {
  const struct {
    std::string what;
    float diagonal;
    Vector row;
    std::size_t solved;
  } cases[] = {{"zero diagonal", 0.0f, {0.5f, 0.25f}, 0},
               {"order one", 2.0f, {}, 1},
               {"singular at order two", 1.0f, {1.0f, 0.5f}, 1},
               {"indefinite at order three", 1.0f, {0.5f, -0.9f}, 2}};
  const Vector rhs = {3, 2, 1};
  for (const auto& c : cases) {
    Fenced<double> x(3), a(2);
    int istat = -1;
    moveout::a_hermtp(static_cast<int>(c.row.size()), c.diagonal, c.row.data(), rhs.data(), x.data(), a.data(), istat);
    EXPECT_EQ(istat, 1) << c.what;
    for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(x[i] != x.mark, i < c.solved) << c.what << ", value " << i;
  }
}

TEST(ToeplitzSolver, SpreadsTheSolutionByItsStride) {
  const Vector row = {4, 2, 1}, rhs = {7, 8, 7};  // solution 1, 1, 1
  Fenced<float> y(5);
  Fenced<double> aux(5);
  moveout::a_swlev(row.data(), 1, rhs.data(), 1, y.data(), 2, 3, aux.data());
  EXPECT_TRUE(y.fences_stand() && aux.fences_stand());
  for (const int i : {0, 2, 4}) EXPECT_NEAR(y[i], 1.0f, 1.0e-6f);
  for (const int i : {1, 3}) EXPECT_EQ(y[i], y.mark);
}

TEST(ToeplitzSolver, WarnsOfAFailedRecursionAndLeavesZerosWhereItDidNotReach) {
  const Vector row = {1, 1, 0.5f}, rhs = {3, 2, 1};
  Fenced<float> y(3);
  Fenced<double> aux(5);
  testing::internal::CaptureStdout();
  moveout::a_swlev(row.data(), 1, rhs.data(), 1, y.data(), 1, 3, aux.data());
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "  Warning: ier\t> 0 from HERMTOEP.\n");
  EXPECT_EQ(y.values(), (Vector{3, 0, 0}));
}

/// The buffers of one design, with the values of a run at the given sample interval.
struct Design {
  explicit Design(double interval)
      : lag_end(interval > 0.001 ? 40 : 50),
        scaled_interval(static_cast<float>(2.0 * std::numbers::pi * 30.0 * interval)),
        h1(2 * max_lag + 1),
        h2(2 * max_lag + 1),
        corr(2 * lag_end + 1),
        cvect(2 * max_lag + 1),
        work(4 * lag_end + 1) {}

  void run() {
    moveout::a_sarkft(h1.data(), h2.data(), corr.data(), cvect.data(), work.data(), max_lag, lag_end, scaled_interval,
                      white, coloured, pole, ier);
    EXPECT_TRUE(h1.fences_stand() && h2.fences_stand() && corr.fences_stand() && cvect.fences_stand());
    EXPECT_TRUE(work.fences_stand());
  }

  const int max_lag = 100;
  int lag_end;
  float scaled_interval, white = 10.0f, coloured = 0.0f;
  double pole = 3.0 - std::numbers::sqrt2 * 2.0;
  Fenced<float> h1, h2, corr, cvect;
  Fenced<double> work;
  int ier = -1;
};

TEST(BandFilters, SolveTheirNoisySystemsAndLeaveTheAutocorrelationClean) {
  for (const double interval : {0.004, 0.002, 0.001}) {
    for (const float coloured : {0.0f, 5.0f}) {
      Design d(interval);
      d.coloured = coloured;
      d.run();
      EXPECT_EQ(d.ier, 0);
      EXPECT_EQ(d.corr[0], 48.0f);
      EXPECT_EQ(d.cvect[d.max_lag], -24.0f);

      const int taps = 2 * d.lag_end + 1, first = d.max_lag - d.lag_end;
      std::vector<double> noisy(taps);
      for (int n = 0; n < taps; ++n) noisy[n] = double(d.corr[n]) + 0.48 * coloured * std::pow(d.pole, n);
      noisy[0] += 4.8;
      for (int i = 0; i < taps; ++i) {
        const int lag = i - d.lag_end;
        EXPECT_NEAR(toeplitz_row(noisy, d.h1.data() + first, taps, i), d.corr[std::abs(lag)], 2.0e-4) << lag;
        EXPECT_NEAR(toeplitz_row(noisy, d.h2.data() + first, taps, i), d.cvect[d.max_lag + lag], 2.0e-4) << lag;
      }
    }
  }
}

TEST(BandFilters, AreEvenInTheLagAndZeroBeyondTheLastOne) {
  Design d(0.004);
  d.run();
  for (int lag = 0; lag <= d.max_lag; ++lag) {
    for (const Fenced<float>* h : {&d.h1, &d.h2}) {
      EXPECT_NEAR((*h)[d.max_lag + lag], (*h)[d.max_lag - lag], 1.0e-6f) << "lag " << lag;
      if (lag > d.lag_end) {
        EXPECT_EQ((*h)[d.max_lag + lag], 0.0f) << "lag " << lag;
        EXPECT_EQ((*h)[d.max_lag - lag], 0.0f) << "lag " << lag;
      }
    }
  }
}

TEST(BandFilters, TheModelCorrelatesTheWaveletWithItselfAndWithItsStretch) {
  Design d(0.002);
  d.run();
  const auto wavelet = [](double t) { return (1.0 - t * t / 2.0) * std::exp(-t * t / 4.0); };
  const auto stretch = [](double t) { return t * t * (t * t / 4.0 - 1.5) * std::exp(-t * t / 4.0); };
  const auto correlate = [&](const auto& other, double lag) {
    const double step = 0.01;
    double sum = 0.0;
    for (int i = -3000; i <= 3000; ++i) sum += wavelet(step * i) * other(step * i + lag);
    return sum;
  };
  const double factor = 48.0 / correlate(wavelet, 0.0);
  for (int lag = 0; lag <= d.lag_end; ++lag) {
    const double t = lag * double(d.scaled_interval);
    EXPECT_NEAR(d.corr[lag], factor * correlate(wavelet, t), 1.0e-4) << "lag " << lag;
    EXPECT_NEAR(d.cvect[d.max_lag + lag], factor * correlate(stretch, t), 1.0e-4) << "lag " << lag;
  }
}

TEST(BandFilters, TheModelEndsWhereItsGaussianIsNegligible) {
  Design d(0.004);
  d.run();
  EXPECT_NE(d.corr[18], 0.0f);
  for (int n = 19; n <= 2 * d.lag_end; ++n) EXPECT_EQ(d.corr[n], 0.0f) << "lag " << n;
  for (int lag = 19; lag <= d.lag_end; ++lag) EXPECT_EQ(d.cvect[d.max_lag - lag], 0.0f) << "lag " << lag;
}

TEST(BandFilters, TheFirstPassesTheWaveletsBandByItsShareOfTheSpectrumWithNoise) {
  Design d(0.004);
  d.run();
  for (const double frequency : {0.0, 10.0, 30.0, 60.0, 110.0}) {
    const double omega = 2.0 * std::numbers::pi * frequency * 0.004;
    double response = d.h1[d.max_lag], power = d.corr[0];
    for (int lag = 1; lag <= d.lag_end; ++lag) {
      response += (d.h1[d.max_lag + lag] + d.h1[d.max_lag - lag]) * std::cos(omega * lag);
      power += 2.0 * d.corr[lag] * std::cos(omega * lag);
    }
    // 40 lags on either side come that close to the filter without end
    EXPECT_NEAR(response, power / (power + 4.8), 0.005) << frequency << " Hz";
  }
}

TEST(BandFilters, BadInputIsNamedByItsCodeAndNothingElseIsWritten) {
  const struct {
    int lag_end;
    float white;
    double pole;
    int code;
  } cases[] = {{40, 0.0f, 0.2, 1},  {40, -1.0f, 0.2, 1},  {101, 10.0f, 0.2, 2}, {101, 0.0f, 0.2, 2},
               {40, 10.0f, 1.0, 3}, {40, 10.0f, -1.5, 3}, {101, 0.0f, 1.0, 3}};
  for (const auto& c : cases) {
    Design d(0.004);
    d.lag_end = c.lag_end;
    d.white = c.white;
    d.pole = c.pole;
    d.run();
    EXPECT_EQ(d.ier, c.code);
    EXPECT_TRUE(d.h1.untouched() && d.h2.untouched() && d.corr.untouched() && d.cvect.untouched());
  }
}

}  // namespace
