#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "avo/avo.h"

namespace {

using avo::column;
namespace sums = avo::sums;

// Cofactor and determinant selections, by right-hand side and stage: three-term A, B and C; two-term A and B.
constexpr std::array<int, 9> threeTerms = {10, 9, 7, 9, 8, 6, 7, 6, 5}, twoTerms = {4, 3, 1, 3, 2, 1, 1, 1, 1};

struct Solve {
  explicit Solve(int samples) : n(samples), s(sums::count * samples), out(3 * samples, 1.0f), last(samples) {}

  float& sum(int k, int i) { return column(s.data(), n, k)[i - 1]; }
  float result(int stage, int i) const { return column(out.data(), n, stage - 1)[i - 1]; }
  void run(int stages, int taper, double avop) {
    avo::a_matv(s.data(), out.data(), num.data(), nd.data(), n, first, last, stages, sums::count, taper, avop);
  }
  /// Sums in which every solved coefficient of the two-term fit is 1.
  void unitSample(int i) {
    sum(sums::sx0, i) = 4.0f;
    sum(sums::sx4, i) = 1.0f;
    sum(sums::sy, i) = 4.0f;
    sum(sums::sx2y, i) = 1.0f;
  }

  int n;
  std::vector<float> s, out;
  std::array<int, 9> num = threeTerms;
  std::array<int, 3> nd = {3, 3, 3};
  int first = 1, last;
};

/// Solution of the leading rank x rank system by elimination with pivoting.
std::array<long double, 3> dense(std::array<std::array<long double, 4>, 3> m, int rank) {
  for (int p = 0; p < rank; ++p) {
    int pivot = p;
    for (int r = p + 1; r < rank; ++r)
      if (std::abs(m[r][p]) > std::abs(m[pivot][p])) pivot = r;
    std::swap(m[p], m[pivot]);
    for (int r = 0; r < rank; ++r) {
      if (r == p) continue;
      const long double factor = m[r][p] / m[p][p];
      for (int c = 0; c < 4; ++c) m[r][c] -= factor * m[p][c];
    }
  }
  std::array<long double, 3> x{};
  for (int p = 0; p < rank; ++p) x[p] = m[p][3] / m[p][p];
  return x;
}

TEST(CofactorSolve, AgreesWithADenseSolutionOfTheDampedSystem) {
  const unsigned seed = 1985;
  SCOPED_TRACE(seed);
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> sin2(0.0f, 0.6f), amplitude(-1.0f, 1.0f);
  const double avop = 0.01 / 1.01;
  Solve three(50), two(50);
  for (int i = 1; i <= 50; ++i) {
    for (int trace = 0; trace < 12; ++trace) {
      const float u = sin2(random), d = amplitude(random);
      const float terms[] = {d, d * u, d * u * u, 1.0f, u, u * u, u * u * u, u * u * u * u};
      for (int k = sums::sy; k <= sums::sx8; ++k) three.sum(k, i) += terms[k];
    }
    for (const int k : {sums::sx8, sums::sx4, sums::sx0}) three.sum(k, i) += 0.01f * three.sum(sums::sx0, i);
  }
  two.s = three.s;
  two.num = twoTerms;
  two.nd = {2, 2, 0};
  three.run(3, 0, avop);
  two.run(3, 0, avop);
  for (int i = 1; i <= 50; ++i) {
    const auto sum = [&](int k) -> long double { return three.sum(k, i); };
    const long double corner = sum(sums::sx4) - avop * sum(sums::sx4);
    const std::array<std::array<long double, 4>, 3> m = {
        {{sum(sums::sx0), sum(sums::sx2), corner, sum(sums::sy)},
         {sum(sums::sx2), sum(sums::sx4), sum(sums::sx6), sum(sums::sx2y)},
         {corner, sum(sums::sx6), sum(sums::sx8), sum(sums::sx4y)}}};
    const auto x3 = dense(m, 3), x2 = dense(m, 2);
    for (int stage = 1; stage <= 3; ++stage) {
      EXPECT_NEAR(three.result(stage, i), x3[stage - 1], 2e-7 * std::max(1.0L, std::abs(x3[stage - 1])));
      EXPECT_NEAR(two.result(stage, i), x2[stage - 1], 2e-7 * std::max(1.0L, std::abs(x2[stage - 1])));
    }
  }
}

TEST(CofactorSolve, RoundsOncePerCoefficientInTheStatedOrder) {
  Solve c(1);
  const float values[] = {1.0f, 1.0f, 1.0f, 9.0f, 1.0f, 4.0f, 2.0f, 3.0f};
  for (int k = sums::sy; k <= sums::sx8; ++k) c.sum(k, 1) = values[k];
  c.run(3, 0, 0.5);
  // s4p = 2; t5 = 35, t6 = -16, t7 = -6, t8 = 23, t9 = 1, t10 = 8; d3 = 105 - 32 - 24 + 12 = 61.
  EXPECT_EQ(c.result(1, 1), static_cast<float>(3.0 / 61.0));
  EXPECT_EQ(c.result(2, 1), static_cast<float>(8.0 / 61.0));
  EXPECT_EQ(c.result(3, 1), static_cast<float>(13.0 / 61.0));
}

TEST(CofactorSolve, GivesZeroWhereTheDeterminantDoesNotExceedItsLimit) {
  Solve c(3);
  c.num = twoTerms;
  c.nd = {2, 2, 0};
  for (int i = 1; i <= 3; ++i) c.unitSample(i);
  c.sum(sums::sx4, 1) = 0.0f;
  c.sum(sums::sx4, 2) = -1.0f;
  c.sum(sums::sx2, 3) = std::numeric_limits<float>::quiet_NaN();
  c.run(3, 0, 0.0);
  for (int stage = 1; stage <= 3; ++stage)
    for (int i = 1; i <= 3; ++i) EXPECT_EQ(c.result(stage, i), 0.0f);
}

TEST(CofactorSolve, TrimsEndsByRoundedFoldAndSolvesInnerSamplesWhateverTheirs) {
  Solve c(7);
  c.num = twoTerms;
  c.nd = {1, 2, 0};
  for (int i = 1; i <= 7; ++i) c.unitSample(i);
  c.sum(sums::sx0, 1) = 1.49f;
  c.sum(sums::sx0, 2) = 1.5f;
  c.sum(sums::sx0, 4) = 0.25f;
  c.sum(sums::sx0, 7) = std::numeric_limits<float>::quiet_NaN();
  c.run(1, 0, 0.0);
  EXPECT_EQ(c.first, 2);
  EXPECT_EQ(c.last, 6);
  EXPECT_EQ(c.result(1, 4), 16.0f);
  EXPECT_EQ(c.result(1, 1), 1.0f) << "trimmed rows keep their value";
  EXPECT_EQ(c.result(1, 7), 1.0f);
  EXPECT_EQ(c.result(2, 4), 1.0f) << "columns of other stages keep their value";
}

TEST(CofactorSolve, ComesBackCrossedButTaperedWhenNoSampleHasEnoughFold) {
  Solve c(6);
  c.first = 2;
  c.last = 5;
  c.run(1, 2, 0.0);
  EXPECT_EQ(c.first, 5);
  EXPECT_EQ(c.last, 2);
  const float expected[] = {1.0f, 0.5f, 1.0f, 1.0f, 0.0f, 0.5f};
  for (int i = 1; i <= 6; ++i) EXPECT_EQ(c.result(1, i), expected[i - 1]) << i;
}

TEST(CofactorSolve, TapersBothEndsWithRampsThatMayOverlapAndReachBeyondTheRange) {
  Solve c(8);
  c.num = twoTerms;
  c.nd = {2, 2, 0};
  for (int i = 2; i <= 6; ++i) c.unitSample(i);
  c.run(2, 8, 0.0);
  const float expected[] = {6 / 8.0f, 0.0f, 4 / 64.0f, 6 / 64.0f, 6 / 64.0f, 4 / 64.0f, 5 / 8.0f, 6 / 8.0f};
  for (int stage = 1; stage <= 2; ++stage)
    for (int i = 1; i <= 8; ++i) EXPECT_EQ(c.result(stage, i), expected[i - 1]) << i;
  EXPECT_EQ(c.result(3, 2), 1.0f);
}

TEST(ResidualEnergy, IsWhatTheFitLeavesAndNeverNegative) {
  const int n = 4;
  std::vector<float> s(sums::count * n), out(5 * n, 2.0f);
  for (int i = 0; i < n; ++i) {
    column(s.data(), n, sums::sy)[i] = 3.0f;
    column(s.data(), n, sums::sx2y)[i] = 1.5f;
    column(s.data(), n, sums::sx4y)[i] = 0.25f;
    column(s.data(), n, sums::sy2)[i] = 10.0f;
  }
  column(s.data(), n, sums::sy2)[2] = 8.0f;
  avo::a_avoe(s.data(), out.data(), n, 2, 3, sums::count, 2, 3);
  EXPECT_EQ(out, std::vector<float>(out.size(), 2.0f)) << "no third column";
  avo::a_avoe(s.data(), out.data(), n, 2, 3, sums::count, 5, 3);
  std::vector<float> expected(out.size(), 2.0f);
  column(expected.data(), n, 2)[1] = 0.5f;
  column(expected.data(), n, 2)[2] = 0.0f;
  EXPECT_EQ(out, expected);
}

}  // namespace
