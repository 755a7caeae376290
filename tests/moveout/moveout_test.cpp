#include "moveout/moveout.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/definitions/definitions.h"
#include "tests/support/fenced.h"

namespace {

using support::Fenced;
using Vector = std::vector<float>;

/// One trace of noise between its zeros, with the filters for it.
struct Trace {
  Trace(int n, int filter_length, std::mt19937& random) : samples(n), taps(filter_length) {
    Vector acor(taps), ccor(taps), filter(taps), work(taps);
    moveout::a_mcofgn(taps, 0.8f, acor.data(), ccor.data(), filter.data(), work.data(), bank.data());
    std::uniform_real_distribution<float> amplitude(-1.0f, 1.0f), slowness(1e-7f, 4e-7f);
    for (int m = 0; m < samples; ++m) padded[m + taps] = amplitude(random);
    for (float& s : sloth) s = slowness(random);
  }

  /// Output trace, filter bank and accumulated range.
  auto moved_out_by(decltype(definition::a_samvot) kernel) const {
    Fenced<float> coef = bank, out(samples), trcoef(2 * taps * samples), columns(samples);
    int from = first, to = last;  // give the bounds and receive the accumulated range
    kernel(padded.data(), sloth.data(), coef.data(), out.data(), trcoef.data(), columns.data(), samples, taps, from, to,
           offset, first_live, start, 0.004f, from, to);
    EXPECT_TRUE(coef.fences_stand() && out.fences_stand() && trcoef.fences_stand() && columns.fences_stand());
    return std::tuple(support::bits(out.values()), support::bits(coef.values()), from, to);
  }

  int samples, taps, first = 1 + samples / 16, last = samples - samples / 16, first_live = 1 + samples / 8;
  float offset = 0.0f, start = 0.0f;
  Vector padded = Vector(samples + 2 * taps, 0.0f), sloth = Vector(samples + 2);
  Fenced<float> bank{std::size_t(100 * taps)};
};

TEST(Moveout, HasTheBitsOfItsDefinitionAtEveryLengthAndTouchesOnlyTheSamplesAskedFor) {
  std::mt19937 random(12);
  for (const int taps : {2, 4, 6, 8, 10, 12}) {
    for (const int n : {1, 2, 7, 8, 9, 15, 16, 17, 63, 64, 65, 127, 128, 129, 200}) {
      for (const float offset : {0.0f, 37.0f, 480.0f, 2900.0f}) {
        for (const int without_centre : {0, 60, 99}) {  // filters that have no coefficient behind the position
          Trace trace(n, taps, random);
          for (int k = 0; k < without_centre; ++k) trace.bank[k * taps + taps / 2] = 0.0f;
          trace.start = offset == 37.0f ? 0.4f : 0.0f;
          trace.offset = offset;
          trace.sloth[1 + n / 2] = offset > 400.0f ? std::numeric_limits<float>::quiet_NaN() : 1.0e30f;
          ASSERT_EQ(trace.moved_out_by(moveout::a_samvot), trace.moved_out_by(definition::a_samvot))
              << taps << " taps, " << n << " samples, offset " << offset << ", " << without_centre << " without centre";
        }
      }
    }
  }
}

TEST(RunningMean, EqualsTheSumOverAWindowThatShrinksTowardsTheEndsRoundedAndThenDivided) {
  std::mt19937 random(13);
  std::uniform_real_distribution<float> velocity(1500.0f, 4000.0f);  // sums of these are exact in double precision
  for (int n = 1; n <= 70; ++n) {
    for (const int l : {-4, 0, 1, 2, 5, 16, 34, 100}) {
      Fenced<float> matrix(3 * n), mean(n);  // the series is the second row of a matrix with three
      for (int k = 0; k < n; ++k) matrix[1 + 3 * k] = velocity(random);
      Vector expected = matrix.values(), means(n);
      for (int k = 0; k < n; ++k) {
        const int h = std::max(0, std::min({l, n / 2, k, n - 1 - k}));
        double sum = 0.0;
        for (int i = k - h; i <= k + h; ++i) sum += matrix[1 + 3 * i];
        expected[1 + 3 * k] = means[k] = static_cast<float>(sum) / static_cast<float>(2 * h + 1);
      }
      moveout::a_masmth(n, 3, 2, matrix.data(), mean.data(), l);
      EXPECT_EQ(mean.values(), means) << n << " values, half-length " << l;
      EXPECT_EQ(matrix.values(), expected) << n << " values, half-length " << l;
      EXPECT_TRUE(matrix.fences_stand() && mean.fences_stand());
    }
  }
}

TEST(SquaredSlowness, SmoothsGuardValuesThatRepeatTheEndsOrNamesTheFirstVelocityThatIsNotPositive) {
  const float velocities[] = {1000, 2000, 4000}, bad[] = {2000, -0.0f, -1};
  const float a = 1.0f / (1500.0f * 1500.0f), b = 1.0f / (2500.0f * 2500.0f), c = 1.0f / (4500.0f * 4500.0f);
  Vector expected{a, a, b, c, c}, scratch(5);
  moveout::a_masmth(5, 1, 1, expected.data(), scratch.data(), 1);
  Fenced<float> sloth(5), slothi(5);
  int ier = -1, samples_and_code = 3;
  moveout::a_savelc(bad, sloth.data(), slothi.data(), 3, 1, 500.0f, ier);
  EXPECT_TRUE(ier == 2 && sloth.untouched() && slothi.untouched());
  moveout::a_savelc(velocities, sloth.data(), slothi.data(), samples_and_code, 1, 500.0f, samples_and_code);
  EXPECT_EQ(samples_and_code, 0);
  EXPECT_EQ(sloth.values(), expected);
  EXPECT_EQ(slothi.values(), expected);
  EXPECT_TRUE(sloth.fences_stand() && slothi.fences_stand());
}

TEST(InterpolationBank, EstimatesTheSignalAtEveryShiftWithMirroredFilters) {
  // one design for each range of sample intervals
  for (const auto& [n, edge] : {std::pair{12, 0.8f}, {10, 0.75f}, {8, 0.7f}, {4, 0.45f}}) {
    SCOPED_TRACE(n);
    Fenced<float> acor(n), ccor(n), filter(n), work(n), bank(100 * n);
    moveout::a_mcofgn(n, edge, acor.data(), ccor.data(), filter.data(), work.data(), bank.data());
    for (const Fenced<float>* array : {&acor, &ccor, &filter, &work, &bank}) EXPECT_TRUE(array->fences_stand());
    const double omega = 0.5 * edge * std::numbers::pi;
    for (int k = 1; k <= 99; ++k) {
      double estimate = 0.0;
      for (int j = 1; j <= n; ++j) {
        estimate += bank[(k - 1) * n + j - 1] * std::sin(omega * j + 1.0);
        EXPECT_TRUE(k == 50 || bank[(k - 1) * n + j - 1] == bank[(100 - k) * n - j]) << "column " << k;
      }
      EXPECT_NEAR(estimate, std::sin(omega * (n / 2 + 0.01 * k) + 1.0), 0.01) << "column " << k;
    }
    EXPECT_EQ(bank[99 * n], bank.mark) << "the last column is left alone";
  }
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

constexpr double interval = 0.001, corner = 3.0 - std::numbers::sqrt2 * 2.0;

/// Filters of lags to 40 in arrays for lags to 100, for a wavelet of 30 Hz.
struct Design {
  Design(float white, float coloured, int lag_end, double pole) {
    moveout::a_sarkft(h1.data(), h2.data(), corr.data(), cvect.data(), work.data(), 100, lag_end, scaled_interval,
                      white, coloured, pole, ier);
    for (const Fenced<float>* array : {&h1, &h2, &corr, &cvect}) EXPECT_TRUE(array->fences_stand());
    EXPECT_TRUE(work.fences_stand());
  }

  static constexpr float scaled_interval = static_cast<float>(2.0 * std::numbers::pi * 30.0 * interval);
  Fenced<float> h1{201}, h2{201}, corr{81}, cvect{201};
  Fenced<double> work{161};
  int ier = -1;
};

TEST(BandFilters, SolveTheNoisySystemsOfAWaveletAndItsStretchAndLeaveTheAutocorrelationClean) {
  for (const float coloured : {0.0f, 5.0f}) {
    Design d(10.0f, coloured, 40, corner);
    EXPECT_EQ(d.ier, 0);
    std::vector<double> clean(81), stretch(81), noisy(81);
    for (int n = 0; n <= 80; ++n) {
      const double t = n * double(Design::scaled_interval), x = t * t, decay = x < 200.0 ? std::exp(-x / 8.0) : 0.0;
      clean[n] = (48.0 - (24.0 - x) * x) * decay;
      stretch[n] = -(((x - 36.0) * x + 144.0) * x + 192.0) * decay / 8.0;
      noisy[n] = clean[n] + 0.48 * double(coloured) * std::pow(corner, n) + (n == 0 ? 4.8 : 0.0);
      EXPECT_NEAR(d.corr[n], clean[n], 1.0e-4) << "lag " << n;
    }
    for (int lag = -100; lag <= 100; ++lag) {
      const int n = std::abs(lag);
      if (n > 40) {
        EXPECT_TRUE(d.h1[100 + lag] == 0.0f && d.h2[100 + lag] == 0.0f) << "lag " << lag;
        continue;
      }
      double sum1 = 0.0, sum2 = 0.0;
      for (int j = -40; j <= 40; ++j) {
        sum1 += noisy[std::abs(lag - j)] * double(d.h1[100 + j]);
        sum2 += noisy[std::abs(lag - j)] * double(d.h2[100 + j]);
      }
      EXPECT_NEAR(sum1, clean[n], 4.0e-4) << "lag " << lag;
      EXPECT_NEAR(sum2, stretch[n], 4.0e-4) << "lag " << lag;
      EXPECT_NEAR(d.cvect[100 + lag], stretch[n], 1.0e-4) << "lag " << lag;
    }
  }
}

TEST(BandFilters, TheHighestCodeThatAppliesNamesBadInputAndNothingElseIsWritten) {
  int code = 1;
  for (const Design& d : {Design(0.0f, 0.0f, 40, corner), {0.0f, 0.0f, 101, corner}, {10.0f, 0.0f, 101, -1.0}}) {
    EXPECT_EQ(d.ier, code++);
    EXPECT_TRUE(d.h1.untouched() && d.h2.untouched() && d.corr.untouched() && d.cvect.untouched());
  }
}

}  // namespace
