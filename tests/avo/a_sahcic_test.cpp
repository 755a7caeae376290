#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "avo/avo.h"

namespace {

using avo::column;
namespace sums = avo::sums;

/// A trace, the earth it went through and the sums that it is added to.
struct Case {
  explicit Case(int samples) : n(samples), trace(samples, 1.0f), sloth(samples + 2, 0.25f), scratch(samples) {}

  void add() {
    s.resize(static_cast<std::size_t>(sums::count * (lout - fout + 1)));
    avo::a_sahcic(s.data(), trace.data(), sloth.data(), scratch.data(), sums::count, fin, lin, fout, lout, t0, 0.5f,
                  xoff, alim1, alim2, angfmt, weight);
  }
  float at(int k, int sample) const { return column(s.data(), lout - fout + 1, k)[sample - fout]; }

  int n;
  std::vector<float> trace, sloth, s;
  std::vector<double> scratch;
  int fin = 1, lin = n, fout = 1, lout = n, angfmt = 0;
  float t0 = 0.0f, xoff = 0.0f, alim1 = 0.0f, alim2 = 0.99f, weight = 1.0f;
};

TEST(AngleSums, HoldThePowersOfTheStraightRayAngleBetweenTheMutesToTheLastBit) {
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
      std::fill_n(c.trace.begin(), 4, 0.0f);
      c.trace[6] = 0.0f;  // between live samples: counts with its full weight
      for (float& slow : c.sloth) slow = 0.25f + 0.01f * amplitude(random);
      for (int i = 5; i <= last; ++i) {
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
      EXPECT_TRUE(c.fin == 5 && c.lin == last);
    }
    EXPECT_EQ(c.s, expected) << samples;
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
  EXPECT_TRUE(c.fin == 3 && c.lin == 4);
  EXPECT_TRUE(c.at(sums::sx0, 6) == 0.0f && c.at(sums::sx2, 3) == 0.5f);
}

TEST(AngleSums, TakeOneAngleForTheWholeTraceInTheAngleForm) {
  Case c(5);
  c.angfmt = 1;
  c.xoff = 30.0f;
  c.add();
  EXPECT_FLOAT_EQ(c.at(sums::sx2, 1), 0.25f);
  EXPECT_FLOAT_EQ(c.at(sums::sx8, 5), 0.00390625f);
}

}  // namespace
