#include "host/vector.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace {

using Vector = std::vector<float>;

TEST(VectorPrimitives, GuardsReplaceTheQuotientAndTheRootThatDoNotExist) {
  const Vector a = {2.0f, 0.0f, -3.0f, 5.0f}, b = {4.0f, 0.0f, 0.0f, -0.0f};
  const Vector squares = {4.0f, 0.0f, -1.0f, std::numeric_limits<float>::quiet_NaN()};
  Vector y(4);
  host::vdivz(a.data(), 1, b.data(), 1, 9.0f, y.data(), 1, 4);
  EXPECT_EQ(y, (Vector{0.5f, 9.0f, 9.0f, 9.0f}));
  host::vsqrtz(squares.data(), 1, 7.0f, y.data(), 1, 4);
  EXPECT_EQ(y, (Vector{2.0f, 7.0f, 7.0f, 7.0f}));
}

TEST(VectorPrimitives, SourcesStepByTheirStridesAndSkippedElementsOfTheResultStay) {
  const Vector a = {1, -1, 2, -1, 3}, b = {10, -1, -1, 20, -1, -1, 30};
  Vector y(5, 0.5f);
  host::vsma(a.data(), 2, -1.0f, b.data(), 3, y.data(), 2, 3);
  EXPECT_EQ(y, (Vector{9, 0.5f, 18, 0.5f, 27}));
  host::vrvrs(y.data(), 2, 3);
  EXPECT_EQ(y, (Vector{27, 0.5f, 18, 0.5f, 9}));
}

TEST(VectorPrimitives, TheResultMayStandInASourceEvenInTheScalarAndAProductRoundsBeforeItsSum) {
  Vector y = {4, 9, 16};
  host::seg_vsmul(y.data(), 1, y[0], y.data(), 1, 3);
  EXPECT_EQ(y, (Vector{16, 36, 64}));
  const float a = 1.0f + 0x1p-12f;  // a * a = 1 + 2^-11 + 2^-24, half a unit beyond what a float holds
  const float b = -(1.0f + 0x1p-11f);
  host::vsma(&a, 1, a, &b, 1, y.data(), 1, 1);
  EXPECT_EQ(y[0], 0.0f);
}

}  // namespace
