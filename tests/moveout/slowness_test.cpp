#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "moveout/moveout.h"
#include "tests/support/fenced.h"

namespace {

using support::Fenced;
using Vector = std::vector<float>;

struct Smoothed {
  Vector in_place, contiguous;
};

Smoothed smooth(const Vector& series, int half_length) {
  Fenced<float> x(series.size()), y(series.size());
  std::copy(series.begin(), series.end(), x.data());
  moveout::a_masmth(static_cast<int>(series.size()), 1, 1, x.data(), y.data(), half_length);
  EXPECT_TRUE(x.fences_stand() && y.fences_stand());
  return {x.values(), y.values()};
}

TEST(RunningMean, WindowsShrinkTowardsTheEnds) {
  const struct {
    Vector series;
    int half_length;
    Vector mean;
  } cases[] = {
      {{1, 2, 3, 4, 5}, 1, {1, 2, 3, 4, 5}},
      {{0, 0, 9, 0, 0, 0, 0}, 2, {0, 3, 9.0f / 5, 9.0f / 5, 9.0f / 5, 0, 0}},
      {{3, 6, 12, 27}, 5, {3, 7, 15, 27}},             // no interior
      {{5, 0, 10, 1, 9}, 9, {5, 5, 5, 20.0f / 3, 9}},  // one interior value
      {{8, 2}, 3, {8, 2}},
      {{8, 2, 7}, 0, {8, 2, 7}},
      {{8, 2, 7}, -4, {8, 2, 7}},
      {{6}, 3, {6}},
  };
  for (const auto& c : cases) {
    const Smoothed result = smooth(c.series, c.half_length);
    EXPECT_EQ(result.in_place, c.mean) << c.series.size() << " values, half-length " << c.half_length;
    EXPECT_EQ(result.contiguous, c.mean) << c.series.size() << " values, half-length " << c.half_length;
  }
}

TEST(RunningMean, EqualsTheWindowSumRoundedAndThenDivided) {
  const unsigned seed = 20240611;
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> velocity(1500.0f, 4000.0f);  // sums of these are exact in double precision
  for (int n = 1; n <= 70; ++n) {
    Vector series(n);
    for (float& v : series) v = velocity(random);
    for (const int l : {1, 2, 5, 16, 34, 100}) {
      Vector mean(n);
      for (int k = 0; k < n; ++k) {
        const int h = std::min({l, n / 2, k, n - 1 - k});
        double sum = 0.0;
        for (int i = k - h; i <= k + h; ++i) sum += series[i];
        mean[k] = static_cast<float>(sum) / static_cast<float>(2 * h + 1);
      }
      EXPECT_EQ(smooth(series, l).in_place, mean) << n << " values, half-length " << l;
    }
  }
}

TEST(RunningMean, TheValueEnteringTheWindowIsAddedBeforeTheOneLeavingIsTakenOff) {
  const float large = 0x1p53f;  // absorbs a one in double precision
  EXPECT_EQ(smooth({large, 1, 1, 1}, 1).in_place, (Vector{large, large / 3, 0, 1}));
}

TEST(RunningMean, ARowOfAMatrixIsSmoothedWithoutTouchingTheOthers) {
  const int rows = 3, columns = 5;
  const Vector row = {0, 9, 0, 3, 6};
  Fenced<float> matrix(rows * columns), scratch(columns);
  for (int k = 0; k < columns; ++k) matrix[1 + k * rows] = row[k];
  moveout::a_masmth(columns, rows, 2, matrix.data(), scratch.data(), 1);
  const Vector mean = {0, 3, 4, 3, 6};
  EXPECT_EQ(scratch.values(), mean);
  for (int k = 0; k < columns; ++k) {
    EXPECT_EQ(matrix[0 + k * rows], matrix.mark);
    EXPECT_EQ(matrix[1 + k * rows], mean[k]);
    EXPECT_EQ(matrix[2 + k * rows], matrix.mark);
  }
  EXPECT_TRUE(matrix.fences_stand() && scratch.fences_stand());
}

struct Slowness {
  explicit Slowness(std::size_t samples) : sloth(samples + 2), slothi(samples + 2) {}
  Fenced<float> sloth, slothi;
  int ier = -1;
};

Slowness convert(const Vector& velocities, int half_length, float increment) {
  Slowness s(velocities.size());
  moveout::a_savelc(velocities.data(), s.sloth.data(), s.slothi.data(), static_cast<int>(velocities.size()),
                    half_length, increment, s.ier);
  EXPECT_TRUE(s.sloth.fences_stand() && s.slothi.fences_stand());
  return s;
}

TEST(SquaredSlowness, GuardValuesRepeatTheEndsAndTakePartInTheSmoothing) {
  const float a = 1.0f / (1500.0f * 1500.0f), b = 1.0f / (2500.0f * 2500.0f), c = 1.0f / (4500.0f * 4500.0f);
  const Slowness raw = convert({1000, 2000, 4000}, 0, 500.0f);
  EXPECT_EQ(raw.ier, 0);
  EXPECT_EQ(raw.sloth.values(), (Vector{a, a, b, c, c}));
  EXPECT_EQ(raw.slothi.values(), raw.sloth.values());

  const auto mean = [](double x, double y, double z) { return static_cast<float>(x + y + z) / 3.0f; };
  const Slowness smoothed = convert({1000, 2000, 4000}, 1, 500.0f);
  EXPECT_EQ(smoothed.sloth.values(), (Vector{a, mean(a, a, b), mean(a, b, c), mean(b, c, c), c}));
  EXPECT_EQ(smoothed.slothi.values(), smoothed.sloth.values());

  EXPECT_EQ(convert({2000}, 7, 0.0f).sloth.values(), Vector(3, 1.0f / 4.0e6f));
}

TEST(SquaredSlowness, TheFirstVelocityThatIsNotPositiveIsNamedAndNothingIsWritten) {
  const struct {
    Vector velocities;
    int at;
  } cases[] = {{{2000, 0, 3000}, 2}, {{-1, 2000, 0}, 1}, {{1500, 2000, -0.0f}, 3}};
  for (const auto& c : cases) {
    const Slowness s = convert(c.velocities, 1, 100.0f);
    EXPECT_EQ(s.ier, c.at);
    EXPECT_TRUE(s.sloth.untouched() && s.slothi.untouched());
  }
}

TEST(SquaredSlowness, TheSampleCountMayShareItsVariableWithTheCode) {
  const Vector velocities = {1000, 2000, 4000};
  Fenced<float> sloth(5), slothi(5);
  int n = 3;
  moveout::a_savelc(velocities.data(), sloth.data(), slothi.data(), n, 1, 0.0f, n);
  EXPECT_EQ(n, 0);
  EXPECT_EQ(sloth.values(), convert(velocities, 1, 0.0f).sloth.values());
}

}  // namespace
