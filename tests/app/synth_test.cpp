#include "app/synth.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <numbers>
#include <sstream>
#include <string>

#include "tests/support/program.h"

namespace app {
namespace {

TEST(SyntheticSurvey, HoldsTheGeometryInTheTraceHeaders) {
  const korvane_test::Program program;
  SynthOptions options;
  options.inlines = 3;
  options.crosslines = 12;
  options.fold = 36;
  options.samples = 300;
  options.sectors = 6;
  options.folder = program.folder() / "new" / "survey";
  std::ostringstream log;
  synthesise(options, log);
  const std::string file = korvane_test::readFile(options.folder / "gathers.sgy");
  const auto gather = SynthSurvey(options).gather(13);
  for (std::size_t j = 0; j < gather.size(); ++j) {
    const auto word = [&](std::size_t byte) {
      std::uint32_t value = 0;
      for (std::size_t at = 3600 + (13 * 36 + j) * (240 + 4 * 300) + byte - 1, end = at + 4; at < end; ++at) {
        value = value << 8 | static_cast<unsigned char>(file.at(at));
      }
      return static_cast<std::int32_t>(value);
    };
    EXPECT_EQ(word(21), 14);  // CDP
    EXPECT_EQ(word(189), 2);  // inline
    EXPECT_EQ(word(193), 2);  // crossline
    EXPECT_EQ(word(37), gather[j].offset);
    const double dx = (word(81) - word(73)) / 100.0, dy = (word(85) - word(77)) / 100.0;
    EXPECT_NEAR(std::hypot(dx, dy), gather[j].offset, 0.03);
    EXPECT_NEAR(std::remainder(std::atan2(dx, dy) * 180.0 / std::numbers::pi - gather[j].azimuth, 360.0), 0.0, 0.02);
    EXPECT_NEAR((word(73) + word(81)) / 2.0, word(181), 1.0);
    EXPECT_NEAR((word(77) + word(85)) / 2.0, word(185), 1.0);
  }
}

}  // namespace
}  // namespace app
