#include "korvane/start_up.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/memory_job.h"

namespace {

using host::local::JobScope;
using host::local::RunError;
using korvane_test::MemoryJob;

korvane::RunState started(MemoryJob& job) {
  if (job.ensembles.empty()) job.ensembles = {{{.cdp = 1}}};
  const JobScope scope(job.job());
  korvane::RunState run;
  testing::internal::CaptureStdout();
  try {
    korvane::startUp(run, 0, nullptr);
  } catch (...) {
    testing::internal::GetCapturedStdout();
    throw;
  }
  testing::internal::GetCapturedStdout();
  return run;
}

std::string fatalMessage(MemoryJob& job) {
  try {
    started(job);
  } catch (const RunError& error) {
    return error.what();
  }
  return "no error";
}

TEST(StartUp, CallsTheFrameworkInItsOrder) {
  const auto job = MemoryJob::line(4.0f, 100);
  job->parameterValues["END"] = 200;
  started(*job);
  const std::vector<std::string> expected{"start SOCKET_TOOL",
                                          "connect",
                                          "name Velocity Residuals (KORVANE)",
                                          "get MINCDP",
                                          "get MAXCDP",
                                          "get NUMITER",
                                          "deliver 2",
                                          "get NUMXSUM",
                                          "get NUMYSUM",
                                          "get METHOD",
                                          "get START",
                                          "get END",
                                          "get VELNAME",
                                          "load VEL vin",
                                          "get VELFILT",
                                          "get FOLD",
                                          "get CORRWIN",
                                          "get THMIN",
                                          "get THMAX",
                                          "get STATIC",
                                          "get AZIMTH",
                                          "get PRESTACK",
                                          "get OUTPUT",
                                          "get OUTVEL",
                                          "get VELMETH",
                                          "get VELSAMP",
                                          "get VELNAMO",
                                          "load VEL vout",
                                          "map 4000",
                                          "map 4000",
                                          "map 40",
                                          "map 40",
                                          "map 40",
                                          "map 2000",
                                          "map 2000",
                                          "map 2000",
                                          "map 2000",
                                          "initialised, output ensembles of 1"};
  EXPECT_EQ(job->calls, expected);
}

TEST(StartUp, MakesNeighbourhoodsOddAndAtLeastOne) {
  const std::vector<std::array<int, 3>> cases{{4, 3, 1}, {5, 5, 2}, {1, 1, 0}, {0, 1, 0}, {-2, 1, 0}, {-3, 1, 0}};
  for (const auto& [asked, width, half] : cases) {
    const auto job = MemoryJob::line(4.0f, 100);
    job->parameterValues["NUMXSUM"] = asked;
    job->parameterValues["NUMYSUM"] = asked;
    const korvane::RunState run = started(*job);
    EXPECT_EQ(run.parameters.numxsum, width) << asked;
    EXPECT_EQ(run.parameters.numxsum2, half) << asked;
    EXPECT_EQ(run.parameters.numysum, width) << asked;
    EXPECT_EQ(run.parameters.numysum2, half) << asked;
  }
}

TEST(StartUp, ConvertsTimesToSamplesByTruncation) {
  const auto job = MemoryJob::line(4.0f, 1001);
  job->parameterValues["START"] = 11;
  job->parameterValues["END"] = 4500;
  job->parameterValues["CORRWIN"] = 200;
  job->parameterValues["VELFILT"] = 43;
  job->parameterValues["VELSAMP"] = 20.0f;
  const korvane::Parameters p = started(*job).parameters;
  EXPECT_EQ(p.istart, 2);
  EXPECT_EQ(p.iend, 1001);  // not beyond the trace
  EXPECT_EQ(p.idiff, 1001);
  EXPECT_EQ(p.icorrwin, 50);
  EXPECT_EQ(p.icorrwin2, 26);
  EXPECT_EQ(p.ivelfilt, 10);
  EXPECT_EQ(p.ntt, 200);
  EXPECT_EQ(p.tlocs.back(), 3980.0f);
}

TEST(StartUp, TakesTimesBeyondWhatSamplesCanCountAsTheEndOfTheTrace) {
  constexpr int huge = 2147483647;
  const auto job = MemoryJob::line(0.25f, 100);
  for (const char* key : {"END", "VELFILT", "CORRWIN", "NUMXSUM", "NUMYSUM"}) job->parameterValues[key] = huge;
  const korvane::Parameters p = started(*job).parameters;
  EXPECT_EQ(p.iend, 100);
  EXPECT_EQ(p.ivelfilt, huge);
  EXPECT_EQ(p.icorrwin, huge);
  EXPECT_EQ(p.numysum2, huge / 2);
  job->parameterValues["NUMXSUM"] = -huge - 1;
  EXPECT_EQ(started(*job).parameters.numxsum, 1);
  job->parameterValues["START"] = huge;
  EXPECT_EQ(fatalMessage(*job), "\nKORVANE: error, end time must be greater than start time.\n\n");
}

TEST(StartUp, SmoothsVelocitiesOverTwoSamplesAtLeastUnlessNotAtAll) {
  for (const auto& [asked, samples] : {std::pair{3, 2}, {7, 2}, {0, 0}, {-5, -5}}) {
    const auto job = MemoryJob::line(4.0f, 100);
    job->parameterValues["VELFILT"] = asked;
    EXPECT_EQ(started(*job).parameters.ivelfilt, samples) << asked;
  }
}

TEST(StartUp, ReportsTheMemoryOfTheWorkArrays) {
  for (const auto& [sectors, line] :
       {std::pair{0, "\nKORVANE: Memory Used:   0.556938 MB\n\n"}, {6, "\nKORVANE: Memory Used:   0.806286 MB\n\n"}}) {
    const auto job = MemoryJob::line(4.0f, 1001);
    job->ensembles = {std::vector<korvane_test::Trace>(60)};
    job->parameterValues["AZIMTH"] = sectors;
    job->parameterValues["NAZIM"] = sectors;
    job->parameterValues["VAZNAMO"] = "vout";
    const JobScope scope(job->job());
    korvane::RunState run;
    testing::internal::CaptureStdout();
    korvane::startUp(run, 0, nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), line);
  }
}

TEST(StartUp, StopsWithTheReason) {
  struct Case {
    const char* key;
    std::variant<int, float, std::string> value;
    const char* message;
  };
  const std::vector<Case> cases{
      {"START", 400, "\nKORVANE: error, end time must be greater than start time.\n\n"},
      {"THMIN", 89.0f, "\nKORVANE: Min incidence angle must be less than max angle.\n\n"},
      {"VELNAME", "NONE", "KORVANE: Cannot open input velocity table: NONE."},
      {"VELNAME", "", "KORVANE: Cannot open input velocity table: ."},
      {"VELNAME", "absent", "KORVANE: Cannot open input velocity table: absent."},
      {"OUTPUT", "", "\nKORVANE: Trace outputs are empty. Must have a least one output.\n\n"},
      {"VELNAMO", "NONE", "KORVANE: Please select an output velocity table.\n"},
  };
  for (const Case& c : cases) {
    const auto job = MemoryJob::line(4.0f, 100);
    job->parameterValues[c.key] = c.value;
    EXPECT_EQ(fatalMessage(*job), c.message);
  }
}

TEST(StartUp, StopsWhenTheStoresHaveNoRoom) {
  const auto job = MemoryJob::line(4.0f, 100);
  job->roomForStores = false;
  EXPECT_EQ(fatalMessage(*job), "\nKORVANE: Error during memory malloc.\n\n");
}

TEST(StartUp, AsksForHorizonsUnlessTheWindowIsFixed) {
  const auto job = MemoryJob::line(4.0f, 100);
  job->parameterValues["METHOD"] = 2;
  job->parameterValues["HORNAME"] = "no entry";
  EXPECT_EQ(fatalMessage(*job), "KORVANE: Cannot open autostatics horizon table: no entry.");

  host::Table horizons("hor", 3);
  const float zeros[3] = {};
  for (const float horizon : {1.0f, 2.0f, 3.0f}) horizons.add(horizon, 1.0f, zeros);
  job->stored[{"AHZ", "hor"}] = &horizons;
  job->parameterValues["HORNAME"] = "hor";
  const korvane::RunState run = started(*job);
  EXPECT_EQ(run.tables.nahorz, 2);
  EXPECT_EQ(run.parameters.idiff, 100);
}

TEST(StartUp, AppendsOnlyToAnAzimuthalTableThatMatches) {
  const auto job = MemoryJob::line(4.0f, 100);
  job->parameterValues["AZIMTH"] = 1;
  job->parameterValues["NAZIM"] = 2;
  job->parameterValues["VELMETH"] = 0;
  job->parameterValues["VAZNAMO"] = "vout";
  EXPECT_EQ(fatalMessage(*job),
            "KORVANE: Cannot append azimuthal velocity table: vout\n. Table azimuths: 0   user specified azimuths: 2.");

  host::Table earlier("vout", 2);
  const float velocities[2] = {2000.0f, 2100.0f};
  for (int k = 0; k < 99; ++k) earlier.add(1.0f, 4.0f * static_cast<float>(k), velocities);
  job->stored[{"VAZ", "vout"}] = &earlier;
  EXPECT_EQ(fatalMessage(*job),
            "KORVANE: The input number of samples: 99  of the azimuthal velocity file does not match the output number "
            "of samples: 100.\n");
  earlier.add(1.0f, 396.0f, velocities);
  EXPECT_EQ(fatalMessage(*job), "no error");

  job->parameterValues["NAZIM"] = 3;
  job->parameterValues["VELMETH"] = 1;  // a new table takes any number of sectors
  EXPECT_EQ(fatalMessage(*job), "no error");
}

TEST(StartUp, MakesTheAzimuthHeaderOrTakesTheOneThatIsThere) {
  const auto job = MemoryJob::line(4.0f, 100);
  job->parameterValues["AZIMTH"] = 1;
  job->parameterValues["NAZIM"] = 2;
  job->parameterValues["VAZNAMO"] = "vout";
  EXPECT_EQ(started(*job).parameters.ivelazim, host::local::firstFreeWord + 1);
  EXPECT_TRUE(job->warnings.empty());

  job->extraHeaders["VEL_AZIM"] = {host::hdrFloat, 40};
  EXPECT_EQ(started(*job).parameters.ivelazim, 40);
  EXPECT_EQ(job->warnings, std::vector<std::string>{"KORVANE: VEL_AZIM header already exists!"});

  job->extraHeaders["VEL_AZIM"] = {host::hdrInteger, 40};
  EXPECT_EQ(fatalMessage(*job), "KORVANE: VEL_AZIM header already exists but is of wrong type!");
}

TEST(StartUp, TakesSupergathersOnlyFromAnIntegerPrimaryKey) {
  const auto job = MemoryJob::line(4.0f, 100);
  job->extraHeaders["SG_CDP"] = {host::hdrInteger, host::local::firstFreeWord};
  EXPECT_FALSE(started(*job).parameters.isgather);
  job->sortBySupergather();
  EXPECT_TRUE(started(*job).parameters.isgather);
  job->extraHeaders["SG_CDP"].first = host::hdrFloat;
  EXPECT_FALSE(started(*job).parameters.isgather);
}

}  // namespace
