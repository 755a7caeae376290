#include "korvane/gather_pass.h"

#include <tbb/task_arena.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "korvane/run.h"
#include "tests/korvane/line_job.h"

namespace {

using korvane_test::gather;
using korvane_test::lineJob;
using korvane_test::MemoryJob;
using korvane_test::printedBy;
using korvane_test::refusal;
using korvane_test::Trace;

/// Start-up and all analysis passes.
struct Analysed : korvane_test::StartedRun {
  int tracesInHand = 0;

  explicit Analysed(MemoryJob& job) : StartedRun(job) {
    printedBy([&] { tracesInHand = korvane::gatherPass(run); });
  }

  std::vector<int> storedSlots() const {
    std::vector<int> slots;
    for (int k = 0; k < run.parameters.slots(); ++k) {
      if (run.stores.istore[k] == 1) slots.push_back(k);
    }
    return slots;
  }
};

TEST(GatherPass, StoresTheEnsemblesThatReachTheFoldWithALiveTraceInsideTheGrid) {
  const auto job = lineJob(100, {{"FOLD", 5}, {"OUTPUT", "5"}});  // the revision leaves the velocities alone
  job->ensembles = {gather(0, 6), gather(1, 5), gather(3, 6), gather(4, 4), gather(10, 6), gather(11, 6)};
  for (Trace& trace : job->ensembles[2]) trace.type = 2;
  const Analysed result(*job);
  EXPECT_EQ(result.storedSlots(), (std::vector<int>{0, 9}));
  EXPECT_EQ(result.run.stores.cdpstore[9], 10.0f);
  EXPECT_EQ(result.run.stores.vstore[9 * 100 + 50], 2000.0f);
}

TEST(GatherPass, CountsTheEnsembleThatOpensAPassTwice) {
  const auto job = lineJob(100, {{"NUMITER", 2}});
  job->ensembles = {gather(1, 5), gather(2, 7)};
  const Analysed result(*job);
  // two passes of 12; the first ensemble of passes 2 and 3 counts once for the pass before it
  EXPECT_EQ(result.run.numTraces, 2 * 12 + 5 + 5);
  EXPECT_EQ(result.tracesInHand, 5);
  EXPECT_EQ(result.run.numiter, 3);
}

TEST(GatherPass, WithoutIterationsConsumesTheDataAndLeavesNothingForTheOutput) {
  const auto job = lineJob(100, {{"NUMITER", 0}});
  job->ensembles = {gather(1, 5), gather(2, 5)};
  const host::local::JobScope scope(job->job());
  printedBy([] { korvane::run(0, nullptr); });
  EXPECT_TRUE(job->output.empty());
  EXPECT_TRUE(job->saved.at("VEL")->functions().empty());
  const std::vector<std::string> end(job->calls.end() - 5, job->calls.end());
  EXPECT_EQ(end, (std::vector<std::string>{"next", "next", "save VEL vout", "record KORVANE", "close"}));
}

TEST(GatherPass, PutsAnAzimuthAndItsOppositeIntoOneSector) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  // offsets to the east and north and the sector of 30 degrees, clockwise from the north; 360 degrees round to sector 0
  const float cases[][3] = {{0, 1, 0},  {0, -1, 0}, {0, 0, 0},  {1, 0, 3}, {-1, 0, 3},     {1, 1, 1},  {-1, -1, 1},
                            {1, -1, 4}, {-1, 1, 4}, {1, -9, 5}, {1, 9, 0}, {-1e-9f, 1, 0}, {nan, 1, 0}};
  for (const auto& [dx, dy, sector] : cases) {
    const auto job = lineJob(100, {{"AZIMTH", 1}, {"NAZIM", 6}});
    job->ensembles = {gather(1, 4)};
    for (Trace& trace : job->ensembles[0]) trace.receiverX = dx, trace.receiverY = dy;
    EXPECT_EQ(Analysed(*job).storedSlots(), std::vector<int>{static_cast<int>(sector) * 10}) << dx << ", " << dy;
  }
}

TEST(GatherPass, NamesASupergatherByTheTraceThatCarriesItsNumber) {
  // 7: no trace has that CDP, the first live one counts, and so it does where the number is missing
  for (const auto& [number, cdpOfThird, slot] : {std::array{5, 5, 4}, {7, 5, 3}, {-1, -1, 3}}) {
    const auto job = lineJob(100);
    job->sortBySupergather();
    job->ensembles = {gather(4, 5)};
    for (Trace& trace : job->ensembles[0]) trace.supergather = number;
    job->ensembles[0][0].type = 2;
    job->ensembles[0][2].cdp = cdpOfThird;
    EXPECT_EQ(Analysed(*job).storedSlots(), std::vector<int>{slot}) << number;
  }
}

TEST(GatherPass, StopsWhenTheInputTableCannotAnswer) {
  const auto job = lineJob(100, {{"MINILINE", 0}, {"MAXILINE", 0}, {"MINXLINE", 0}, {"MAXXLINE", 0}});
  host::Table empty("vin", 1);
  job->stored[{"VEL", "vin"}] = &empty;
  job->ensembles = {gather(1, 4)};
  EXPECT_EQ(refusal([&] { Analysed{*job}; }), "KORVANE: Error interpolating velocity table");
  job->job().misc.i3d = 1;
  EXPECT_EQ(refusal([&] { Analysed{*job}; }), "KORVANE: Error interpolating 3D velocity table");
}

TEST(GatherPass, EmitsPrestackTracesOfTheSectorsThatTheFirstPassStoredInTheLastOne) {
  const auto job =
      lineJob(100, {{"AZIMTH", 1}, {"NAZIM", 2}, {"PRESTACK", 1}, {"NUMITER", 2}, {"FOLD", 4}, {"END", 240}});
  job->ensembles = {gather(1, 7), gather(20, 4)};
  for (std::size_t j = 0; j < 7; ++j) {
    Trace& trace = job->ensembles[0][j];
    (j < 3 ? trace.receiverX : trace.receiverY) = 1.0f;  // too few of the second sector
  }
  const Analysed result(*job);
  // a sector without enough traces ends the ensemble; one with enough does when it is the last
  const int expected[][3] = {{1, 0, 7},  {1, 0, 7},  {1, 0, 7},  {1, 0, 7},
                             {51, 0, 0}, {43, 0, 0}, {44, 0, 0}, {51, 1, 0}};
  ASSERT_EQ(job->output.size(), std::size(expected));
  for (std::size_t k = 0; k < std::size(expected); ++k) {
    const Trace& trace = job->output[k];
    EXPECT_EQ((std::array{trace.type, trace.endOfEnsemble, trace.fold}), std::to_array(expected[k])) << k;
  }
  const std::vector<float>& intercept = job->output[5].samples;
  EXPECT_TRUE(intercept[30] != 0.0f && std::all_of(&intercept[60], &intercept[99], [](float a) { return a == 0.0f; }));
}

/// Stores and output traces of a run with that many threads, all CDPs stored.
std::vector<float> analysedWith(int threads, MemoryJob& job) {
  std::vector<float> values;
  job.output.clear();
  tbb::task_arena(threads).execute([&] {
    const Analysed analysed(job);
    EXPECT_EQ(analysed.storedSlots().size(), 10u);
    const korvane::Stores& st = analysed.run.stores;
    for (const float* rows : {st.vstore, st.vastore, st.astore, st.bstore, st.ahstore, st.bhstore}) {
      values.insert(values.end(), rows, rows + 10 * 100);
    }
  });
  for (const Trace& trace : job.output) values.insert(values.end(), trace.samples.begin(), trace.samples.end());
  return values;
}

TEST(GatherPass, GivesTheSameForAnyNumberOfThreadsAlsoWhenACdpComesAgain) {
  for (const int prestack : {0, 1}) {
    // each time a CDP comes in the second pass its velocity is smoothed once more
    const auto job = lineJob(100, {{"NUMITER", 2}, {"VELFILT", 40}, {"NUMYSUM", 3}, {"PRESTACK", prestack}});
    for (int k = 0; k < 60; ++k) job->ensembles.push_back(gather(1 + k / 2 * 7 % 10, 4 + k % 5));
    const std::vector<float> expected = analysedWith(1, *job);
    for (const int threads : {2, 3, 8}) EXPECT_EQ(analysedWith(threads, *job), expected) << threads;
  }
}

}  // namespace
