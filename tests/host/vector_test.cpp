#include "host/vector.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace {

using Vector = std::vector<float>;

TEST(VectorPrimitives, GuardsReplaceTheQuotientAndTheRootThatDoNotExist) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const Vector a = {2.0f, 0.0f, -3.0f, 5.0f}, b = {4.0f, 0.0f, 0.0f, -0.0f};
  Vector y(4);
  host::vdivz(a.data(), 1, b.data(), 1, 0.0f, y.data(), 1, 4);
  EXPECT_EQ(y, (Vector{0.5f, 0.0f, 0.0f, 0.0f}));
  host::vdivz(a.data(), 1, b.data(), 1, 9.0f, y.data(), 1, 4);
  EXPECT_EQ(y, (Vector{0.5f, 9.0f, 9.0f, 9.0f}));

  const Vector squares = {4.0f, 0.0f, -1.0f, nan};
  host::vsqrtz(squares.data(), 1, 0.0f, y.data(), 1, 4);
  EXPECT_EQ(y, (Vector{2.0f, 0.0f, 0.0f, 0.0f}));
  host::vsqrtz(squares.data(), 1, 7.0f, y.data(), 1, 4);
  EXPECT_EQ(y, (Vector{2.0f, 7.0f, 7.0f, 7.0f}));
}

TEST(VectorPrimitives, SourcesStepByTheirStridesAndSkippedElementsOfTheResultStay) {
  const Vector a = {1, -1, 2, -1, 3}, b = {10, -1, -1, 20, -1, -1, 30};
  Vector y(5, 0.5f);
  host::vsub(a.data(), 2, b.data(), 3, y.data(), 2, 3);
  EXPECT_EQ(y, (Vector{-9, 0.5f, -18, 0.5f, -27}));
  host::vadd(a.data(), 2, b.data(), 3, y.data(), 2, 3);
  EXPECT_EQ(y, (Vector{11, 0.5f, 22, 0.5f, 33}));
  host::vmul(a.data(), 2, b.data(), 3, y.data(), 2, 3);
  EXPECT_EQ(y, (Vector{10, 0.5f, 40, 0.5f, 90}));
  host::vsma(a.data(), 2, -1.0f, b.data(), 3, y.data(), 2, 3);
  EXPECT_EQ(y, (Vector{9, 0.5f, 18, 0.5f, 27}));
  host::seg_vsmul(a.data(), 2, 4.0f, y.data(), 2, 3);
  EXPECT_EQ(y, (Vector{4, 0.5f, 8, 0.5f, 12}));
  host::vmov(b.data(), 3, y.data(), 2, 3);
  EXPECT_EQ(y, (Vector{10, 0.5f, 20, 0.5f, 30}));
  host::vrvrs(y.data(), 2, 3);
  EXPECT_EQ(y, (Vector{30, 0.5f, 20, 0.5f, 10}));
  host::vfill(8.0f, y.data(), 2, 3);
  EXPECT_EQ(y, (Vector{8, 0.5f, 8, 0.5f, 8}));
  host::vclr(y.data(), 2, 3);
  EXPECT_EQ(y, (Vector{0, 0.5f, 0, 0.5f, 0}));
}

TEST(VectorPrimitives, TheResultMayStandInASourceEvenInTheScalar) {
  Vector y = {4, 9, 16};
  host::vmul(y.data(), 1, y.data(), 1, y.data(), 1, 3);
  EXPECT_EQ(y, (Vector{16, 81, 256}));
  host::vsqrtz(y.data(), 1, 0.0f, y.data(), 1, 3);
  EXPECT_EQ(y, (Vector{4, 9, 16}));
  host::seg_vsmul(y.data(), 1, y[0], y.data(), 1, 3);
  EXPECT_EQ(y, (Vector{16, 36, 64}));
}

TEST(VectorPrimitives, AProductRoundsBeforeItsSum) {
  const float a = 1.0f + 0x1p-12f;  // a * a = 1 + 2^-11 + 2^-24, half a unit beyond what a float holds
  const float b = -(1.0f + 0x1p-11f);
  float y = 1.0f;
  host::vsma(&a, 1, a, &b, 1, &y, 1, 1);
  EXPECT_EQ(y, 0.0f);
}

TEST(VectorPrimitives, ReversalSwapsAroundTheMiddle) {
  Vector odd = {1, 2, 3, 4, 5}, even = {1, 2, 3, 4}, single = {6};
  host::vrvrs(odd.data(), 1, 5);
  host::vrvrs(even.data(), 1, 4);
  host::vrvrs(single.data(), 1, 1);
  EXPECT_EQ(odd, (Vector{5, 4, 3, 2, 1}));
  EXPECT_EQ(even, (Vector{4, 3, 2, 1}));
  EXPECT_EQ(single, (Vector{6}));
}

TEST(VectorPrimitives, ACountBelowOneLeavesEverythingAsItIs) {
  const Vector a = {1, 2}, before = {3, 4};
  for (const int n : {0, -1, std::numeric_limits<int>::min()}) {
    Vector y = before;
    host::vclr(y.data(), 1, n);
    host::vfill(5.0f, y.data(), 1, n);
    host::vmov(a.data(), 1, y.data(), 1, n);
    host::vadd(a.data(), 1, a.data(), 1, y.data(), 1, n);
    host::vdivz(a.data(), 1, a.data(), 1, 0.0f, y.data(), 1, n);
    host::vsqrtz(a.data(), 1, 0.0f, y.data(), 1, n);
    host::vsma(a.data(), 1, 2.0f, a.data(), 1, y.data(), 1, n);
    host::vrvrs(y.data(), 1, n);
    EXPECT_EQ(y, before) << n;
  }
}

}  // namespace
