#include "moveout/moveout.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

#include "tests/support/fenced.h"

namespace {

using support::Fenced;
using Vector = std::vector<float>;

/// One trace with its arrays, sample numbers from 1. With the unit offset and sample interval it starts with, the input
/// position of output sample i, counted from 0, is sqrt(sloth[i] + (i - 1)^2).
struct Trace {
  Trace(int n, int filter_length)
      : samples(n),
        taps(filter_length),
        last(n),
        padded(n + 2 * taps, 0.0f),
        sloth(n + 2, 0.0f),
        bank(100 * taps),
        out(n) {
    Vector acor(taps), ccor(taps), filter(taps), work(taps);
    moveout::a_mcofgn(taps, 0.8f, acor.data(), ccor.data(), filter.data(), work.data(), bank.data());
  }

  float& input(int m) { return padded[m - 1 + taps]; }
  float output(int i) const { return out[i - 1]; }
  float coefficient(int tap, int column) const { return bank[(column - 1) * taps + tap - 1]; }
  void place(int i, double position) { sloth[i] = static_cast<float>(position * position - double(i - 1) * (i - 1)); }

  /// The filter of that column laid over input samples base + 1 .. base + taps.
  float filtered(int base, int column) {
    float sum = 0.0f;
    for (int j = 1; j <= taps; ++j) sum = coefficient(j, column) * input(base + j) + sum;
    return sum;
  }

  void randomise() {
    std::mt19937 random(11);
    std::uniform_real_distribution<float> amplitude(-1.0f, 1.0f);
    for (int m = 1; m <= samples; ++m) input(m) = amplitude(random);
  }

  void move_out() {
    const std::size_t n = last >= first ? last - first + 1 : 0;
    Fenced<float> trcoef(2 * taps * n), columns(n);
    moveout::a_samvot(padded.data(), sloth.data(), bank.data(), out.data(), trcoef.data(), columns.data(), samples,
                      taps, first, last, offset, first_live, start, interval, range_first, range_last);
    EXPECT_TRUE(bank.fences_stand() && out.fences_stand() && trcoef.fences_stand() && columns.fences_stand());
  }

  int samples, taps, first = 1, last, first_live = 1;
  float offset = 1.0f, start = 0.0f, interval = 1.0f;
  Vector padded, sloth;
  Fenced<float> bank, out;
  int range_first = -1, range_last = -1;
};

/// Output sample i by the definition.
float defined(Trace& trace, int i) {
  const float x2 = trace.offset * trace.offset;
  const float t = static_cast<float>(i - 1) * trace.interval + trace.start;
  const float u = std::sqrt(trace.sloth[i] * x2 + t * t);
  const float position = ((u - trace.start) / trace.interval - static_cast<float>(trace.taps / 2)) + 0.495f;
  const float base = std::floor(position + 0.5f);
  if (!(base < static_cast<float>(trace.samples) && base > static_cast<float>(trace.first_live - trace.taps))) return 0;
  const float column = (position - base) * 100.0f + 51.0f;
  return trace.filtered(static_cast<int>(base), static_cast<int>(std::clamp(column, 1.0f, 100.0f)));
}

TEST(Moveout, GivesTheBitsOfTheDefinitionAtEveryLength) {
  const unsigned seed = 12;
  SCOPED_TRACE(seed);
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> slowness(1e-7f, 4e-7f);
  for (const int taps : {2, 4, 6, 8, 10, 12}) {
    for (const int n : {1, 2, 15, 16, 17, 63, 64, 65, 127, 128, 129, 200}) {
      Trace trace(n, taps);
      trace.randomise();
      trace.interval = 0.004f;
      for (float& s : trace.sloth) s = slowness(random);
      for (const float offset : {0.0f, 37.0f, 480.0f, 2900.0f}) {
        trace.offset = offset;
        trace.first = 1;
        trace.last = n;
        trace.move_out();
        for (int i = 1; i <= n; ++i)
          ASSERT_EQ(trace.output(i), defined(trace, i)) << taps << " taps, " << n << ", " << i;
      }
    }
  }
}

TEST(Moveout, AtZeroOffsetIsTheIdentity) {
  for (const int taps : {4, 8, 10, 12}) {
    for (const float interval : {0.004f, 0.003f, 0.002f, 0.001f}) {
      Trace trace(1501, taps);
      trace.randomise();
      trace.offset = 0.0f;
      trace.interval = interval;
      for (float& s : trace.sloth) s = 2.5e-7f;
      trace.move_out();
      for (int i = 1; i <= trace.samples; ++i) ASSERT_EQ(trace.output(i), trace.input(i)) << taps << " taps, " << i;
      EXPECT_EQ(trace.range_first, 1);
      EXPECT_EQ(trace.range_last, trace.samples);
    }
  }
}

TEST(Moveout, ASinusoidIsReadWhereTheHyperbolaSays) {
  for (const float start : {0.0f, 0.4f}) {
    Trace trace(1000, 12);
    trace.interval = 0.004f;
    trace.start = start;
    trace.offset = 1200.0f;
    const double velocity = 2200.0, omega = 2.0 * std::numbers::pi * 20.0;
    for (float& s : trace.sloth) s = static_cast<float>(1.0 / (velocity * velocity));
    for (int m = 1; m <= trace.samples; ++m) {
      trace.input(m) = static_cast<float>(std::sin(omega * (start + 0.004 * (m - 1))));
    }
    trace.move_out();
    const double end = start + 0.004 * (trace.samples - 8);
    for (int i = 1; i <= trace.samples; ++i) {
      const double time = std::hypot(start + 0.004 * (i - 1), 1200.0 / velocity);
      if (time >= end) break;
      // half a hundredth of a sample moves a 20 Hz sinusoid by 0.0025 at its steepest
      EXPECT_NEAR(trace.output(i), std::sin(omega * time), 0.005) << "sample " << i;
    }
  }
}

TEST(Moveout, PositionsRoundToTheNearestHundredthOfASample) {
  Trace trace(40, 12);
  trace.randomise();
  const int q = 20;
  const struct {
    double fraction;
    int base;
    int column;
  } cases[] = {{0.0, q - 6, 100},  {0.004, q - 6, 100}, {0.006, q - 5, 1},  {0.014, q - 5, 1},  {0.016, q - 5, 2},
               {0.254, q - 5, 25}, {0.496, q - 5, 50},  {0.5, q - 5, 50},   {0.504, q - 5, 50}, {0.506, q - 5, 51},
               {0.984, q - 5, 98}, {0.994, q - 5, 99},  {0.996, q - 5, 100}};
  int i = 1;
  for (const auto& c : cases) trace.place(i++, q + c.fraction);
  trace.move_out();
  i = 1;
  for (const auto& c : cases) EXPECT_EQ(trace.output(i++), trace.filtered(c.base, c.column)) << c.fraction;
  EXPECT_EQ(trace.output(1), trace.input(q + 1));
  EXPECT_EQ(trace.output(13), trace.input(q + 2));
}

TEST(Moveout, AFilterThatStartsBehindTheTraceGivesZeroAndOneThatOverlapsTheEndReadsZeros) {
  const int n = 30, taps = 4;
  Trace trace(n, taps);
  for (int m = 1; m <= n; ++m) trace.input(m) = 1.0f;
  trace.place(1, n - 2.5);  // base n - 4: all taps on the trace
  trace.place(2, n - 0.5);  // base n - 2: two taps on it
  trace.place(3, n + 0.5);  // base n - 1: one tap on it
  trace.place(4, n + 1.5);  // base n
  trace.place(5, n + 4.5);  // beyond the padding, had it been read
  trace.place(6, 1.0e6);
  trace.sloth[7] = std::numeric_limits<float>::infinity();
  trace.sloth[8] = std::numeric_limits<float>::quiet_NaN();
  trace.move_out();
  EXPECT_EQ(trace.output(1), trace.filtered(n - 4, 50));
  EXPECT_EQ(trace.output(2), trace.coefficient(2, 50) + trace.coefficient(1, 50));
  EXPECT_EQ(trace.output(3), trace.coefficient(1, 50));
  for (int i = 4; i <= 8; ++i) EXPECT_EQ(trace.output(i), 0.0f) << "sample " << i;
}

TEST(Moveout, AFilterThatEndsAtOrBeforeTheFirstLiveSampleGivesZero) {
  Trace trace(30, 4);
  trace.randomise();
  trace.place(1, 0.5);  // base -1: two taps before the trace
  trace.place(2, 1.5);  // base 0
  trace.move_out();
  EXPECT_EQ(trace.output(1), trace.coefficient(4, 50) * trace.input(3) + (trace.coefficient(3, 50) * trace.input(2) +
                                                                          trace.coefficient(2, 50) * trace.input(1)));
  EXPECT_EQ(trace.output(2), trace.filtered(0, 50));

  trace.first_live = 5;
  trace.place(1, 2.5);  // base 1: the last tap lies on sample 5
  trace.place(2, 3.5);  // base 2: the last tap lies behind it
  trace.move_out();
  EXPECT_EQ(trace.output(1), 0.0f);
  EXPECT_EQ(trace.output(2), trace.filtered(2, 50));
}

TEST(Moveout, OnlyTheSamplesAskedForAreTouched) {
  Trace whole(50, 8), part(50, 8);
  for (Trace* trace : {&whole, &part}) {
    trace->randomise();
    for (int i = 1; i <= 50; ++i) trace->place(i, i + 0.37);
  }
  part.first = 11;
  part.last = 33;
  whole.move_out();
  part.move_out();
  for (int i = 1; i <= 50; ++i) {
    EXPECT_EQ(part.output(i), i >= 11 && i <= 33 ? whole.output(i) : Fenced<float>::mark) << "sample " << i;
  }
  EXPECT_EQ(part.range_first, 11);
  EXPECT_EQ(part.range_last, 33);
}

TEST(Moveout, AnEmptyRangeWritesTheImpulseColumnAlone) {
  for (const int taps : {4, 12}) {
    Trace trace(20, taps);
    trace.first = 6;
    trace.last = 5;
    trace.move_out();
    EXPECT_EQ(trace.range_first, 0);
    EXPECT_EQ(trace.range_last, 0);
    EXPECT_TRUE(trace.out.untouched());
    for (int j = 1; j <= taps; ++j) EXPECT_EQ(trace.coefficient(j, 100), j == taps / 2 + 1 ? 1.0f : 0.0f);
  }
}

TEST(Moveout, TheAccumulatedRangeIsBoundedByTheFirstAndLastFilterWithACentreCoefficient) {
  Trace trace(20, 4);
  trace.randomise();
  for (int k = 1; k <= 99; ++k) trace.bank[(k - 1) * 4 + 2] = 0.0f;
  for (int i = 1; i <= 20; ++i) trace.place(i, i == 5 || i == 9 ? i - 1.0 : i - 0.5);
  trace.move_out();
  EXPECT_EQ(trace.range_first, 5);
  EXPECT_EQ(trace.range_last, 9);
  for (int i = 1; i <= 20; ++i) {
    const float expected = i < 5 || i > 9 ? 0.0f : i == 5 || i == 9 ? trace.input(i) : trace.filtered(i - 2, 50);
    EXPECT_EQ(trace.output(i), expected) << "sample " << i;
  }

  for (int i = 1; i <= 20; ++i) trace.place(i, i - 0.5);
  trace.move_out();
  EXPECT_EQ(trace.range_first, 20);
  EXPECT_EQ(trace.range_last, 1);
  for (int i = 1; i <= 20; ++i) EXPECT_EQ(trace.output(i), 0.0f);
}

TEST(Moveout, OneVariableMayGiveTheBoundsAndReceiveTheRange) {
  Trace apart(60, 12), shared(60, 12);
  for (Trace* trace : {&apart, &shared}) {
    trace->randomise();
    for (int i = 1; i <= 60; ++i) trace->place(i, i + 0.61);
    trace->first = trace->first_live = 9;
    trace->last = 48;
  }
  apart.move_out();
  int first = 9, last = 48;
  Vector trcoef(2 * 12 * 40), columns(40);
  moveout::a_samvot(shared.padded.data(), shared.sloth.data(), shared.bank.data(), shared.out.data(), trcoef.data(),
                    columns.data(), 60, 12, first, last, 1.0f, first, 0.0f, 1.0f, first, last);
  EXPECT_EQ(shared.out.values(), apart.out.values());
  EXPECT_EQ(first, 9);
  EXPECT_EQ(last, 48);
}

}  // namespace
