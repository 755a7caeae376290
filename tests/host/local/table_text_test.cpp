#include "host/local/table_text.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/host_test.h"

namespace host::local {
namespace {

class TableTextTest : public korvane_test::HostTest {
 protected:
  Table read(const std::string& type, const std::string& text) {
    korvane_test::writeFile(file, text);
    return std::move(*readTableCsv(file, type, "vin"));
  }

  std::string refusal(const std::string& type, const std::string& text) {
    return korvane_test::refusal([&] { read(type, text); });
  }

  const std::filesystem::path file = folder / "table.csv";
};

std::string written(const Table& table, const std::string& type) {
  std::ostringstream out;
  writeTableCsv(table, type, out);
  return out.str();
}

TEST_F(TableTextTest, ColumnsAndLinesMayStandInAnyOrder) {
  const Table table = read("VAZ", "velocity_1,time,CDP,Velocity_0\n12,8,2,11\n22,0,1,21\n32,0,2,31\n");
  EXPECT_EQ(written(table, "VAZ"), "cdp,time,velocity_0,velocity_1\n1,0,21,22\n2,0,31,32\n2,8,11,12\n");
}

TEST_F(TableTextTest, EveryFloatComesBackToTheSameBits) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  Table table("vin", 1, "CDP", "TIME", "VEL_RMS");
  std::uniform_real_distribution<double> place(-1e7, 1e7);
  for (int k = 0; k < 5000; ++k) {
    const auto velocity = std::bit_cast<float>(static_cast<std::uint32_t>(random() % 0x7effffffu) + 0x00800000u);
    const auto x = static_cast<float>(k / 10);
    table.add(x, static_cast<float>(k % 10) + 0.1f, &velocity);
    if (k % 10 == 0) table.place(x, {place(random), place(random)});
  }
  const Table again = read("VEL", written(table, "VEL"));
  ASSERT_EQ(again.functions().size(), table.functions().size());
  for (const auto& [x, function] : table.functions()) {
    EXPECT_EQ(again.functions().at(x).y, function.y);
    EXPECT_EQ(again.functions().at(x).z, function.z);
    EXPECT_EQ(again.functions().at(x).position, function.position);
  }
}

TEST_F(TableTextTest, WhatCannotBeUsedIsRefusedWithLineReasonAndContent) {
  const std::string plain = "cdp,time,velocity\n# comment\n", horizons = "horizon,cdp,time\n# comment\n";
  struct Fault {
    const char* type;
    std::string before;
    const char *line, *reason;
  };
  for (const auto& [type, before, line, reason] : std::vector<Fault>{
           {"VEL", "", "1,0,1500", "there is no column \"1\"; the headings of a VEL table are cdp,x,y,time,velocity"},
           {"VEL", "", "cdp;time;velocity", "there is no column \"cdp;time;velocity\""},
           {"VEL", "", "cdp,time,velocity,", "there is no column \"\""},
           {"VEL", "", "cdp,time,velocity,Time", "column \"time\" stands twice"},
           {"VEL", "", "time,velocity", "column \"cdp\" is missing"},
           {"VEL", "", "cdp,velocity", "column \"time\" is missing"},
           {"VEL", "", "cdp,time", "the velocity column is missing"},
           {"VEL", "", "cdp,x,time,velocity", "columns \"x\" and \"y\" go together"},
           {"VAZ", "", "cdp,time,velocity_0,velocity_2", "the velocity columns are not numbered from 0 to 1"},
           {"VAZ", "", "cdp,time,velocity_00", "there is no column \"velocity_00\""},
           {"AHZ", "", "cdp,time", "column \"horizon\" is missing"},
           {"VEL", plain, "1,0", "3 columns expected, 2"},
           {"VEL", plain, "1,0,1500,", "3 columns expected, 4"},
           {"VEL", plain, "1,0,", "\"\" is not a finite number"},
           {"VEL", plain, "1,0,15OO", "\"15OO\" is not a finite number"},
           {"VEL", plain, "1,0,nan", "\"nan\" is not a finite number"},
           {"VEL", plain, "1,0,1e39", "\"1e39\" is not a finite number"},
           {"VEL", plain, "1,0,0", "velocity \"0\" is not above 0"},
           {"VEL", plain, "1,-4,1500", "time \"-4\" is below 0"},
           {"VEL", plain, "1.5,0,1500", "cdp \"1.5\" is not a whole number"},
           {"VEL", plain, "16777217,0,1500", "cdp \"16777217\" is not a whole number of at most 16777216"},
           {"VEL", plain + "1,4,1500\n2,0,1500\n1,0,1500\n\n", "1,4.0,1500", "the point of line 3 again"},
           {"VEL", "cdp,x,y,time,velocity\n", "1,1e39,0,0,1500", "the map position is beyond"},
           {"AHZ", horizons, "0,1,100", "horizon \"0\" is below 1"},
           {"AHZ", horizons, "1,1,-100", "time \"-100\" is below 0"}}) {
    const auto number = std::count(before.begin(), before.end(), '\n') + 1;
    const std::string message = refusal(type, before + line + "\n");
    const std::string said = file.string() + ", line " + std::to_string(number) + ": " + reason;
    EXPECT_TRUE(message.starts_with(said)) << message;
    EXPECT_TRUE(message.ends_with(std::string("; found \"") + line + "\"")) << message;
  }
  EXPECT_TRUE(refusal("VEL", "# nothing\n").starts_with(file.string() + ": is empty; the headings of a VEL table are"));
}

}  // namespace
}  // namespace host::local
