#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "solution/solution.h"
#include "tests/solution/fenced.h"

namespace {

using Trace = std::vector<float>;

/// A revision with the limits of a production run; sample k of the traces, from 0, is at k / fs seconds.
struct Revision {
  Trace vrms, dv;
  int it0 = 0;
  float fs = 250.0f, wf0 = 30.0f, q = 100.0f;
  int fsa = 1, lsa = static_cast<int>(vrms.size());
  float minpct = 25.0f, maxpct = 25.0f, mindv = 10.0f, maxdv = 20.0f;
  int miniv = 0, maxiv = 50000, minsv = 0, maxsv = 50000, vtime = 6000, vpow = 2, status = -1;
  float reft = -1.0f;

  Revision(int count, float velocity, float indicator) : vrms(count, velocity), dv(count, indicator) {}

  Revision& run() {
    Fenced<float> ratios(dv), velocities(vrms);
    solution::a_sanewv(ratios, velocities, static_cast<int>(vrms.size()), it0, fs, wf0, q, fsa, lsa, miniv, maxiv,
                       minpct, maxpct, mindv, maxdv, minsv, maxsv, vtime, vpow, status, reft);
    dv = ratios.values();
    vrms = velocities.values();
    return *this;
  }
};

TEST(VelocityRevision, LeavesAFunctionThatIsAbsent) {
  EXPECT_EQ(Revision(9, 1.5f, 5.0f).run().dv, Trace(9, 1.0f));
  EXPECT_NE(Revision(9, 1.6f, 5.0f).run().dv, Trace(9, 1.0f));
}

TEST(VelocityRevision, DividesTheIndicatorByTheCyclesOfTheAttenuatedReferenceFrequency) {
  Revision revision(2, 2000.0f, 0.05f * 6.2832f * 30.0f);  // 5 % at 1 s and 30 Hz; the last sample is the one at 1 s
  revision.it0 = 500;
  revision.fs = 2.0f;
  revision.q = 15.708f;  // a = 0.75: half the frequency is left
  revision.vtime = 250;
  revision.vpow = 5;  // (1 s / 0.25 s)^0.5 + 1 = 3
  EXPECT_NEAR(revision.run().dv[1], 1.0f + 2.0f * 0.05f / 3.0f, 1e-6f);
}

TEST(VelocityRevision, KeepsRatiosAndTheChangeOfIntervalVelocityWithinTheirBounds) {
  const float high = 1.0f + 0.01f * 20.0f, low = 1.0f - 0.01f * 10.0f;
  EXPECT_EQ(Revision(50, 1600.0f, 1.0e6f).run().vrms, Trace(50, 1600.0f * high));
  EXPECT_EQ(Revision(50, 1600.0f, -1.0e6f).run().dv, Trace(50, low));
  EXPECT_EQ(Revision(50, 1600.0f, std::numeric_limits<float>::quiet_NaN()).run().dv, Trace(50, high));
  // 200000 / fs = 800: the square of the first interval velocity stays within 2000^2 + 800 * 2000.
  EXPECT_FLOAT_EQ(Revision(3, 2000.0f, 1.0e6f).run().dv[1], std::sqrt(5.6e6f) / 2000.0f);
}

TEST(VelocityRevision, ReportsTheFirstLimitThatAnInputVelocityBreaks) {
  struct Case {
    const char* what;
    float at_3, at_7, seconds;
    int status, miniv, maxiv, minsv, maxsv;
  };
  // A rise at sample 3 brings a fast interval there and a slow one behind it, a drop the reverse.
  for (const Case& c : {
           Case{"fast", 2010, 2000, 2.012f, 2, 0, 50000, 0, 2005},
           Case{"fast interval", 2100, 2000, 2.012f, 4, 0, 5000, 0, 50000},
           Case{"slow beats the slow interval of its own sample", 1500, 2000, 2.012f, 1, 1900, 50000, 1600, 50000},
           Case{"a slow interval beats a later velocity", 2010, 1000, 2.016f, 3, 1900, 50000, 1500, 50000},
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

TEST(VelocityRevision, KeepsTheRevisedVelocityWithinItsLimitsAndGivesSamplesOutsideTheRangeTheNearestRatio) {
  Revision revision(60, 2000.0f, -1.0e6f);
  revision.minsv = 1900;
  revision.fsa = 11;
  revision.lsa = 50;
  revision.run();
  EXPECT_FLOAT_EQ(revision.dv[49], 0.95f);
  for (int k = 0; k < 60; ++k) EXPECT_EQ(revision.dv[k], revision.dv[std::clamp(k, 10, 49)]) << "sample " << k;
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
