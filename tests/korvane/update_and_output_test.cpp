#include <algorithm>
#include <cmath>
#include <vector>

#include "korvane/output_pass.h"
#include "korvane/update_pass.h"
#include "tests/korvane/line_job.h"

namespace {

using korvane_test::lineJob;
using korvane_test::MemoryJob;
using korvane_test::printedBy;
using korvane_test::Trace;

constexpr int nt = 60;

MemoryJob& deliveringOnce(MemoryJob& job) {
  job.parameterValues["NUMITER"] = 0;
  return job;
}

/// A run after its first analysis pass, with stores that a test fills. Rows are 2000 + slot, nothing is stored.
struct FilledRun : korvane_test::StartedRun {
  explicit FilledRun(MemoryJob& job) : StartedRun(deliveringOnce(job)) {
    run.numiter = 2;
    std::fill_n(run.stores.istore, run.parameters.slots(), 0);
    std::fill_n(run.stores.ilsamp, run.parameters.slots(), 0);
    std::fill_n(run.stores.vastore, run.parameters.slots() * nt, 0.0f);
    for (int slot = 0; slot < run.parameters.slots(); ++slot) setVelocity(slot, 2000.0f + static_cast<float>(slot));
  }

  void setVelocity(std::int64_t slot, float value) { std::fill_n(run.stores.vstore + slot * nt, nt, value); }

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

  void update() {
    printedBy([&] { korvane::updatePass(run); });
  }
  void output() {
    run.numiter = run.parameters.niterate + 1;
    printedBy([&] {
      korvane::outputPass(run, 0);
      korvane::shutDown(run);
    });
  }

  float velocity(std::int64_t slot, int sample) const { return run.stores.vstore[slot * nt + sample]; }
  float ratio(std::int64_t slot, int sample) const { return run.stores.vastore[slot * nt + sample]; }
};

TEST(UpdatePass, RevisesWhereEnoughNeighboursAreStoredOnceInEverySector) {
  const auto job = lineJob(nt, {{"NUMYSUM", 3}, {"FOLD", 2}, {"AZIMTH", 1}, {"NAZIM", 2}});
  FilledRun filled(*job);
  for (int slot = 0; slot < 10; ++slot) filled.setVelocity(10 + slot, 2000.0f + static_cast<float>(slot));
  for (const int slot : {0, 1, 3, 5, 8}) filled.store(slot), filled.store(10 + slot);
  filled.update();
  // slots 2 and 4 hold no data of their own, but both their neighbours do
  const std::vector<int> revised{0, 1, 2, 4};
  for (int slot = 0; slot < 10; ++slot) {
    const bool expected = std::find(revised.begin(), revised.end(), slot) != revised.end();
    EXPECT_EQ(filled.velocity(slot, 30) != 2000.0f + static_cast<float>(slot), expected) << slot;
    EXPECT_EQ(filled.ratio(slot, 30) != 0.0f, expected) << slot;
    EXPECT_EQ(filled.velocity(slot, 30), filled.velocity(10 + slot, 30)) << slot;
  }
}

TEST(UpdatePass, RevisesAnalysedSamplesOnlyFromTheFirstThatAllNeighboursCover) {
  for (const char* code : {"1", "5"}) {  // 5 keeps the velocities
    const auto job = lineJob(nt, {{"NUMYSUM", 3}, {"END", 160}, {"OUTPUT", code}});
    FilledRun filled(*job);
    filled.store(0);
    filled.store(1);
    filled.run.stores.ilsamp[1] = 7;
    filled.update();
    for (const int i : {6, 7, 39, 40}) {
      EXPECT_EQ(filled.ratio(0, i) != 0.0f, i == 7 || i == 39) << i;
      EXPECT_EQ(filled.velocity(0, i) != 2000.0f, *code == '1' && (i == 7 || i == 39)) << i;
    }
  }
}

TEST(OutputPass, TakesTheWindowFromTheHorizons) {
  struct Case {
    std::vector<float> times;
    int from, to;  ///< revised samples
  };
  // a horizon stands one sample above its time
  for (const Case& c : {Case{{200.0f}, 0, 49},
                        {{80.0f, 200.0f}, 19, 49},
                        {{200.0f, 80.0f}, 0, 0},
                        {{-50.0f, 100.0f}, 0, 24},
                        {{80.0f, 9000.0f}, 19, nt},
                        {{}, 0, 0}}) {
    const auto job = lineJob(nt, {{"METHOD", 2}, {"HORNAME", "hor"}});
    host::Table horizons("hor", 3);
    for (std::size_t j = 0; j < c.times.size(); ++j) {
      const float point[3] = {0.0f, 0.0f, c.times[j]};
      horizons.add(static_cast<float>(j + 1), 1.0f, point);
    }
    job->stored[{"AHZ", "hor"}] = &horizons;
    job->ensembles = {{{.cdp = 4}}};
    FilledRun filled(*job);
    filled.store(3);
    filled.output();
    EXPECT_EQ(job->output.empty(), c.from == c.to);
    std::vector<float> expected(nt, 2000.0f);
    std::fill(expected.begin() + c.from, expected.begin() + c.to, 2003.0f);
    EXPECT_EQ(job->saved.at("VEL")->functions().at(4.0f).z, expected);
  }
}

TEST(OutputPass, FillsSectorsWithoutDataRoundTheCompass) {
  struct Case {
    std::vector<int> stored;
    std::vector<float> velocities;
  };
  const float low = 2000.0f, high = 2600.0f;
  for (const Case& c :
       {Case{{1, 4}, {2200.0f, low, 2200.0f, 2400.0f, high, 2400.0f}}, Case{{2}, std::vector<float>(6, low)}}) {
    const auto job = lineJob(nt, {{"AZIMTH", 1}, {"NAZIM", 6}});
    job->ensembles = {{{.cdp = 4}}};
    FilledRun filled(*job);
    for (const int sector : c.stored) {
      const std::int64_t slot = korvane::rowStart(filled.run.parameters, sector, 3, 1);
      filled.store(slot);
      filled.setVelocity(slot, sector == 4 ? high : low);
    }
    filled.output();
    const std::vector<float>& z = job->saved.at("VAZ")->functions().at(4.0f).z;
    EXPECT_EQ(std::vector<float>(z.begin(), z.begin() + 6), c.velocities);
    ASSERT_EQ(job->output.size(), c.stored.size());
    for (std::size_t k = 0; k < c.stored.size(); ++k) {
      EXPECT_EQ(job->output[k].azimuth, 15.0f + 30.0f * static_cast<float>(c.stored[k]));
    }
  }
}

TEST(OutputPass, PassesOverEnsemblesWithoutResultsAndOverCodesWithoutATrace) {
  const auto job = lineJob(nt, {{"FOLD", 2}, {"OUTPUT", "1,7"}});
  host::Table earlier("vout", 1);
  const float velocity = 1234.0f;
  earlier.add(9.0f, 0.0f, &velocity);
  job->stored[{"VEL", "vout"}] = &earlier;
  const Trace stored{.cdp = 4}, unknown{.cdp = 5}, outside{.cdp = 11}, dead{.cdp = 4, .type = 2};
  job->ensembles = {{stored}, {dead, dead}, {unknown, unknown}, {outside, stored}, {unknown, stored}};
  FilledRun filled(*job);
  filled.store(3);
  filled.output();
  // in the last ensemble the second trace's CDP has results; an ensemble that begins outside the grid is left out
  ASSERT_EQ(job->output.size(), 1u);
  EXPECT_EQ(job->output[0].cdp, 4);
  const auto& functions = job->saved.at("VEL")->functions();
  EXPECT_TRUE(functions.size() == 1 && functions.contains(4.0f)) << "the new table takes the place of the earlier one";
}

}  // namespace
