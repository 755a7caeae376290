#include "moveout/moveout.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "tests/support/fenced.h"

namespace {

using support::Fenced;
using Vector = std::vector<float>;

/// One trace of noise with its arrays, sample numbers from 1. With the unit offset and sample interval it starts with,
/// the input position of output sample i, counted from 0, is sqrt(sloth[i] + (i - 1)^2).
struct Trace {
  Trace(int n, int filter_length) : samples(n), taps(filter_length), last(n) {
    Vector acor(taps), ccor(taps), filter(taps), work(taps);
    moveout::a_mcofgn(taps, 0.8f, acor.data(), ccor.data(), filter.data(), work.data(), bank.data());
    std::mt19937 random(11);
    std::uniform_real_distribution<float> amplitude(-1.0f, 1.0f);
    for (int m = 1; m <= samples; ++m) input(m) = amplitude(random);
  }

  float& input(int m) { return padded[m - 1 + taps]; }
  void place(int i, double position) { sloth[i] = static_cast<float>(position * position - double(i - 1) * (i - 1)); }

  /// The filter of that column laid over input samples base + 1 .. base + taps.
  float filtered(int base, int column) {
    float sum = 0.0f;
    for (int j = 1; j <= taps; ++j) sum = bank[(column - 1) * taps + j - 1] * input(base + j) + sum;
    return sum;
  }

  void move_out() {
    const std::size_t n = last - first + 1;
    Fenced<float> trcoef(2 * taps * n), columns(n);
    int from = first, to = last;  // give the bounds and receive the accumulated range
    moveout::a_samvot(padded.data(), sloth.data(), bank.data(), out.data(), trcoef.data(), columns.data(), samples,
                      taps, from, to, offset, first_live, start, interval, from, to);
    EXPECT_TRUE(bank.fences_stand() && out.fences_stand() && trcoef.fences_stand() && columns.fences_stand());
    EXPECT_TRUE(from == first && to == last) << "every filter has a coefficient at its centre";
  }

  int samples, taps, first = 1, last, first_live = 1;
  float offset = 1.0f, start = 0.0f, interval = 1.0f;
  Vector padded = Vector(samples + 2 * taps, 0.0f), sloth = Vector(samples + 2, 0.0f);
  Fenced<float> bank{std::size_t(100 * taps)}, out{std::size_t(samples)};
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

TEST(Moveout, GivesTheBitsOfTheDefinitionAtEveryLengthAndTouchesOnlyTheSamplesAskedFor) {
  const unsigned seed = 12;
  SCOPED_TRACE(seed);
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> slowness(1e-7f, 4e-7f);
  for (const int taps : {2, 4, 6, 8, 10, 12}) {
    for (const int n : {1, 2, 15, 16, 17, 63, 64, 65, 127, 128, 129, 200}) {
      for (const float offset : {0.0f, 37.0f, 480.0f, 2900.0f}) {
        Trace trace(n, taps);
        trace.interval = 0.004f;
        trace.start = offset == 37.0f ? 0.4f : 0.0f;
        trace.offset = offset;
        trace.first_live = 1 + n / 8;
        trace.first = 1 + n / 16;
        trace.last = n - n / 16;
        for (float& s : trace.sloth) s = slowness(random);
        trace.sloth[1 + n / 2] = offset > 400.0f ? std::numeric_limits<float>::quiet_NaN() : 1.0e30f;
        trace.move_out();
        for (int i = 1; i <= n; ++i) {
          const float expected = i < trace.first || i > trace.last ? Fenced<float>::mark : defined(trace, i);
          ASSERT_EQ(trace.out[i - 1], expected) << taps << " taps, " << n << " samples, sample " << i;
        }
      }
    }
  }
}

TEST(Moveout, PositionsRoundToTheNearestHundredthOfASample) {
  Trace trace(40, 12);
  const double positions[] = {20.0, 20.004, 20.006, 20.014, 20.5, 20.506, 20.994, 20.996};
  const int bases[] = {14, 14, 15, 15, 15, 15, 15, 15}, columns[] = {100, 100, 1, 1, 50, 51, 99, 100};
  for (int i = 0; i < 8; ++i) trace.place(i + 1, positions[i]);
  trace.move_out();
  for (int i = 0; i < 8; ++i) EXPECT_EQ(trace.out[i], trace.filtered(bases[i], columns[i])) << positions[i];
  EXPECT_EQ(trace.out[0], trace.input(21)) << "a position on a sample is that sample";
}

}  // namespace
