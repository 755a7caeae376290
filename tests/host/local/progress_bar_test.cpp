#include "host/local/progress_bar.h"

#include <gtest/gtest.h>

namespace host::local {
namespace {

TEST(ProgressBar, TellsPassRateAndTimeLeftInALineShorterThanTheTerminal) {
  const Progress progress{.pass = 2, .passes = 5, .done = 3000, .total = 10000};
  EXPECT_EQ(progressLine(progress, 6.0, 59), "pass 2 of 5 [###       ]  30 %  500 traces/s  0:00:14 left");
  EXPECT_EQ(progressLine(progress, 6.0, 50), "pass 2 of 5  30 %  500 traces/s  0:00:14 left");
  EXPECT_EQ(progressLine(progress, 6.0, 12), "pass 2 of 5");
  EXPECT_EQ(progressLine(progress, 0.0, 1), "");
  EXPECT_NE(progressLine(progress, 6000.0, 80).find("3:53:20 left"), std::string::npos);
  for (int columns = 1; columns < 300; ++columns) {
    EXPECT_LT(static_cast<int>(progressLine(progress, 6.0, columns).size()), columns);
  }
}

}  // namespace
}  // namespace host::local
