#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "solution/solution.h"
#include "tests/solution/fenced.h"

namespace {

using Trace = std::vector<float>;

constexpr float nan = std::numeric_limits<float>::quiet_NaN();

/// A revision with the limits of a production run; sample k of the traces, from 0, is at k / fs seconds.
struct Revision {
  Trace vrms, dv;
  int it0 = 0;
  float fs = 250.0f, wf0 = 30.0f, q = 100.0f;
  int fsa = 1, lsa = static_cast<int>(vrms.size());
  int miniv = 0, maxiv = 50000;
  float minpct = 25.0f, maxpct = 25.0f, mindv = 10.0f, maxdv = 20.0f;
  int minsv = 0, maxsv = 50000;
  int vtime = 6000, vpow = 2;
  int status = -1;
  float reft = -1.0f;

  Revision(Trace velocities, Trace indicators) : vrms(std::move(velocities)), dv(std::move(indicators)) {}
  Revision(int count, float velocity, float indicator)
      : Revision(Trace(static_cast<size_t>(count), velocity), Trace(static_cast<size_t>(count), indicator)) {}

  Revision& run() {
    Fenced<float> ratios(dv), velocities(vrms);
    solution::a_sanewv(ratios, velocities, static_cast<int>(vrms.size()), it0, fs, wf0, q, fsa, lsa, miniv, maxiv,
                       minpct, maxpct, mindv, maxdv, minsv, maxsv, vtime, vpow, status, reft);
    dv = ratios.values();
    vrms = velocities.values();
    return *this;
  }
};

TEST(VelocityRevision, LeavesAFunctionThatIsAbsentOrHasNoReferenceFrequency) {
  Revision no_frequency(9, 2000.0f, 5.0f), absent(9, 1.5f, 5.0f), present(9, 1.6f, 5.0f);
  no_frequency.wf0 = 0.0f;
  EXPECT_EQ(no_frequency.run().dv, Trace(9, 1.0f));
  EXPECT_EQ(no_frequency.vrms, Trace(9, 2000.0f));
  EXPECT_EQ(no_frequency.status, 0);
  EXPECT_EQ(no_frequency.reft, 0.0f);
  EXPECT_EQ(absent.run().dv, Trace(9, 1.0f));
  EXPECT_NE(present.run().dv, Trace(9, 1.0f));
}

TEST(VelocityRevision, WithoutErrorLeavesAConstantFunctionAsItIs) {
  for (const float fs : {249.99998f, 1000.0f}) {
    Revision revision(3000, 2345.678f, 0.0f);
    revision.fs = fs;
    EXPECT_EQ(revision.run().dv, Trace(3000, 1.0f));
    EXPECT_EQ(revision.vrms, Trace(3000, 2345.678f));
    EXPECT_EQ(revision.status, 0);
  }
}

TEST(VelocityRevision, DividesTheIndicatorByTheCyclesOfTheAttenuatedReferenceFrequency) {
  const float indicator = 0.05f * 6.2832f * 30.0f;  // 5 % at 1 s and 30 Hz

  // The last sample is the one at 1 s, the power 0 halves: (t / vt)^0 + 1 = 2.
  Revision plain(2, 2000.0f, indicator);
  plain.fs = 1.0f;
  plain.q = 1.0e30f;
  plain.vpow = 0;
  Revision late = plain, attenuated = plain, damped = plain;
  EXPECT_NEAR(plain.run().dv[1], 1.025f, 1e-6f);

  late.it0 = 500;
  late.fs = 2.0f;
  EXPECT_NEAR(late.run().dv[1], 1.025f, 1e-6f);

  attenuated.q = 15.708f;  // a = 0.75: half the frequency is left
  EXPECT_NEAR(attenuated.run().dv[1], 1.05f, 1e-6f);

  damped.vtime = 250;
  damped.vpow = 5;  // (1 s / 0.25 s)^0.5 + 1 = 3
  EXPECT_NEAR(damped.run().dv[1], 1.0f + 0.05f / 3.0f, 1e-6f);
}

TEST(VelocityRevision, KeepsRatiosWithinTheirBoundsAndTakesTheUpperOneForNaN) {
  const float high = 1.0f + 0.01f * 20.0f, low = 1.0f - 0.01f * 10.0f;
  EXPECT_EQ(Revision(50, 1600.0f, 1.0e6f).run().dv, Trace(50, high));
  EXPECT_EQ(Revision(50, 1600.0f, -1.0e6f).run().dv, Trace(50, low));
  EXPECT_EQ(Revision(50, 1600.0f, nan).run().dv, Trace(50, high));
  EXPECT_EQ(Revision(50, 1600.0f, 1.0e6f).run().vrms, Trace(50, 1600.0f * high));
}

TEST(VelocityRevision, BoundsTheChangeOfIntervalVelocityFromSampleToSample) {
  // 200000 / fs = 800: the square of the first interval velocity stays within 2000^2 + 800 * 2000.
  Revision revision(3, 2000.0f, 1.0e6f);
  revision.run();
  EXPECT_FLOAT_EQ(revision.dv[0], 1.2f);
  EXPECT_FLOAT_EQ(revision.dv[1], std::sqrt(5.6e6f) / 2000.0f);
}

TEST(VelocityRevision, KeepsIntervalVelocitiesOfTheRevisedFunctionWithinTheirBounds) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> error(-60.0f, 60.0f), roughness(-1.0f, 1.0f);
  const int n = 300;
  const double fs = 250.0, rate = 200000.0 / fs;
  int at_upper = 0, at_lower = 0;
  for (int round = 0; round < 20; ++round) {
    Trace before(n), indicator(n);
    for (int k = 0; k < n; ++k) {
      before[k] = 1500.0f + 5.0f * static_cast<float>(k) + 0.3f * roughness(random);
      indicator[k] = error(random);
    }
    Revision revision(before, indicator);
    revision.miniv = 1400;
    revision.maxiv = 4000;
    revision.run();

    const auto squared = [](double value) { return value * value; };
    const auto interval2 = [&](double later2, double earlier2, int k) { return k * later2 - (k - 1) * earlier2; };
    double previous = 0.0;
    for (int k = 1; k < n; ++k) {
      const double given =
          std::clamp(interval2(squared(before[k]), squared(before[k - 1]), k), squared(1400), squared(4000));
      const double revised = interval2(squared(double{revision.dv[k]} * before[k]),
                                       squared(double{revision.dv[k - 1]} * before[k - 1]), k);
      if (k == 1) previous = given;
      const double change = std::sqrt(previous) * rate;
      const double upper = std::min({squared(1.25) * given, squared(4000), previous + change});
      const double lower = std::min(upper, std::max({squared(0.75) * given, squared(1400), previous - change}));
      // A ratio is a float: k times its rounding error reaches the interval velocity.
      const double tolerance = 1e-6 * k * squared(before[k]);
      ASSERT_LE(revised, upper + tolerance) << "sample " << k;
      ASSERT_GE(revised, lower - tolerance) << "sample " << k;
      previous = revised;
      at_upper += revised > upper - tolerance;
      at_lower += revised < lower + tolerance;
    }
  }
  EXPECT_GT(at_upper, 0);
  EXPECT_GT(at_lower, 0);
}

TEST(VelocityRevision, KeepsRevisedVelocitiesWithinTheirLimits) {
  Revision fast(100, 2000.0f, 1.0e6f), slow(100, 2000.0f, -1.0e6f);
  fast.maxsv = 2100;
  slow.minsv = 1900;
  fast.run();
  slow.run();
  for (int k = 1; k < 100; ++k) {
    EXPECT_FLOAT_EQ(fast.vrms[k], 2100.0f);
    EXPECT_FLOAT_EQ(slow.vrms[k], 1900.0f);
  }
}

TEST(VelocityRevision, ReportsTheFirstLimitThatAnInputVelocityBreaks) {
  struct Case {
    const char* what;
    float at_3, at_7;
    int miniv, maxiv, minsv, maxsv, status;
    float seconds;
  };
  // A rise at sample 3 brings a fast interval there and a slow one behind it, a drop the reverse.
  for (const Case& c : {
           Case{"none", 2000, 2000, 0, 50000, 0, 50000, 0, 0.0f},
           Case{"slow", 1990, 2000, 0, 50000, 1995, 50000, 1, 2.012f},
           Case{"fast", 2010, 2000, 0, 50000, 0, 2005, 2, 2.012f},
           Case{"slow interval, behind a rise", 2100, 2000, 100, 50000, 0, 50000, 3, 2.016f},
           Case{"fast interval", 2100, 2000, 0, 5000, 0, 50000, 4, 2.012f},
           Case{"slow beats the slow interval of its own sample", 1500, 2000, 1900, 50000, 1600, 50000, 1, 2.012f},
           Case{"an interval beats a later velocity", 2010, 1000, 1900, 50000, 1500, 50000, 3, 2.016f},
       }) {
    SCOPED_TRACE(c.what);
    Revision revision(12, 2000.0f, 0.0f);
    revision.it0 = 2000;
    revision.vrms[3] = c.at_3;
    revision.vrms[7] = c.at_7;
    revision.miniv = c.miniv, revision.maxiv = c.maxiv, revision.minsv = c.minsv, revision.maxsv = c.maxsv;
    revision.run();
    EXPECT_EQ(revision.status, c.status);
    EXPECT_FLOAT_EQ(revision.reft, c.seconds);
  }
}

TEST(VelocityRevision, StaysFiniteBehindAVelocityInversion) {
  for (const float drop : {1000.0f, 1300.0f, 1700.0f, 2100.0f}) {
    SCOPED_TRACE(drop);
    Revision revision(400, 3000.0f, 0.0f);
    std::fill(revision.vrms.begin() + 150, revision.vrms.end(), 3000.0f - drop);
    revision.run();
    EXPECT_EQ(revision.status, 3);
    for (int k = 0; k < 400; ++k) {
      ASSERT_TRUE(std::isfinite(revision.dv[k])) << "sample " << k;
      ASSERT_GT(revision.vrms[k], 0.0f) << "sample " << k;
    }
  }
}

TEST(VelocityRevision, DropsTheBoundsOnChangeWhereTheIntervalVelocityBeforeHasNoRoot) {
  // The start at 1.2 * 2000 is above maxsv; to come down to 2100 the interval velocity squared goes below 0.
  Revision up(20, 2000.0f, 1.0e6f);
  up.fsa = 10;
  up.maxsv = 2100;
  up.maxpct = 0.0f;
  Revision down = up;
  down.dv[11] = -1.0e6f;
  up.run();
  down.run();
  const float v2 = 2000.0f * 2000.0f, previous2 = 2100.0f * 2100.0f;
  EXPECT_FLOAT_EQ(up.dv[10], 1.05f);
  EXPECT_FLOAT_EQ(up.dv[11], std::sqrt(previous2 + (v2 - previous2) / 11.0f) / 2000.0f);
  EXPECT_FLOAT_EQ(down.dv[11], std::sqrt(previous2 + (0.5625f * v2 - previous2) / 11.0f) / 2000.0f);
}

TEST(VelocityRevision, TakesAnInputVelocityBeyondALimitAsTheLimit) {
  struct Case {
    const char* what;
    int sample;
    float velocity;
    int miniv, maxiv, minsv, maxsv, status;
  };
  for (const Case& c : {
           Case{"first above maxsv", 0, 5000, 0, 50000, 0, 2000, 0},
           Case{"first below minsv", 0, 1000, 0, 2500, 2000, 50000, 0},
           Case{"first above maxiv", 0, 5000, 0, 2000, 0, 50000, 0},
           Case{"first below miniv", 0, 1000, 2000, 2500, 0, 50000, 0},
           Case{"later above maxsv", 3, 5000, 0, 50000, 0, 2000, 2},
       }) {
    SCOPED_TRACE(c.what);
    Revision revision(12, 2000.0f, 0.0f);
    revision.it0 = 1000;  // so that the first velocity counts in the first interval
    revision.fs = 1.0f;
    revision.vrms[c.sample] = c.velocity;
    revision.miniv = c.miniv, revision.maxiv = c.maxiv, revision.minsv = c.minsv, revision.maxsv = c.maxsv;
    EXPECT_EQ(revision.run().dv, Trace(12, 1.0f));
    EXPECT_EQ(revision.status, c.status);
  }
}

TEST(VelocityRevision, GivesSamplesOutsideTheRangeTheNearestRatio) {
  Revision revision(30, 2000.0f, 3.0f);
  revision.fsa = 11;
  revision.lsa = 20;
  revision.run();
  EXPECT_NE(revision.dv[10], revision.dv[19]);
  for (int k = 0; k < 10; ++k) EXPECT_EQ(revision.dv[k], revision.dv[10]);
  for (int k = 20; k < 30; ++k) EXPECT_EQ(revision.dv[k], revision.dv[19]);
  for (int k = 0; k < 30; ++k) EXPECT_EQ(revision.vrms[k], revision.dv[k] * 2000.0f);
}

TEST(VelocityRevision, OfASingleSampleChangesNothing) {
  Revision revision(9, 2000.0f, 0.07f);
  revision.fsa = revision.lsa = 5;
  EXPECT_EQ(revision.run().dv, Trace(9, 1.0f));
  EXPECT_EQ(revision.vrms, Trace(9, 2000.0f));
}

TEST(VelocitySmoothing, AveragesSquaredSlowness) {
  Fenced<float> velocities(Trace{1000, 2000, 4000, 2000, 1000}), scratch(5);
  solution::a_samodv(velocities, scratch, 5, 9);
  const double mean = (1.0 + 0.25 + 0.0625 + 0.25 + 1.0) / 5.0;
  EXPECT_FLOAT_EQ(velocities[2], static_cast<float>(1000.0 / std::sqrt(mean)));
  EXPECT_FLOAT_EQ(velocities[0], 1000.0f);
  EXPECT_FLOAT_EQ(velocities[4], 1000.0f);
}

}  // namespace
