#include "solution/velocity_revision.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "solution/solution.h"
#include "tests/support/fenced.h"

namespace {

using support::Fenced;
using Trace = std::vector<float>;

constexpr float nan = std::numeric_limits<float>::quiet_NaN();

/// A revision with the limits of a production run; sample k of the traces, from 0, is at k / fs seconds.
struct Revision {
  Fenced<float> vrms, dv;
  int n = static_cast<int>(dv.size()), it0 = 0;
  float fs = 250.0f, wf0 = 30.0f, q = 100.0f;
  int fsa = 1, lsa = n, miniv = 0, maxiv = 50000;
  float minpct = 25.0f, maxpct = 25.0f, mindv = 10.0f, maxdv = 20.0f;
  int minsv = 0, maxsv = 50000, vtime = 6000, vpow = 2, status = -1;
  float reft = -1.0f;

  Revision(int count, float velocity, float indicator) : vrms(count), dv(count) {
    std::fill_n(vrms.data(), n, velocity);
    std::fill_n(dv.data(), n, indicator);
  }

  solution::RevisionLimits limits() const {
    return {it0, fs, wf0, q, fsa, lsa, miniv, maxiv, minpct, maxpct, mindv, maxdv, minsv, maxsv, vtime, vpow};
  }
  Revision& run() {
    solution::a_sanewv(dv.data(), vrms.data(), n, it0, fs, wf0, q, fsa, lsa, miniv, maxiv, minpct, maxpct, mindv, maxdv,
                       minsv, maxsv, vtime, vpow, status, reft);
    EXPECT_TRUE(dv.fences_stand() && vrms.fences_stand());
    return *this;
  }
};

TEST(VelocityRevision, DividesTheIndicatorByTheCyclesOfTheAttenuatedReferenceFrequency) {
  Revision revision(2, 2000.0f, 0.05f * 6.2832f * 30.0f);  // 5 % at 1 s and 30 Hz; the last sample is the one at 1 s
  revision.it0 = 500;
  revision.fs = 2.0f;
  revision.q = 15.708f;  // a = 0.75: half the frequency is left
  revision.vtime = 250;
  revision.vpow = 5;  // (1 s / 0.25 s)^0.5 + 1 = 3
  EXPECT_NEAR(revision.run().dv[1], 1.0f + 2.0f * 0.05f / 3.0f, 1e-6f);
  EXPECT_EQ(Revision(9, 1.5f, 5.0f).run().dv.values(), Trace(9, 1.0f)) << "no velocity function";
}

TEST(VelocityRevision, KeepsRatiosAndTheChangeOfIntervalVelocityWithinTheirBounds) {
  const float high = 1.0f + 0.01f * 20.0f, low = 1.0f - 0.01f * 10.0f;
  EXPECT_EQ(Revision(50, 1600.0f, 1.0e6f).run().vrms.values(), Trace(50, 1600.0f * high));
  EXPECT_EQ(Revision(50, 1600.0f, -1.0e6f).run().dv.values(), Trace(50, low));
  EXPECT_EQ(Revision(50, 1600.0f, nan).run().dv.values(), Trace(50, high));
  // 200000 / fs = 800: the square of the first interval velocity stays within 2000^2 + 800 * 2000.
  EXPECT_FLOAT_EQ(Revision(3, 2000.0f, 1.0e6f).run().dv[1], std::sqrt(5.6e6f) / 2000.0f);
}

TEST(VelocityRevision, ReportsTheFirstLimitThatAnInputVelocityBreaks) {
  // A rise at sample 3 brings a fast interval there and a slow one behind it, a drop the reverse.
  struct Case {
    float at_3, at_7;
    int miniv, maxiv, minsv, maxsv, status;
    float seconds;
  };
  for (const Case& c : {Case{2010, 2000, 0, 50000, 0, 2005, 2, 2.012f},        // fast
                        {2100, 2000, 0, 5000, 0, 50000, 4, 2.012f},            // fast interval
                        {1500, 2000, 1900, 50000, 1600, 50000, 1, 2.012f},     // slow beats the slow interval there
                        {2010, 1000, 1900, 50000, 1500, 50000, 3, 2.016f}}) {  // which beats a later velocity
    Revision revision(12, 2000.0f, 0.0f);
    revision.it0 = 2000;
    revision.vrms[3] = c.at_3, revision.vrms[7] = c.at_7;
    revision.miniv = c.miniv, revision.maxiv = c.maxiv, revision.minsv = c.minsv, revision.maxsv = c.maxsv;
    revision.run();
    EXPECT_EQ(revision.status, c.status);
    EXPECT_FLOAT_EQ(revision.reft, c.seconds) << c.status;
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
  Revision crossed(60, 2000.0f, 0.0f);
  crossed.minsv = 2100;
  crossed.maxsv = 1900;
  EXPECT_FLOAT_EQ(crossed.run().dv[5], 0.95f) << "the upper bound wins";
}

TEST(VelocityRevision, CountsTheSamplesThatALimitHolds) {
  // nothing to revise, both bounds of the ratio, the change of interval velocity at one sample, no velocity function
  std::vector<Revision> rows = {
      {50, 1600.0f, 0.0f}, {50, 1600.0f, 1.0e6f}, {50, 1600.0f, -1.0e6f}, {50, 1600.0f, 0.0f}, {50, 1.0f, 1.0e6f}};
  rows[3].dv[20] = 1.0e6f;
  std::vector<float*> dv, vrms;
  for (Revision& row : rows) dv.push_back(row.dv.data()), vrms.push_back(row.vrms.data());
  std::vector<int> held(rows.size(), -1);
  solution::VelocityRevision(50, rows[0].limits())
      .revise(dv.data(), vrms.data(), static_cast<int>(rows.size()), held.data());
  EXPECT_EQ(held[0], 0);
  EXPECT_EQ(held[1], 49);
  EXPECT_EQ(held[2], 49);
  EXPECT_GE(held[3], 1);
  EXPECT_LT(held[3], 30);
  EXPECT_EQ(held[4], 0);
}

TEST(VelocityRevision, OfFunctionsSideBySideHasTheBitsOfEachAlone) {
  constexpr int lanes = solution::VelocityRevision::lanes;
  std::mt19937 random(33);
  std::uniform_real_distribution<float> velocity(1500.0f, 4000.0f), share(-1.0f, 1.0f), power(-1.0f, 6.0f);
  for (const int n : {1, 2, 63, 64, 65, 66, 128, 129, 200}) {  // blocks are of 64 samples
    for (const int count : {0, 1, 2, lanes - 1, lanes}) {
      Revision limited(n, 1.0f, 0.0f);
      if (count % 2 == 1) {
        limited.fsa = 1 + n / 5;
        limited.lsa = n - n / 7;
        limited.miniv = 1400, limited.maxiv = 5000, limited.minsv = 1600, limited.maxsv = 3500;
      }
      std::vector<Revision> together(count, limited);
      for (int l = 0; l < count; ++l) {
        const float start = velocity(random), slope = share(random), size = std::pow(10.0f, power(random));
        for (int k = 0; k < n; ++k) {
          if (l != 3) together[l].vrms[k] = start + 3.0f * slope * static_cast<float>(k) + 50.0f * share(random);
          together[l].dv[k] = random() % 50 == 0 ? nan : size * share(random);
        }
      }
      std::vector<Revision> alone = together;
      std::vector<float*> dv, vrms;
      for (Revision& revision : together) dv.push_back(revision.dv.data()), vrms.push_back(revision.vrms.data());
      std::vector<int> held(static_cast<std::size_t>(count));
      solution::VelocityRevision(n, limited.limits()).revise(dv.data(), vrms.data(), count, held.data());
      for (int l = 0; l < count; ++l) {
        SCOPED_TRACE(testing::Message() << n << " samples, function " << l << " of " << count);
        alone[l].run();
        EXPECT_EQ(support::bits(together[l].dv.values()), support::bits(alone[l].dv.values()));
        EXPECT_EQ(support::bits(together[l].vrms.values()), support::bits(alone[l].vrms.values()));
        EXPECT_TRUE(together[l].dv.fences_stand() && together[l].vrms.fences_stand());
      }
    }
  }
}

TEST(VelocitySmoothing, AveragesSquaredSlowness) {
  Trace velocities{1000, 2000, 4000, 2000, 1000}, scratch(5);
  solution::a_samodv(velocities.data(), scratch.data(), 5, 9);
  const double mean = (1.0 + 0.25 + 0.0625 + 0.25 + 1.0) / 5.0;
  EXPECT_FLOAT_EQ(velocities[2], static_cast<float>(1000.0 / std::sqrt(mean)));
  EXPECT_FLOAT_EQ(velocities[4], 1000.0f);
}

}  // namespace
