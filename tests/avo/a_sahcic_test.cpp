#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "avo/avo.h"

namespace {

using avo::column;
namespace sums = avo::sums;

/// A trace, the earth it went through and the sums that it is added to.
struct Case {
  explicit Case(int samples) : n(samples), trace(samples, 1.0f), sloth(samples + 2, 0.25f), scratch(samples) {
    lin = lout = n;
  }

  void add() {
    s.resize(static_cast<std::size_t>(sums::count * (lout - fout + 1)));
    avo::a_sahcic(s.data(), trace.data(), sloth.data(), scratch.data(), sums::count, fin, lin, fout, lout, t0, 0.5f,
                  xoff, alim1, alim2, angfmt, weight);
  }
  float at(int k, int sample) const { return column(s.data(), lout - fout + 1, k)[sample - fout]; }

  int n;
  std::vector<float> trace, sloth, s;
  std::vector<double> scratch;
  int fin = 1, lin, fout = 1, lout, angfmt = 0;
  float t0 = 0.0f, xoff = 0.0f, alim1 = 0.0f, alim2 = 0.99f, weight = 1.0f;
};

TEST(AngleSums, HoldThePowersOfTheStraightRayAngleToTheLastBit) {
  const unsigned seed = 20240611;
  SCOPED_TRACE(seed);
  std::mt19937 random(seed);
  std::normal_distribution<float> amplitude;
  for (const int samples : {9, 37, 130, 131, 132, 133, 260, 403}) {
    const int rows = samples - 4, last = samples - 2;
    Case c(samples);
    c.fout = 3;
    c.lout = last;
    c.t0 = 0.1f;
    c.weight = 1.7f;
    std::vector<float> expected(static_cast<std::size_t>(sums::count * rows));
    for (const float offset : {0.3f, 1.1f, 2.9f}) {
      c.xoff = offset;
      for (float& d : c.trace) d = amplitude(random);
      for (float& slow : c.sloth) slow = 0.25f + 0.01f * amplitude(random);
      for (int i = 3; i <= last; ++i) {
        const float time = static_cast<float>(i - 1) * 0.5f + 0.1f, x2p = c.sloth[i] * (offset * offset);
        const double u = x2p / (time * time + x2p), u2 = u * u;
        const float d = c.trace[i - 1], wd = d * c.weight;
        const double wide[] = {
            0, wd * u, wd * u2, c.weight, c.weight * u, c.weight * u2, c.weight * (u * u2), c.weight * (u2 * u2)};
        const auto sum = [&](int k) -> float& { return column(expected.data(), rows, k)[i - 3]; };
        sum(sums::sy) += wd;
        for (int k = sums::sx2y; k <= sums::sx8; ++k) sum(k) = static_cast<float>(sum(k) + wide[k]);
        sum(sums::sy2) += d * wd;
      }
      c.fin = 1;
      c.lin = samples;
      c.add();
      EXPECT_EQ(c.fin, 3);
      EXPECT_EQ(c.lin, last);
    }
    EXPECT_EQ(c.s, expected) << samples;
  }
}

TEST(AngleSums, SkipMutedEndsAndCountZerosBetweenWithFullWeight) {
  Case c(8);
  c.trace = {0.0f, 0.0f, 3.0f, 0.0f, std::numeric_limits<float>::quiet_NaN(), 2.0f, 0.0f, 0.0f};
  c.add();
  EXPECT_EQ(c.fin, 3);
  EXPECT_EQ(c.lin, 6);
  EXPECT_EQ(c.at(sums::sx0, 2), 0.0f);
  EXPECT_EQ(c.at(sums::sx0, 4), 1.0f);
  EXPECT_EQ(c.at(sums::sy, 4), 0.0f);
  EXPECT_TRUE(std::isnan(c.at(sums::sy, 5)));
  EXPECT_EQ(c.at(sums::sx0, 7), 0.0f);

  Case muteBeginsWithNan(4);
  muteBeginsWithNan.trace = {0.0f, std::numeric_limits<float>::quiet_NaN(), 1.0f, 0.0f};
  muteBeginsWithNan.add();
  EXPECT_EQ(muteBeginsWithNan.fin, 2);
}

TEST(AngleSums, TakeNothingFromATraceWithoutLiveSamples) {
  Case dead(6);
  std::fill(dead.trace.begin(), dead.trace.end(), 0.0f);
  dead.add();
  Case crossed(6);
  crossed.fin = 5;
  crossed.lin = 4;
  crossed.add();
  Case tooSteep(6);
  tooSteep.xoff = 1.0e6f;
  tooSteep.alim2 = 0.5f;
  tooSteep.add();
  for (const Case* c : {&dead, &crossed, &tooSteep}) {
    EXPECT_EQ(c->fin, 0);
    EXPECT_EQ(c->lin, -1);
    EXPECT_EQ(c->s, std::vector<float>(c->s.size(), 0.0f));
  }
}

TEST(AngleSums, KeepOnlyTheFirstRunOfAcceptedAngles) {
  Case c(10);
  c.xoff = 2.0f;
  c.alim1 = 0.1f;
  c.alim2 = 0.5f;
  // A quarter of the squared offset is 1, so that x^2 = 1 / (t^2 + 1): accepted at t from 1 s to 3 s.
  c.sloth[5] = 100.0f;
  c.add();
  EXPECT_EQ(c.fin, 3);
  EXPECT_EQ(c.lin, 4);
  EXPECT_EQ(c.at(sums::sx0, 6), 0.0f);
  EXPECT_EQ(c.at(sums::sx2, 3), 0.5f);
}

TEST(AngleSums, TakeTimeZeroForGrazingIncidence) {
  Case limited(4);
  limited.add();
  EXPECT_EQ(limited.fin, 2);

  Case open(4);
  open.alim2 = 1.0f;
  open.weight = 2.0f;
  open.trace[0] = 3.0f;
  open.add();
  EXPECT_EQ(open.fin, 1);
  EXPECT_EQ(open.at(sums::sx8, 1), 2.0f);
  EXPECT_EQ(open.at(sums::sx4y, 1), 6.0f);
  EXPECT_EQ(open.at(sums::sy2, 1), 18.0f);
  // Zero offset: the angle sums of the later samples stay zero.
  EXPECT_EQ(open.at(sums::sx0, 2), 2.0f);
  EXPECT_EQ(open.at(sums::sx2, 2), 0.0f);
}

TEST(AngleSums, TakeOneAngleForTheWholeTraceInTheAngleForm) {
  Case c(5);
  c.angfmt = 1;
  c.xoff = 30.0f;
  c.add();
  EXPECT_EQ(c.fin, 1);
  EXPECT_EQ(c.lin, 5);
  EXPECT_FLOAT_EQ(c.at(sums::sx2, 1), 0.25f);
  EXPECT_FLOAT_EQ(c.at(sums::sx8, 5), 0.00390625f);

  for (const int lin : {5, 2}) {
    Case outside(5);
    outside.angfmt = 1;
    outside.xoff = 85.0f;
    outside.fin = 2;
    outside.lin = lin;
    outside.add();
    EXPECT_EQ(outside.fin, lin == 5 ? 5 : 0);
    EXPECT_EQ(outside.lin, lin == 5 ? 2 : -1);
    EXPECT_EQ(outside.s, std::vector<float>(outside.s.size(), 0.0f));
  }
}

TEST(AngleSums, AcceptOneVariableForTheRangeOfSamplesAndOfRows) {
  Case c(6);
  c.add();
  std::vector<float> s(c.s.size());
  int from = 1, to = 6;
  avo::a_sahcic(s.data(), c.trace.data(), c.sloth.data(), c.scratch.data(), sums::count, from, to, from, to, c.t0, 0.5f,
                c.xoff, c.alim1, c.alim2, c.angfmt, c.weight);
  EXPECT_EQ(s, c.s);
  EXPECT_EQ(from, 2);
}

}  // namespace
