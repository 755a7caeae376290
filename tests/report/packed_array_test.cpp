#include "report/packed_array.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "tests/report/unpacked.h"

namespace {

using korvane_test::unpacked;
using report::Depth;

TEST(PackedArray, ComesBackWithinHalfAStepAndKeepsItsHoles) {
  std::mt19937 random(1);
  std::uniform_real_distribution<float> value(1500.0f, 6000.0f);
  std::vector<float> values(3 * 7 * 11);
  for (float& v : values) v = random() % 5 == 0 ? report::noValue : value(random);
  for (const Depth depth : {Depth::bits8, Depth::bits16}) {
    const nlohmann::json array = report::packed(values, {3, 7, 11}, depth);
    const std::vector<double> found = unpacked(array);
    const double step =
        (array.at("max").get<double>() - array.at("min").get<double>()) / (depth == Depth::bits8 ? 254 : 65534);
    for (std::size_t i = 0; i < values.size(); ++i) {
      if (std::isnan(values[i])) {
        EXPECT_TRUE(std::isnan(found[i])) << i;
      } else {
        EXPECT_NEAR(found[i], static_cast<double>(values[i]), 0.501 * step) << i;
      }
    }
  }
}

TEST(PackedArray, HoldsValuesWithinTheRangeThatIsGiven) {
  const std::vector<double> found =
      unpacked(report::packed({-9.0f, -1.0f, 0.0f, 1.0f, 9.0f}, {5}, -1.0f, 1.0f, Depth::bits8));
  EXPECT_EQ(found, (std::vector<double>{-1.0, -1.0, 0.0, 1.0, 1.0}));
}

TEST(PackedArray, OfOneValueOrNoneIsReadable) {
  EXPECT_EQ(unpacked(report::packed({7.0f, 7.0f}, {2}, Depth::bits16)), (std::vector<double>{7.0, 7.0}));
  EXPECT_TRUE(std::isnan(unpacked(report::packed({report::noValue}, {1}, Depth::bits8)).front()));
  EXPECT_TRUE(unpacked(report::packed({}, {0}, Depth::bits8)).empty());
}

}  // namespace
