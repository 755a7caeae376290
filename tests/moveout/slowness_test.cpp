#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "moveout/moveout.h"
#include "tests/support/fenced.h"

namespace {

using support::Fenced;
using Vector = std::vector<float>;

/// The running mean of a series that is the second row of a matrix with three.
Vector smooth(const Vector& series, int half_length) {
  const int n = static_cast<int>(series.size());
  Fenced<float> matrix(3 * series.size()), mean(series.size());
  for (int k = 0; k < n; ++k) matrix[1 + 3 * k] = series[k];
  moveout::a_masmth(n, 3, 2, matrix.data(), mean.data(), half_length);
  for (int k = 0; k < n; ++k) {
    EXPECT_EQ(matrix[1 + 3 * k], mean[k]);
    EXPECT_TRUE(matrix[3 * k] == matrix.mark && matrix[2 + 3 * k] == matrix.mark);
  }
  EXPECT_TRUE(matrix.fences_stand() && mean.fences_stand());
  return mean.values();
}

TEST(RunningMean, EqualsTheSumOverAWindowThatShrinksTowardsTheEndsRoundedAndThenDivided) {
  const unsigned seed = 20240611;
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> velocity(1500.0f, 4000.0f);  // sums of these are exact in double precision
  for (int n = 1; n <= 70; ++n) {
    Vector series(n), mean(n);
    for (float& v : series) v = velocity(random);
    for (const int l : {-4, 0, 1, 2, 5, 16, 34, 100}) {
      for (int k = 0; k < n; ++k) {
        const int h = std::max(0, std::min({l, n / 2, k, n - 1 - k}));
        double sum = 0.0;
        for (int i = k - h; i <= k + h; ++i) sum += series[i];
        mean[k] = static_cast<float>(sum) / static_cast<float>(2 * h + 1);
      }
      EXPECT_EQ(smooth(series, l), mean) << n << " values, half-length " << l;
    }
  }
}

TEST(SquaredSlowness, GuardValuesRepeatTheEndsAndTakePartInTheSmoothing) {
  const float velocities[] = {1000, 2000, 4000};
  const float a = 1.0f / (1500.0f * 1500.0f), b = 1.0f / (2500.0f * 2500.0f), c = 1.0f / (4500.0f * 4500.0f);
  Fenced<float> sloth(5), slothi(5);
  int samples_and_code = 3;
  moveout::a_savelc(velocities, sloth.data(), slothi.data(), samples_and_code, 1, 500.0f, samples_and_code);
  EXPECT_EQ(samples_and_code, 0);
  EXPECT_EQ(sloth.values(), smooth({a, a, b, c, c}, 1));
  EXPECT_EQ(slothi.values(), sloth.values());
  EXPECT_TRUE(sloth.fences_stand() && slothi.fences_stand());
}

TEST(SquaredSlowness, TheFirstVelocityThatIsNotPositiveIsNamedAndNothingIsWritten) {
  const float velocities[] = {2000, -0.0f, 3000, -1};
  Fenced<float> sloth(6), slothi(6);
  int ier = -1;
  moveout::a_savelc(velocities, sloth.data(), slothi.data(), 4, 1, 100.0f, ier);
  EXPECT_EQ(ier, 2);
  EXPECT_TRUE(sloth.untouched() && slothi.untouched());
}

}  // namespace
