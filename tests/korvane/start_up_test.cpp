#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <limits>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "korvane/constants.h"
#include "korvane/parameters.h"
#include "korvane/storage.h"
#include "tests/korvane/line_job.h"

namespace {

using korvane::Parameters;
using korvane_test::lineJob;
using korvane_test::MemoryJob;
using korvane_test::refusal;
using korvane_test::StartedRun;
using korvane_test::Value;

TEST(StartUp, CallsTheFrameworkInItsOrder) {
  const auto job = lineJob(100, {{"END", 200}});
  StartedRun{*job};
  std::string calls;
  for (const std::string& call : job->calls) calls += call + "; ";
  EXPECT_EQ(calls,
            "start SOCKET_TOOL; connect; name Velocity Residuals (KORVANE); get MINCDP; get MAXCDP; get NUMITER; "
            "deliver 2; get NUMXSUM; get NUMYSUM; get METHOD; get START; get END; get VELNAME; load VEL vin; "
            "get VELFILT; get FOLD; get CORRWIN; get THMIN; get THMAX; get STATIC; get AZIMTH; get PRESTACK; "
            "get OUTPUT; get OUTVEL; get VELMETH; get VELSAMP; get VELNAMO; load VEL vout; map 4000; map 4000; "
            "map 40; map 40; map 40; map 2000; map 2000; map 2000; map 2000; initialised, output ensembles of 1; ");
}

TEST(StartUp, CountsTheStoresThatItMakes) {
  const auto job = lineJob(100, {{"END", 200}, {"AZIMTH", 1}, {"NAZIM", 3}});
  const StartedRun started(*job);
  std::vector<std::string> counted, mapped;
  for (const std::int64_t bytes : korvane::storeBytes(started.run.parameters)) {
    counted.push_back("map " + std::to_string(bytes));
  }
  std::copy_if(job->calls.begin(), job->calls.end(), std::back_inserter(mapped),
               [](const std::string& call) { return call.starts_with("map "); });
  EXPECT_EQ(counted, mapped);
}

TEST(StartUp, TurnsWidthsOddAndTimesIntoSamples) {
  const auto parameters = [](const char* key, const Value& value) {
    return StartedRun(*lineJob(1001, {{key, value}})).run.parameters;
  };
  for (const auto& [asked, width, half] : {std::array{4, 3, 1}, {5, 5, 2}, {1, 1, 0}, {0, 1, 0}, {-3, 1, 0}}) {
    const Parameters x = parameters("NUMXSUM", asked), y = parameters("NUMYSUM", asked);
    EXPECT_TRUE(x.numxsum == width && x.numxsum2 == half && y.numysum == width && y.numysum2 == half) << asked;
  }
  EXPECT_EQ(parameters("START", 11).istart, 2);
  EXPECT_EQ(parameters("END", 200).idiff, 50);
  EXPECT_EQ(parameters("END", 4500).iend, 1001) << "not beyond the trace";
  EXPECT_EQ(parameters("CORRWIN", 203).icorrwin, 50);
  EXPECT_EQ(parameters("CORRWIN", 200).icorrwin2, 26);
  for (const auto& [asked, samples] : {std::pair{43, 10}, {7, 2}, {0, 0}, {-5, -5}}) {
    EXPECT_EQ(parameters("VELFILT", asked).ivelfilt, samples) << "two at least, unless there is no smoothing";
  }
  EXPECT_EQ(parameters("VELSAMP", 20.0f).ntt, 200);
  for (const auto& [dt, taps] : {std::pair{4.0f, 12}, {3.0f, 10}, {2.0f, 8}, {1.0f, 4}}) {
    EXPECT_EQ(StartedRun(*MemoryJob::line(dt, 100)).run.constants.ilen, taps) << dt << " ms";
  }
}

TEST(StartUp, StopsWithTheReason) {
  struct Case {
    const char* key;
    Value value;
    const char* message;
  };
  for (const Case& c : {Case{"START", 400, "\nKORVANE: error, end time must be greater than start time.\n\n"},
                        {"THMIN", 89.0f, "\nKORVANE: Min incidence angle must be less than max angle.\n\n"},
                        {"VELNAME", "NONE", "KORVANE: Cannot open input velocity table: NONE."},
                        {"VELNAME", "", "KORVANE: Cannot open input velocity table: ."},
                        {"VELNAME", "absent", "KORVANE: Cannot open input velocity table: absent."},
                        {"OUTPUT", "", "\nKORVANE: Trace outputs are empty. Must have a least one output.\n\n"},
                        {"VELNAMO", "NONE", "KORVANE: Please select an output velocity table.\n"},
                        {"METHOD", 2, "KORVANE: Cannot open autostatics horizon table: no entry."}}) {
    const auto job = lineJob(100, {{"HORNAME", "no entry"}, {c.key, c.value}});
    EXPECT_EQ(refusal([&] { StartedRun{*job}; }), c.message);
  }
  for (std::size_t stores = 0; stores < 9; ++stores) {
    const auto job = lineJob(100);
    job->roomForStores = stores;
    EXPECT_EQ(refusal([&] { StartedRun{*job}; }), "\nKORVANE: Error during memory malloc.\n\n") << stores;
  }
}

TEST(StartUp, CountsSlotsAndOutputTracesByIntsAndRefusesMore) {
  constexpr int least = std::numeric_limits<int>::min(), greatest = std::numeric_limits<int>::max();
  const auto slots = [](int is3D, const std::map<std::string, Value>& ranges) {
    korvane::Parameters p;
    p.is3D = is3D;
    const auto job = lineJob(100, ranges);
    const host::local::JobScope scope(job->job());
    const std::string text = refusal([&] {
      korvane::readGrid(p);
      korvane::readAzimuths(p);
    });
    return text == "not refused" ? std::to_string(p.slots()) : text.substr(0, 34);
  };
  const std::string refused = "KORVANE: The grid has no slots, or";
  EXPECT_EQ(slots(0, {{"MINCDP", greatest}, {"MAXCDP", greatest}}), "1");
  EXPECT_EQ(slots(0, {{"MINCDP", least}, {"MAXCDP", -2}}), "2147483647");
  EXPECT_EQ(slots(0, {{"MINCDP", least}, {"MAXCDP", -1}}), refused);
  EXPECT_EQ(slots(0, {{"MINCDP", 2}, {"MAXCDP", 1}}), refused);
  EXPECT_EQ(slots(0, {{"MAXCDP", 200'000}, {"AZIMTH", 1}, {"NAZIM", 18'000}}), refused);
  EXPECT_EQ(slots(0, {{"AZIMTH", 1}, {"NAZIM", 0}}), refused);
  const auto square = [&](int from, int to) {
    return slots(1, {{"MINILINE", from}, {"MAXILINE", to}, {"MINXLINE", from}, {"MAXXLINE", to}});
  };
  EXPECT_EQ(square(1, 46'340), "2147395600");
  EXPECT_EQ(square(1, 46'341), refused);
  EXPECT_EQ(square(least, greatest), refused);
  EXPECT_EQ(square(greatest, least), refused);

  const auto job = lineJob(100);
  const host::local::JobScope scope(job->job());
  korvane::Parameters p;
  p.nazim = 18'000;
  p.outlen = 1'000'000;
  EXPECT_EQ(refusal([&] { korvane::endInitialisation(p); }).substr(0, 51),
            "KORVANE: An output ensemble of 18000000000 traces c");
}

TEST(StartUp, AppendsOnlyToAnAzimuthalTableThatMatches) {
  const auto job = lineJob(100, {{"AZIMTH", 1}, {"VELMETH", 0}});
  host::Table earlier("vout", 2);
  const float velocities[2] = {2000.0f, 2100.0f};
  for (int k = 0; k < 99; ++k) earlier.add(1.0f, 4.0f * static_cast<float>(k), velocities);
  job->stored[{"VAZ", "vout"}] = &earlier;
  const std::string message =
      "KORVANE: Cannot append azimuthal velocity table: vout\n. Table azimuths: 2   user specified azimuths: ";
  for (const int sectors : {1, 3}) {
    job->parameterValues["NAZIM"] = sectors;
    EXPECT_EQ(refusal([&] { StartedRun{*job}; }), message + std::to_string(sectors) + ".");
  }
  job->parameterValues["NAZIM"] = 2;
  EXPECT_EQ(refusal([&] { StartedRun{*job}; }),
            "KORVANE: The input number of samples: 99  of the azimuthal velocity file does not match the output number "
            "of samples: 100.\n");
  earlier.add(1.0f, 396.0f, velocities);
  EXPECT_EQ(refusal([&] { StartedRun{*job}; }), "not refused");

  job->parameterValues["NAZIM"] = 3;
  job->parameterValues["VELMETH"] = 1;  // a new table takes any number of sectors
  EXPECT_EQ(refusal([&] { StartedRun{*job}; }), "not refused");
}

TEST(StartUp, MakesTheAzimuthHeaderOrTakesTheOneThatIsThere) {
  const auto job = lineJob(100, {{"AZIMTH", 1}, {"NAZIM", 2}});
  EXPECT_EQ(StartedRun(*job).run.parameters.ivelazim, host::local::firstFreeWord + 1);
  EXPECT_TRUE(job->warnings.empty());

  job->extraHeaders["VEL_AZIM"] = {host::hdrFloat, 40};
  EXPECT_EQ(StartedRun(*job).run.parameters.ivelazim, 40);
  EXPECT_EQ(job->warnings, std::vector<std::string>{"KORVANE: VEL_AZIM header already exists!"});

  job->extraHeaders["VEL_AZIM"] = {host::hdrInteger, 40};
  EXPECT_EQ(refusal([&] { StartedRun{*job}; }), "KORVANE: VEL_AZIM header already exists but is of wrong type!");
}

TEST(StartUp, TakesSupergathersOnlyFromAnIntegerPrimaryKey) {
  const auto job = lineJob(100);
  job->extraHeaders["SG_CDP"] = {host::hdrInteger, host::local::firstFreeWord};
  EXPECT_FALSE(StartedRun(*job).run.parameters.isgather);
  job->sortBySupergather();
  EXPECT_TRUE(StartedRun(*job).run.parameters.isgather);
  job->extraHeaders["SG_CDP"].first = host::hdrFloat;
  EXPECT_FALSE(StartedRun(*job).run.parameters.isgather);
}

}  // namespace
