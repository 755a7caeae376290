#include "app/synth.h"

#include <cmath>
#include <numbers>
#include <sstream>

#include "host/local/segy_input.h"
#include "tests/support/host_test.h"

namespace app {
namespace {

using SyntheticSurvey = korvane_test::HostTest;

TEST_F(SyntheticSurvey, HoldsTheGeometryInTheTraceHeaders) {
  SynthOptions options;
  options.inlines = 3;
  options.crosslines = 12;
  options.fold = 36;
  options.samples = 300;
  options.folder = folder / "new" / "survey";
  std::ostringstream log;
  synthesise(options, log);
  const std::string file = korvane_test::readFile(options.folder / "gathers.sgy");
  const auto gather = SynthSurvey(options).gather(13);
  for (std::size_t j = 0; j < gather.size(); ++j) {
    host::local::TraceHeader header;
    std::copy_n(&file.at(3600 + (13 * 36 + j) * (240 + 4 * 300)), 240, header.begin());
    const auto word = [&](int byte) { return host::local::readField(header, {byte}); };
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

TEST_F(SyntheticSurvey, TakesEveryWholeNumberOfMicrosecondsAsItsSampleInterval) {
  SynthOptions options;
  options.samples = 50;
  for (int microseconds = 500; microseconds <= 8000; ++microseconds) {
    options.interval = microseconds / 1000.0;
    EXPECT_NO_THROW(SynthSurvey{options}) << microseconds;
  }
}

}  // namespace
}  // namespace app
