#include "host/local/table_text.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "host/local/job.h"

namespace host::local {
namespace {

class TableTextTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = (std::filesystem::temp_directory_path() / "table-text-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder = name;
    file = folder / "table.csv";
  }
  void TearDown() override { std::filesystem::remove_all(folder); }

  Table read(const std::string& type, const std::string& text) {
    std::ofstream(file, std::ios::binary) << text;
    return std::move(*readTableCsv(file, type, "vin"));
  }

  /// What is said against the text; it has to name the file.
  std::string refusal(const std::string& type, const std::string& text) {
    try {
      read(type, text);
    } catch (const RunError& error) {
      EXPECT_TRUE(std::string(error.what()).starts_with(file.string())) << error.what();
      return error.what();
    }
    return "not refused";
  }

  void expectRefusal(const std::string& type, const std::string& text, const std::vector<std::string>& words) {
    const std::string message = refusal(type, text);
    for (const std::string& word : words) EXPECT_NE(message.find(word), std::string::npos) << text << '\n' << message;
  }

  std::filesystem::path folder, file;
};

std::string written(const Table& table, const std::string& type) {
  std::ostringstream out;
  writeTableCsv(table, type, out);
  return out.str();
}

TEST_F(TableTextTest, EachTypeIsWrittenAsItIsRead) {
  const std::string plain = "cdp,time,velocity\n1,0,1500\n1,4.5,1596.74731\n20,0,1.17549435e-38\n";
  const std::string placed = "cdp,x,y,time,velocity\n1,450025.1,10000000,0,1500\n1,450025.1,10000000,8,1600\n";
  const std::string sectors = "cdp,time,velocity_0,velocity_1,velocity_2\n1011,0,1500,1510,1520\n";
  const std::string horizons = "horizon,cdp,time\n1,1,230\n1,2,233.91304\n2,1,400\n";
  EXPECT_EQ(written(read("VEL", plain), "VEL"), plain);
  EXPECT_EQ(written(read("VEL", placed), "VEL"), placed);
  EXPECT_EQ(written(read("VAZ", sectors), "VAZ"), sectors);
  EXPECT_EQ(written(read("AHZ", horizons), "AHZ"), horizons);
}

TEST_F(TableTextTest, ColumnsAndLinesMayStandInAnyOrder) {
  const Table table = read("VAZ",
                           "velocity_1,time,CDP,Velocity_0\n"
                           "12,8,2,11\n"
                           "22,0,1,21\n"
                           "32,0,2,31\n");
  EXPECT_EQ(table.functions().at(2.0f).y, (std::vector<float>{0.0f, 8.0f}));
  EXPECT_EQ(table.functions().at(2.0f).z, (std::vector<float>{31.0f, 32.0f, 11.0f, 12.0f}));
  EXPECT_EQ(table.functions().at(1.0f).z, (std::vector<float>{21.0f, 22.0f}));
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

TEST_F(TableTextTest, HeadingsThatCannotBeUsedAreRefusedWithTheOnesExpected) {
  const std::string expected = "cdp,x,y,time,velocity";
  expectRefusal("VEL", "", {"empty", expected});
  expectRefusal("VEL", "# nothing\n\n", {"empty", expected});
  expectRefusal("VEL", "1,0,1500\n", {"line 1", "no column \"1\"", expected});
  expectRefusal("VEL", "cdp;time;velocity\n", {"no column \"cdp;time;velocity\"", expected});
  expectRefusal("VEL", "cdp,time,velocity,\n", {"no column \"\"", expected});
  expectRefusal("VEL", "cdp,time,velocity,Time\n", {"\"time\" stands twice", expected});
  expectRefusal("VEL", "time,velocity\n", {"\"cdp\" is missing", expected});
  expectRefusal("VEL", "cdp,velocity\n", {"\"time\" is missing", expected});
  expectRefusal("VEL", "cdp,time\n", {"velocity column is missing", expected});
  expectRefusal("VEL", "cdp,x,time,velocity\n", {"\"x\" and \"y\" go together", expected});
  expectRefusal("VEL", "cdp,time,velocity_0\n", {"no column \"velocity_0\"", expected});
  expectRefusal("VAZ", "cdp,time\n", {"missing", "velocity_0,velocity_1"});
  expectRefusal("VAZ", "cdp,time,velocity_0,velocity_2\n", {"from 0 to 1", "velocity_0,velocity_1"});
  expectRefusal("VAZ", "cdp,time,velocity_0,velocity_00,velocity_2\n", {"no column \"velocity_00\""});
  expectRefusal("AHZ", "cdp,time\n", {"\"horizon\" is missing", "horizon,cdp,time"});
  EXPECT_THROW(readTableCsv(file, "VELO", "vin"), RunError);
}

TEST_F(TableTextTest, ALineThatCannotBeUsedIsRefusedWithItsNumberAndContent) {
  const auto line = [&](const std::string& type, const std::string& heading, const std::string& bad,
                        const std::string& reason) {
    expectRefusal(type, heading + "\n# comment\n" + bad + "\n", {"line 3", reason, "found \"" + bad + "\""});
  };
  for (const auto& [bad, reason] :
       std::vector<std::pair<std::string, std::string>>{{"1,0", "3 columns expected, 2"},
                                                        {"1,0,1500,", "3 columns expected, 4"},
                                                        {"1,0,", "\"\" is not a finite number"},
                                                        {"1,0,15OO", "\"15OO\" is not a finite number"},
                                                        {"1,0,\"1500\"", "is not a finite number"},
                                                        {"1,0,nan", "is not a finite number"},
                                                        {"1,0,1e39", "is not a finite number"},
                                                        {"1,inf,1500", "is not a finite number"},
                                                        {"1,0,0", "velocity \"0\" is not above 0"},
                                                        {"1,0,-1500", "velocity \"-1500\" is not above 0"},
                                                        {"1,-4,1500", "time \"-4\" is below 0"},
                                                        {"1.5,0,1500", "cdp \"1.5\" is not a whole number"},
                                                        {"16777217,0,1500", "whole number of at most 16777216"}})
    line("VEL", "cdp,time,velocity", bad, reason);
  line("VEL", "cdp,x,y,time,velocity", "1,1e39,0,0,1500", "map position is beyond");
  line("AHZ", "horizon,cdp,time", "0,1,100", "horizon \"0\" is below 1");
  line("AHZ", "horizon,cdp,time", "1,1,-100", "time \"-100\" is below 0");
}

TEST_F(TableTextTest, APointThatStandsTwiceIsRefusedWithBothLines) {
  expectRefusal("VEL", "cdp,time,velocity\n1,4,1500\n2,0,1500\n1,0,1500\n\n1,4.0,1500\n",
                {"line 6", "line 2", "1,4.0,1500"});
}

}  // namespace
}  // namespace host::local
