#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "korvane/output_pass.h"
#include "korvane/start_up.h"
#include "korvane/update_pass.h"
#include "tests/support/memory_job.h"

namespace {

using host::local::JobScope;
using korvane_test::MemoryJob;
using korvane_test::Trace;

/// A run after its first analysis pass, with stores that a test fills. Rows are 2000 + slot, nothing is stored.
struct FilledRun {
  MemoryJob& job;
  JobScope scope;
  korvane::RunState run;

  explicit FilledRun(MemoryJob& memoryJob) : job(memoryJob), scope(memoryJob.job()) {
    if (job.ensembles.empty()) job.ensembles = {{{.cdp = 1}}};
    testing::internal::CaptureStdout();
    korvane::startUp(run, 0, nullptr);
    testing::internal::GetCapturedStdout();
    run.numiter = 2;
    const korvane::Parameters& p = run.parameters;
    std::fill_n(run.stores.istore, p.slots(), 0);
    std::fill_n(run.stores.ilsamp, p.slots(), 0);
    for (std::int64_t slot = 0; slot < p.slots(); ++slot) {
      std::fill_n(run.stores.vstore + slot * p.nt, p.nt, 2000.0f + static_cast<float>(slot));
      std::fill_n(run.stores.vastore + slot * p.nt, p.nt, 0.0f);
    }
  }

  /// Stores A, B and transforms whose correlation has an imaginary part, so that velocities change.
  void store(std::int64_t slot) {
    run.stores.istore[slot] = 1;
    for (int i = 0; i < run.parameters.idiff; ++i) {
      const std::int64_t at = slot * run.parameters.idiff + i;
      const float phase = 0.5f * static_cast<float>(i);
      run.stores.astore[at] = std::cos(phase);
      run.stores.ahstore[at] = std::sin(phase);
      run.stores.bstore[at] = 0.3f * std::cos(phase + 1.0f);
      run.stores.bhstore[at] = 0.3f * std::sin(phase + 1.0f);
    }
  }

  std::string update() {
    testing::internal::CaptureStdout();
    korvane::updatePass(run);
    return testing::internal::GetCapturedStdout();
  }

  void output(int traces = 0) {
    testing::internal::CaptureStdout();
    run.numiter = run.parameters.niterate + 1;
    korvane::outputPass(run, traces);
    korvane::shutDown(run);
    testing::internal::GetCapturedStdout();
  }

  float velocity(std::int64_t slot, int sample) const { return run.stores.vstore[slot * run.parameters.nt + sample]; }
  float ratio(std::int64_t slot, int sample) const { return run.stores.vastore[slot * run.parameters.nt + sample]; }
};

std::unique_ptr<MemoryJob> lineOf(int cdps, int nt = 60) {
  auto job = MemoryJob::line(4.0f, nt);
  job->parameterValues["MAXCDP"] = cdps;
  job->parameterValues["NUMITER"] = 0;  // one delivery of the data
  return job;
}

TEST(UpdatePass, PrintsTenthsOfTheGrid) {
  const auto job = lineOf(100, 10);
  std::string expected = "\nKORVANE: Compute iteration: 1\n\n";
  for (int percent = 10; percent <= 90; percent += 10) {
    expected += "KORVANE: Compute  " + std::to_string(percent) + " percent done\n";
  }
  EXPECT_EQ(FilledRun(*job).update(), expected);
}

TEST(UpdatePass, PrintsOneLineASectorOnASmallGrid) {
  const auto job = lineOf(3, 10);
  job->parameterValues["AZIMTH"] = 1;
  job->parameterValues["NAZIM"] = 3;
  job->parameterValues["VAZNAMO"] = "vout";
  EXPECT_EQ(FilledRun(*job).update(),
            "\nKORVANE: Compute iteration: 1\n\nKORVANE: Compute   0 percent done\n"
            "KORVANE: Compute  33 percent done\nKORVANE: Compute  67 percent done\n");
}

TEST(UpdatePass, RevisesWhereEnoughNeighboursAreStored) {
  const auto job = lineOf(9);
  job->parameterValues["NUMYSUM"] = 3;
  job->parameterValues["FOLD"] = 2;
  FilledRun filled(*job);
  for (const int slot : {0, 1, 3, 5, 8}) filled.store(slot);
  filled.update();
  // slots 2 and 4 hold no data of their own, but both their neighbours do
  const std::vector<int> revised{0, 1, 2, 4};
  for (int slot = 0; slot < 9; ++slot) {
    const bool expected = std::find(revised.begin(), revised.end(), slot) != revised.end();
    EXPECT_EQ(filled.velocity(slot, 30) != 2000.0f + static_cast<float>(slot), expected) << slot;
    EXPECT_EQ(filled.ratio(slot, 30) != 0.0f, expected) << slot;
  }
}

TEST(UpdatePass, RevisesAnalysedSamplesOnlyFromTheFirstThatAllNeighboursCover) {
  const auto job = lineOf(3);
  job->parameterValues["NUMYSUM"] = 3;
  job->parameterValues["END"] = 160;
  FilledRun filled(*job);
  filled.store(0);
  filled.store(1);
  filled.run.stores.ilsamp[1] = 7;
  filled.update();
  EXPECT_EQ(filled.ratio(0, 6), 0.0f);
  EXPECT_NE(filled.ratio(0, 7), 0.0f);
  EXPECT_NE(filled.ratio(0, 39), 0.0f);
  EXPECT_EQ(filled.ratio(0, 40), 0.0f);
  EXPECT_EQ(filled.velocity(0, 40), 2000.0f);
}

TEST(UpdatePass, WithCodeFiveKeepsTheVelocitiesAndStoresTheRatios) {
  const auto job = lineOf(2);
  job->parameterValues["OUTPUT"] = "5";
  FilledRun filled(*job);
  filled.store(0);
  filled.update();
  EXPECT_EQ(filled.velocity(0, 30), 2000.0f);
  EXPECT_NE(filled.ratio(0, 30), 0.0f);
  EXPECT_NE(filled.ratio(0, 30), 1.0f);
}

TEST(OutputPass, PutsTheRevisedWindowIntoTheInputFunction) {
  const auto job = lineOf(10, 600);
  job->parameterValues["START"] = 400;
  job->parameterValues["END"] = 2000;
  job->parameterValues["OUTPUT"] = "1,7,2";
  job->ensembles = {{{.cdp = 4, .type = 2, .fold = 9}, {.cdp = 4, .fold = 9}}};
  FilledRun filled(*job);
  filled.store(3);
  filled.output();
  ASSERT_EQ(job->output.size(), 2u);  // code 7 stands for nothing
  EXPECT_EQ(job->output[0].type, 51);
  EXPECT_EQ(job->output[1].type, 43);
  for (const Trace& trace : job->output) {
    EXPECT_EQ(trace.endOfEnsemble, 1);
    EXPECT_EQ(trace.lineSegment, 1);
    EXPECT_EQ(trace.fold, 9);
  }
  const std::vector<float>& velocity = job->output[0].samples;
  EXPECT_EQ(velocity[99], 2000.0f);
  EXPECT_EQ(velocity[100], 2003.0f);
  EXPECT_EQ(velocity[499], 2003.0f);
  EXPECT_EQ(velocity[500], 2000.0f);
  EXPECT_EQ(job->output[1].samples[99], 0.0f);
  EXPECT_EQ(job->output[1].samples[100], std::cos(50.0f));
  const host::Table::Function& function = job->saved.at("VEL")->functions().at(4.0f);
  EXPECT_EQ(function.z, velocity);
}

TEST(OutputPass, TakesTheWindowFromTheHorizons) {
  struct Case {
    std::vector<float> times;
    int from, to;  ///< revised samples
  };
  // a horizon stands one sample above its time
  for (const Case& c : {Case{{1000.0f}, 0, 249},
                        {{400.0f, 1000.0f}, 99, 249},
                        {{1000.0f, 400.0f}, 0, 0},
                        {{-50.0f, 100.0f}, 0, 24},
                        {{400.0f, 9000.0f}, 99, 300},
                        {{}, 0, 0}}) {
    const auto job = lineOf(10, 300);
    host::Table horizons("hor", 3);
    for (std::size_t j = 0; j < c.times.size(); ++j) {
      const float point[3] = {0.0f, 0.0f, c.times[j]};
      horizons.add(static_cast<float>(j + 1), 1.0f, point);
    }
    job->stored[{"AHZ", "hor"}] = &horizons;
    job->parameterValues["METHOD"] = 2;
    job->parameterValues["HORNAME"] = "hor";
    job->ensembles = {{{.cdp = 4}}};
    FilledRun filled(*job);
    filled.store(3);
    filled.output();
    EXPECT_EQ(job->output.empty(), c.from == c.to);
    const std::vector<float>& z = job->saved.at("VEL")->functions().at(4.0f).z;
    for (int i = 0; i < 300; ++i) {
      ASSERT_EQ(z[static_cast<std::size_t>(i)], i >= c.from && i < c.to ? 2003.0f : 2000.0f) << i;
    }
  }
}

TEST(OutputPass, FillsSectorsWithoutDataRoundTheCompass) {
  struct Case {
    std::vector<int> stored;
    std::vector<float> velocities;
  };
  const float low = 2000.0f, high = 2600.0f;
  for (const Case& c :
       {Case{{0, 3}, {low, 2200.0f, 2400.0f, high, 2400.0f, 2200.0f}}, Case{{2}, std::vector<float>(6, low)}}) {
    const auto job = lineOf(10);
    job->parameterValues["AZIMTH"] = 1;
    job->parameterValues["NAZIM"] = 6;
    job->parameterValues["VAZNAMO"] = "vout";
    job->ensembles = {{{.cdp = 4}}};
    FilledRun filled(*job);
    for (const int sector : c.stored) {
      const std::int64_t slot = korvane::rowStart(filled.run.parameters, sector, 3, 1);
      filled.store(slot);
      std::fill_n(filled.run.stores.vstore + slot * 60, 60, sector == 3 ? high : low);
    }
    filled.output();
    const host::Table& table = *job->saved.at("VAZ");
    EXPECT_EQ(table.zCount(), 6);
    const std::vector<float>& z = table.functions().at(4.0f).z;
    EXPECT_EQ(std::vector<float>(z.begin(), z.begin() + 6), c.velocities);
    ASSERT_EQ(job->output.size(), c.stored.size());
    for (std::size_t k = 0; k < c.stored.size(); ++k) {
      EXPECT_EQ(job->output[k].azimuth, 15.0f + 30.0f * static_cast<float>(c.stored[k]));
    }
  }
}

TEST(OutputPass, PassesOverEnsemblesWithoutResults) {
  const auto job = lineOf(10);
  job->parameterValues["FOLD"] = 2;
  const Trace stored{.cdp = 4}, unknown{.cdp = 5}, outside{.cdp = 11}, dead{.cdp = 4, .type = 2};
  job->ensembles = {{stored}, {dead, dead}, {unknown, unknown}, {outside, stored}, {unknown, stored}};
  FilledRun filled(*job);
  filled.store(3);
  filled.output();
  // in the last ensemble the second trace's CDP has results; an ensemble that begins outside the grid is left out
  ASSERT_EQ(job->output.size(), 1u);
  EXPECT_EQ(job->output[0].cdp, 4);
}

TEST(OutputPass, AddsToATableThatHoldsFunctions) {
  const auto job = lineOf(10);
  job->parameterValues["VELMETH"] = 0;
  job->parameterValues["VELSAMP"] = 40.0f;
  host::Table earlier("vout", 1);
  const float velocity = 1234.0f;
  for (const float time : {40.0f, 50.0f}) {
    for (const float cdp : {4.0f, 9.0f}) earlier.add(cdp, time, &velocity);
  }
  job->stored[{"VEL", "vout"}] = &earlier;
  job->ensembles = {{{.cdp = 4}}};
  FilledRun filled(*job);
  filled.store(3);
  filled.output();
  const auto& functions = job->saved.at("VEL")->functions();
  EXPECT_EQ(functions.at(4.0f).y, (std::vector<float>{0.0f, 40.0f, 50.0f, 80.0f, 120.0f, 160.0f, 200.0f}));
  EXPECT_EQ(functions.at(4.0f).z, (std::vector<float>{2003, 2003, 1234, 2003, 2003, 2003, 2003}));
  EXPECT_EQ(functions.at(9.0f).z, (std::vector<float>{1234, 1234}));
}

}  // namespace
