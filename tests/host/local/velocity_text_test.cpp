#include "host/local/velocity_text.h"

#include <algorithm>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "host/local/table_text.h"
#include "tests/support/host_test.h"

namespace host::local {
namespace {

using korvane_test::expectParts;

class VelocityTextTest : public korvane_test::HostTest {
 protected:
  VelocityText read(const std::string& text, const VelocityTextOptions& options = {}) const {
    korvane_test::writeFile(file, text);
    return readVelocities(file, "vin", options);
  }

  /// The table as lines cdp,time,velocity.
  std::string points(const std::string& text, const VelocityTextOptions& options = {}) const {
    std::ostringstream out;
    writeTableCsv(*read(text, options).table, "VEL", out);
    return out.str().substr(out.str().find('\n') + 1);
  }

  std::string refusal(const std::string& text, const VelocityTextOptions& options = {}) const {
    return korvane_test::refusal([&] { read(text, options); });
  }

  const std::filesystem::path file = folder / "velocities.txt";
};

using enum VelocityColumn;

TEST_F(VelocityTextTest, EveryFormGivesTheSamePoints) {
  const std::string wanted = "4,0,1500\n4,1001,2250.5\n12,250,1600\n12,1500,2400\n12,1750,2500\n";
  for (const auto& [form, text] : std::vector<std::pair<VelocityForm, std::string>>{
           {VelocityForm::csv, "cdp,time,velocity\n4,0,1500\n4,1001,2250.5\n12,250,1600\n12,1500,2400\n12,1750,2500\n"},
           {VelocityForm::csv, "VNMO,CMP,TWT\n1500,4,0\n2250.5,4,1001\n1600,12,250\n2400,12,1500\n2500,12,1750\n"},
           {VelocityForm::columns,
            "\xef\xbb\xbf# picks\nVEL CDP_no\tTime (ms)\r\n1600 12 250\r\n1500  4 0\r\n2400 12 1500\n2250.5 4.0 1001\n"
            "\n2500 12 1.75e3"},
           {VelocityForm::columns,
            "# CDP T0 V_RMS\n4 0 1500\n4 1001 2250.5\n12 250 1600\n12 1500 2400\n12 1750 2500\n"},
           {VelocityForm::parameters,
            "cdp=12,4 \\\ntnmo=0.25,1.5,\\\n1.75 vnmo=1600,2400,2500 \\\ntnmo=0,1.001 \\\nvnmo=1500,2250.5"},
           {VelocityForm::handvel,
            "HANDVEL 12     \n250     1600    1500    2400    \n1750    2500\nhandvel 4\n0 1500 1001 2250.5\n"},
           {VelocityForm::lines,
            "DESC=at time of picking\nZKEYNAME=VEL\n  CDP= 12.0\n TIME=  250.00 VEL= 1600\n TIME=1500 VEL=2400\n TIME= "
            "1750 "
            "VEL=2500.0\n  CDP=4 TIME=0 VEL=1500 TIME=1001\n VEL=2250.5\n"}}) {
    EXPECT_EQ(points(text), wanted) << text;
    EXPECT_EQ(read(text).form, form) << text;
    EXPECT_EQ(points(text, {.form = form}), wanted) << text;
  }
}

TEST_F(VelocityTextTest, ColumnsThatAreToldStandForHeadingsAndPassOverTheOthers) {
  const VelocityTextOptions options{.columns = {other, velocity, time, x, y, cdp}};
  const std::string wanted = "4,10,20.5,0,1500\n4,10,20.5,900,1600\n";
  EXPECT_EQ(points("L1 1500 0 10 20.5 4\nL1 1600 900 10 20.5 4\n", options), wanted);
  EXPECT_EQ(points("line,rms,ms,east,north,station\nL1,1500,0,10,20.5,4\nL1,1600,900,10,20.5,4\n", options), wanted);
}

TEST_F(VelocityTextTest, UnitsComeFromHeadingsThenFromCommentsThenFromTheNumbers) {
  using enum VelocityUnit;
  const std::string plain = "CDP TIME VEL\n";
  for (const auto& [text, said, unit] : std::vector<std::tuple<std::string, std::string, VelocityUnit>>{
           {plain + "1 0 5000\n1 6.5 7501\n", "times in s (the last time 6.5), velocities in ft/s (the largest", feet},
           {plain + "1 0 4000\n1 100 4799\n", "times in ms (the last time 100), velocities in m/s (the largest",
            metres},
           {plain + "1 0 2499\n1 0.9 6500\n", "times in s (the last time 0.9), velocities in m/s (the smallest",
            metres},
           {"CDP TIME_MS VEL_M_S\n1 0 5000\n1 50 6000\n", "ms (heading \"TIME_MS\"), velocities in m/s (head", metres},
           {"# metres of the map, m/s of the table\n# CDP T_SEC VRMS_FT_S\n1 0 5000\n1 50 6000\n",
            "s (heading \"T_SEC\"), velocities in ft/s (heading \"VRMS_FT_S\")", feet},
           {"# RMS, feet per second, good to 1.7 s only\n" + plain + "1 0 5000\n1 900 6000\n",
            "ms (the last time 900), velocities in ft/s (a comment)", feet},
           {"# ms and m/s, every 4 ft/s\n" + plain + "1 0 5000\n1 50 6000\n", "ms (a comment), velocities in m/s",
            metres},
           {"# ft/s once, now m/s\n" + plain + "1 0 1500\n1 900 1600\n", "m/s (the largest velocity 1600)", metres}}) {
    const VelocityText found = read(text);
    expectParts(found.units, {said});
    EXPECT_EQ(found.unit, unit) << text;
  }
  EXPECT_EQ(points(plain + "1 0 1500\n"), "1,0,1500\n");
}

TEST_F(VelocityTextTest, AUnitThatIsNotClearIsRefusedUntilItIsTold) {
  const std::string slow = "CDP TIME VEL\n1 0 5000\n1 900 6000\n", early = "CDP TIME VEL\n1 0 1500\n1 50 1600\n";
  expectParts(refusal(slow), {"the velocities are 5000 to 6000", "give --velocities ft/s or --velocities m/s"});
  EXPECT_EQ(points(slow, {.velocities = VelocityUnit::feet}), "1,0,5000\n1,900,6000\n");
  expectParts(refusal(early), {"the last time is 50", "give --times s or --times ms"});
  EXPECT_EQ(points(early, {.times = TimeUnit::milliseconds}), "1,0,1500\n1,50,1600\n");
  expectParts(refusal("CDP TIME VEL\n1 0 1.5\n1 900 2.5\n"), {"--velocities"});  // km/s
  expectParts(refusal("CDP TIME_S VEL\n1 0 1500\n1 900 1600\n"), {"heading \"TIME_S\" says s", "900", "--times"});
  expectParts(refusal("# m/s\nCDP TIME VEL\n1 0 1500\n1 900 9600\n"), {"a comment says m/s", "9600", "--velocities"});
}

TEST_F(VelocityTextTest, ConversionRoundsOnceAndOurOwnCsvIsConvertedOnlyByWhatIsTold) {
  const std::string own = "cdp,time,velocity\n1,1.001,9000.1\n1,0,1500.3\n",
                    ordered = "Time,CDP,Velocity\n1.001,1,1000\n";
  EXPECT_EQ(points(own), "1,0,1500.30005\n1,1.00100005,9000.09961\n");
  EXPECT_EQ(points(own, {.velocities = VelocityUnit::feet}), points(own));
  EXPECT_EQ(points(ordered, {.times = TimeUnit::seconds}), "1,1001,1000\n");
  expectParts(refusal(ordered, {.to = VelocityUnit::metres}), {"headings do not say", "--velocities"});
  EXPECT_EQ(points(ordered, {.velocities = VelocityUnit::feet, .to = VelocityUnit::metres}),
            "1,1.00100005,304.799988\n");
  expectParts(refusal("cdp,time,velocity\n1,1e38,1000\n", {.times = TimeUnit::seconds}), {"line 2: ", "converted"});
  const std::string feet = "CDP TIME VEL_FT_S\n1 0 5000\n1 900 10000\n";
  EXPECT_EQ(points(feet, {.to = VelocityUnit::metres}), "1,0,1524\n1,900,3048\n");
  EXPECT_EQ(read(feet, {.to = VelocityUnit::metres}).unit, VelocityUnit::metres);
  EXPECT_EQ(points("CDP TIME VEL\n1 0 1524\n1 900 3048\n", {.to = VelocityUnit::feet}), "1,0,5000\n1,900,10000\n");
}

TEST_F(VelocityTextTest, WhatCannotBeUsedIsRefusedWithLineReasonAndContent) {
  const std::string head = "CDP TIME VEL_M_S\n";
  struct Fault {
    std::string before, line, reason;
  };
  for (const auto& [before, line, reason] : std::vector<Fault>{
           {"", "CDP TIME VINT", "the column \"VINT\" is not known"},
           {"", "CDP TIME VEL_INT", "the column \"VEL_INT\" is not known"},
           {"", "CDP TIME TIME VEL", "the headings are not one CDP, one time and one velocity"},
           {"", "1 0 1500", "no heading names the columns"},
           {head, "1 0", "3 columns expected, 2 are there"},
           {head, "l 0 1500", "\"l\" is not a finite number"},
           {head, "1 0 nan", "\"nan\" is not a finite number"},
           {head, "1 0 1e300", "\"1e300\" is not a finite number"},
           {head, "1 0 1e-60", "\"1e-60\" is not a finite number"},
           {head, "1.5 0 1500", "cdp \"1.5\" is not a whole number"},
           {head, "1 -4 1500", "time \"-4\" is below 0"},
           {head, "1 0 0", "velocity \"0\" is not above 0"},
           {head + "1 400 1500\n2 0 1500\n", "1 400 1600", "time 400 ms does not come after 400 ms of CDP 1 in line 2"},
           {head + "1 400 1500\n", "1 300 1600", "time 300 ms does not come after 400 ms of CDP 1 in line 2"},
           {"CDP X Y TIME VEL\n1 5 5 0 1500\n", "1 5 6 400 1600", "another map position than of CDP 1 in line 2"},
           {"", "HANDVEL", "expected HANDVEL and one CDP"},
           {"HANDVEL 1\n", "0 1500 900", "expected pairs of time and velocity, 3 numbers"},
           {"100 1500\n", "HANDVEL 1", ""},
           {"HANDVEL 1\n0 1500\n", "HANDVEL 2", "no times and velocities follow"},
           {"cdp=1\n", "tnmo=0,,1 vnmo=1500,1600", "\"\" is not a finite number"},
           {"cdp=1 tnmo=0\n", "vnmo=1500,1600", "2 velocities for the 1 times of line 1"},
           {"", "cdp=1,2 tnmo=0 vnmo=1500", "there are 2 CDPs, 1 lists tnmo= and 1 lists vnmo="},
           {"cdp=1 tnmo=0\n", "vnmo=1500 1600", "\"1600\" belongs to no list"},
           {"cdp=1 tnmo=0\n", "vnmo=1500,", "the list ends open"},
           {"cdp=1 tnmo=0 vnmo=1500\n", "smute=1.5", "\"smute=\" is not known"},
           {"CDP=1\n TIME=0 VEL=1500\n", "TIME=400", "a time without a velocity"},
           {"CDP=1\n TIME=0 VEL=1500\n", "CDP=2", "no points follow"},
           {"CDP=1\n TIME=0 VEL=1500\n", "VEL=1600", "\"VEL\" is out of place"},
           {"CDP=1\n TIME=0 VEL=1500\n", "TIME=4 DEPTH=3", "\"DEPTH\" is out of place"},
           {"CDP=1\n", "TIME=0 VEL=", "\"\" is not a finite number"}}) {
    const std::string message = refusal(before + line + "\n");
    if (reason.empty()) {
      expectParts(message, {", line 1: expected a card HANDVEL"});
      continue;
    }
    const auto number = std::count(before.begin(), before.end(), '\n') + 1;
    const std::string said = file.string() + ", line " + std::to_string(number) + ": " + reason;
    EXPECT_TRUE(message.starts_with(said)) << message;
    EXPECT_TRUE(message.ends_with("; found \"" + line + "\"")) << message;
  }
  for (const std::string empty : {"CDP TIME VEL\n", "HANDVEL 1\n# end\n", "# nothing\n"})
    EXPECT_NE(refusal(empty), "not refused") << empty;
}

TEST_F(VelocityTextTest, SpoiltTextsAreReadOrRefused) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  const std::vector<std::string> texts{"# ft/s\nCDP TIME VEL\n1 0 1500\n1 400 1600\n",
                                       "cdp,t,v\n1,0,1500\n1,400,1600\n",
                                       "cdp=1,2 \\\ntnmo=0,1 vnmo=1500,1600 tnmo=0 vnmo=1500\n",
                                       "HANDVEL 5\n0 1500 400 1600\n", "A=b\nCDP= 5\n TIME= 0 VEL=1500\n"};
  const std::string bytes =
      "#=,\\ \t\r\n-.e0:(\xff\x00"
      "cvt";
  for (int k = 0; k < 1000; ++k) {
    std::string text = texts[random() % texts.size()];
    for (auto changes = random() % 4; changes > 0; --changes)
      text[random() % text.size()] = bytes[random() % bytes.size()];
    text.resize(text.size() - random() % text.size() / 2);
    EXPECT_NO_THROW({ refusal(text); }) << text;
  }
}

}  // namespace
}  // namespace host::local
