#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <vector>

#include "avo/avo.h"

namespace {

using avo::column;
namespace sums = avo::sums;

/// A two-term fit, with sums in which every solved coefficient is 1.
struct Solve {
  explicit Solve(int samples) : n(samples), s(sums::count * samples), out(3 * samples, 1.0f), last(samples) {
    for (int i = 1; i <= n; ++i) {
      sum(sums::sx0, i) = sum(sums::sy, i) = 4.0f;
      sum(sums::sx4, i) = sum(sums::sx2y, i) = 1.0f;
    }
  }

  float& sum(int k, int i) { return column(s.data(), n, k)[i - 1]; }
  float result(int stage, int i) const { return column(out.data(), n, stage - 1)[i - 1]; }
  void run(int stages, int taper, double avop) {
    avo::a_matv(s.data(), out.data(), num.data(), nd.data(), n, first, last, stages, sums::count, taper, avop);
  }

  int n;
  std::vector<float> s, out;
  std::array<int, 9> num = {4, 3, 1, 3, 2, 1, 1, 1, 1};  // cofactors by right-hand side and stage
  std::array<int, 3> nd = {2, 2, 0};
  int first = 1, last;
};

TEST(CofactorSolve, RoundsOncePerCoefficientInTheStatedOrder) {
  Solve c(1);
  c.num = {10, 9, 7, 9, 8, 6, 7, 6, 5};
  c.nd = {3, 3, 3};
  c.s = {1, 1, 1, 9, 1, 4, 2, 3, 0};
  c.run(3, 0, 0.5);
  // s4p = 2; t5 = 35, t6 = -16, t7 = -6, t8 = 23, t9 = 1, t10 = 8; d3 = 105 - 32 - 24 + 12 = 61.
  EXPECT_EQ(c.out, (std::vector<float>{3.0f / 61.0f, 8.0f / 61.0f, 13.0f / 61.0f}));
}

TEST(CofactorSolve, TrimsEndsByRoundedFoldAndSolvesInnerSamplesWhateverTheirs) {
  Solve c(7);
  c.nd = {1, 2, 0};
  c.sum(sums::sx0, 1) = 1.49f;
  c.sum(sums::sx0, 2) = 1.5f;
  c.sum(sums::sx0, 4) = 0.25f;
  c.sum(sums::sx4, 5) = c.sum(sums::sx0, 5) = 0.0f;
  c.sum(sums::sx0, 7) = std::numeric_limits<float>::quiet_NaN();
  c.run(1, 0, 0.0);
  EXPECT_TRUE(c.first == 2 && c.last == 6) << c.first << " to " << c.last;
  EXPECT_EQ(c.result(1, 4), 16.0f);
  EXPECT_EQ(c.result(1, 5), 0.0f) << "the determinant does not exceed its limit";
  EXPECT_TRUE(c.result(1, 1) == 1.0f && c.result(1, 7) == 1.0f) << "trimmed rows keep their value";
  EXPECT_EQ(c.result(2, 4), 1.0f) << "columns of other stages keep their value";
}

TEST(CofactorSolve, TapersBothEndsWithRampsThatMayOverlapAndReachBeyondTheRange) {
  Solve c(8);
  for (const int i : {1, 7, 8}) c.sum(sums::sx0, i) = 0.0f;
  c.run(2, 8, 0.0);
  const float expected[] = {6 / 8.0f, 0.0f, 4 / 64.0f, 6 / 64.0f, 6 / 64.0f, 4 / 64.0f, 5 / 8.0f, 6 / 8.0f};
  for (int stage = 1; stage <= 2; ++stage)
    for (int i = 1; i <= 8; ++i) EXPECT_EQ(c.result(stage, i), expected[i - 1]) << i;
}

TEST(ResidualEnergy, IsWhatTheFitLeavesAndNeverNegative) {
  const float s[] = {3, 3, 1.5f, 1.5f, 0.25f, 0.25f, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 10, 8};
  float out[] = {2, 2, 2, 2, 2, 2};
  avo::a_avoe(s, out, 2, 1, 2, sums::count, 3, 3);
  EXPECT_EQ(out[4], 0.5f);
  EXPECT_EQ(out[5], 0.0f);
}

}  // namespace
