#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <limits>
#include <random>
#include <tuple>
#include <vector>

#include "avo/avo.h"
#include "tests/definitions/definitions.h"
#include "tests/support/fenced.h"

namespace {

using avo::column;
using support::Fenced;
namespace sums = avo::sums;

TEST(AngleSums, HaveTheBitsOfTheirDefinition) {
  std::mt19937 random(4);
  std::normal_distribution<float> amplitude;
  const float cases[][4] = {{0.1f, 0.0f, 0.99f, 1.7f}, {-2.0f, 0.0f, 1.0f, 1.0f}, {-2.0f, 1e-5f, 0.9f, 1.0f}};
  for (const int n : {5, 9, 37, 131, 132, 133, 260, 403}) {
    for (const auto& [t0, lower, upper, weight] : cases) {
      Fenced<float> sums(sums::count * (n - 4)), expected(sums);
      for (Fenced<float>* s : {&sums, &expected}) std::fill_n(s->data(), s->size(), 0.0f);
      for (const float offset : {0.0f, 1.1f, 2.9f}) {
        std::vector<float> trace(n), sloth(n + 2);
        for (float& d : trace) d = amplitude(random);
        for (const int dead : {0, 1, 2, 3, n / 2}) trace[dead] = 0.0f;  // between live samples: full weight
        for (float& slow : sloth) slow = 0.25f + 0.05f * amplitude(random);
        if (lower > 0.0f) sloth[n / 2] = 1e6f;  // ends the first run of accepted angles
        const auto added = [&, start = t0, low = lower, high = upper, w = weight](auto kernel, Fenced<float>& s) {
          Fenced<double> scratch(n);
          int fin = 1, lin = n;
          kernel(s.data(), trace.data(), sloth.data(), scratch.data(), sums::count, fin, lin, 3, n - 2, start, 0.5f,
                 offset, low, high, 0, w);
          EXPECT_TRUE(s.fences_stand() && scratch.fences_stand());
          return std::tuple(fin, lin, support::bits(s.values()));
        };
        EXPECT_EQ(added(avo::a_sahcic, sums), added(definition::a_sahcic, expected)) << n << " samples from " << t0;
      }
    }
  }
}

TEST(AngleSums, TakeOneAngleForTheWholeTraceInTheAngleForm) {
  const std::vector<float> trace(5, 1.0f), sloth(7, 0.25f);
  std::vector<float> s(sums::count * 5);
  std::vector<double> scratch(5);
  int fin = 1, lin = 5;
  avo::a_sahcic(s.data(), trace.data(), sloth.data(), scratch.data(), sums::count, fin, lin, 1, 5, 0.0f, 0.5f, 30.0f,
                0.0f, 0.99f, 1, 1.0f);
  EXPECT_FLOAT_EQ(s[sums::sx2 * 5], 0.25f);
  EXPECT_FLOAT_EQ(s[sums::sx8 * 5 + 4], 0.00390625f);
}

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
  Solve c(130);  // blocks are of 64 samples
  c.num = {10, 9, 7, 9, 8, 6, 7, 6, 5};
  c.nd = {3, 3, 3};
  const float gather[] = {1, 1, 1, 9, 1, 4, 2, 3, 0}, numerators[] = {3, 8, 13};
  for (int k = 0; k < sums::count; ++k) std::fill_n(&c.sum(k, 1), c.n, gather[k]);
  c.run(3, 0, 0.5);
  // s4p = 2; t5 = 35, t6 = -16, t7 = -6, t8 = 23, t9 = 1, t10 = 8; d3 = 105 - 32 - 24 + 12 = 61.
  for (int i = 1; i <= c.n; ++i)
    for (int stage = 1; stage <= 3; ++stage) EXPECT_EQ(c.result(stage, i), numerators[stage - 1] / 61.0f) << i;
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

}  // namespace
