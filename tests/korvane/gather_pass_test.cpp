#include "korvane/gather_pass.h"

#include <gtest/gtest.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "korvane/run.h"
#include "korvane/start_up.h"
#include "tests/support/memory_job.h"

namespace {

using host::local::JobScope;
using host::local::RunError;
using korvane_test::MemoryJob;
using korvane_test::Trace;

/// A gather whose amplitudes change with offset, so that intercept and gradient are not zero.
std::vector<Trace> gather(int cdp, int traces, int samples = 100) {
  std::vector<Trace> ensemble;
  for (int j = 0; j < traces; ++j) {
    Trace trace{.cdp = cdp, .offset = 50.0f * static_cast<float>(j + 1), .fold = traces};
    for (int i = 0; i < samples; ++i) {
      trace.samples.push_back(std::sin(0.7f * static_cast<float>(i)) * (1.0f + 0.1f * static_cast<float>(j)));
    }
    ensemble.push_back(std::move(trace));
  }
  return ensemble;
}

/// Start-up and all analysis passes; what they print is in `printed`.
struct Analysed {
  korvane::RunState run;
  int tracesInHand = 0;
  std::string printed;

  explicit Analysed(MemoryJob& job) {
    const JobScope scope(job.job());
    testing::internal::CaptureStdout();
    try {
      korvane::startUp(run, 0, nullptr);
      tracesInHand = korvane::gatherPass(run);
    } catch (...) {
      testing::internal::GetCapturedStdout();
      throw;
    }
    printed = testing::internal::GetCapturedStdout();
  }

  std::vector<int> storedSlots() const {
    std::vector<int> slots;
    for (int k = 0; k < run.parameters.slots(); ++k) {
      if (run.stores.istore[k] == 1) slots.push_back(k);
    }
    return slots;
  }
};

std::vector<int> types(const std::vector<Trace>& traces) {
  std::vector<int> result;
  for (const Trace& trace : traces) result.push_back(trace.type);
  return result;
}

TEST(GatherPass, StoresTheEnsemblesThatReachTheFoldInsideTheGrid) {
  const auto job = MemoryJob::line(4.0f, 100);
  job->parameterValues["FOLD"] = 5;
  job->parameterValues["OUTPUT"] = "5";  // the revision leaves the velocities alone
  job->ensembles = {gather(0, 6), gather(1, 5), gather(4, 4), gather(10, 6), gather(11, 6)};
  const Analysed result(*job);
  EXPECT_EQ(result.storedSlots(), (std::vector<int>{0, 9}));
  EXPECT_EQ(result.run.stores.cdpstore[9], 10.0f);
  EXPECT_EQ(result.run.stores.vstore[9 * 100 + 50], 2000.0f);
}

TEST(GatherPass, CountsTheEnsembleThatOpensAPassTwice) {
  const auto job = MemoryJob::line(4.0f, 100);
  job->parameterValues["NUMITER"] = 2;
  job->ensembles = {gather(1, 5), gather(2, 7)};
  const Analysed result(*job);
  // two passes of 12; the first ensemble of passes 2 and 3 counts once for the pass before it
  EXPECT_EQ(result.run.numTraces, 2 * 12 + 5 + 5);
  EXPECT_EQ(result.tracesInHand, 5);
  EXPECT_EQ(result.run.numiter, 3);
}

TEST(GatherPass, WithoutIterationsConsumesTheDataAndLeavesNothingForTheOutput) {
  const auto job = MemoryJob::line(4.0f, 100);
  job->parameterValues["NUMITER"] = 0;
  job->ensembles = {gather(1, 5), gather(2, 5)};
  testing::internal::CaptureStdout();
  const JobScope scope(job->job());
  korvane::run(0, nullptr);
  testing::internal::GetCapturedStdout();
  EXPECT_TRUE(job->output.empty());
  ASSERT_TRUE(job->saved.contains("VEL"));
  EXPECT_TRUE(job->saved["VEL"]->functions().empty());
  const std::vector<std::string> end(job->calls.end() - 5, job->calls.end());
  EXPECT_EQ(end, (std::vector<std::string>{"next", "next", "save VEL vout", "record KORVANE", "close"}));
}

TEST(GatherPass, PassesOverAnEnsembleWithoutALiveTrace) {
  const auto job = MemoryJob::line(4.0f, 100);
  job->ensembles = {gather(3, 4), gather(4, 4)};
  for (Trace& trace : job->ensembles[0]) trace.type = 2;
  EXPECT_EQ(Analysed(*job).storedSlots(), std::vector<int>{3});
}

TEST(GatherPass, PutsAnAzimuthAndItsOppositeIntoOneSector) {
  struct Case {
    float dx, dy;
    int sector;
  };
  // six sectors of 30 degrees, clockwise from +y
  const std::vector<Case> cases{{0.0f, 1.0f, 0},
                                {0.0f, -1.0f, 0},
                                {0.0f, 0.0f, 0},
                                {1.0f, 0.0f, 3},
                                {-1.0f, 0.0f, 3},
                                {1.0f, 1.0f, 1},
                                {-1.0f, -1.0f, 1},
                                {1.0f, -1.0f, 4},
                                {-1.0f, 1.0f, 4},
                                {1.0f, -9.0f, 5},
                                {-1.0f, 9.0f, 5},
                                {1.0f, 9.0f, 0},
                                {-1e-9f, 1.0f, 0},  // 360 degrees once rounded
                                {std::numeric_limits<float>::quiet_NaN(), 1.0f, 0}};
  for (const Case& c : cases) {
    const auto job = MemoryJob::line(4.0f, 100);
    job->parameterValues["AZIMTH"] = 1;
    job->parameterValues["NAZIM"] = 6;
    job->parameterValues["VAZNAMO"] = "vout";
    job->ensembles = {gather(1, 4)};
    for (Trace& trace : job->ensembles[0]) {
      trace.receiverX = c.dx;
      trace.receiverY = c.dy;
    }
    const Analysed result(*job);
    EXPECT_EQ(result.storedSlots(), std::vector<int>{c.sector * 10}) << c.dx << ", " << c.dy;
  }
}

TEST(GatherPass, NamesASupergatherByTheTraceThatCarriesItsNumber) {
  const auto job = MemoryJob::line(4.0f, 100);
  job->sortBySupergather();
  job->ensembles = {gather(4, 5)};
  for (Trace& trace : job->ensembles[0]) trace.supergather = 5;
  job->ensembles[0][0].type = 2;
  job->ensembles[0][2].cdp = 5;
  EXPECT_EQ(Analysed(*job).storedSlots(), std::vector<int>{4});

  for (Trace& trace : job->ensembles[0]) trace.supergather = 7;  // no trace of that CDP: the first live one counts
  EXPECT_EQ(Analysed(*job).storedSlots(), std::vector<int>{3});

  for (Trace& trace : job->ensembles[0]) trace.supergather = -1;
  job->ensembles[0][2].cdp = -1;
  EXPECT_EQ(Analysed(*job).storedSlots(), std::vector<int>{3});
}

TEST(GatherPass, UsesInAThreeDimensionalGridTheLinesOfTheFirstLiveTrace) {
  const auto job = MemoryJob::line(4.0f, 100);
  job->job().misc.i3d = 1;
  job->parameterValues["OUTPUT"] = "5";  // the revision leaves the velocities alone
  job->parameterValues["MINILINE"] = 100;
  job->parameterValues["MAXILINE"] = 102;
  job->parameterValues["MINXLINE"] = 200;
  job->parameterValues["MAXXLINE"] = 203;
  const float velocity = 3000.0f;
  host::Table table("vin", 1);
  table.add(1.0f, 0.0f, &velocity);
  table.place(1.0f, {.x = 10.0, .y = 20.0});
  job->stored[{"VEL", "vin"}] = &table;
  job->ensembles = {gather(77, 4), gather(78, 4), gather(79, 4)};
  const std::array<std::array<int, 2>, 3> lines{{{101, 203}, {103, 203}, {100, 199}}};
  for (std::size_t e = 0; e < 3; ++e) {
    for (Trace& trace : job->ensembles[e]) {
      trace.inlineNumber = lines[e][0];
      trace.crossline = lines[e][1];
    }
  }
  const Analysed result(*job);
  EXPECT_EQ(result.storedSlots(), std::vector<int>{1 * 4 + 3});
  EXPECT_EQ(result.run.stores.cdpstore[7], 77.0f);
  EXPECT_EQ(result.run.stores.vstore[7 * 100], 3000.0f);
}

TEST(GatherPass, StopsWhenTheInputTableCannotAnswer) {
  for (const int is3D : {0, 1}) {
    const auto job = MemoryJob::line(4.0f, 100);
    host::Table empty("vin", 1);
    job->stored[{"VEL", "vin"}] = &empty;
    job->job().misc.i3d = is3D;
    for (const char* key : {"MINILINE", "MAXILINE", "MINXLINE", "MAXXLINE"}) job->parameterValues[key] = 0;
    job->ensembles = {gather(is3D != 0 ? 0 : 1, 4)};
    try {
      Analysed{*job};
      FAIL() << "no error";
    } catch (const RunError& error) {
      EXPECT_EQ(std::string(error.what()), is3D != 0 ? "KORVANE: Error interpolating 3D velocity table"
                                                     : "KORVANE: Error interpolating velocity table");
    }
  }
}

TEST(GatherPass, EmitsPrestackTracesInTheLastAnalysisPassOnly) {
  const auto job = MemoryJob::line(4.0f, 100);
  job->parameterValues["PRESTACK"] = 1;
  job->parameterValues["NUMITER"] = 2;
  job->parameterValues["AZIMTH"] = 1;
  job->parameterValues["NAZIM"] = 2;
  job->parameterValues["END"] = 240;
  job->ensembles = {gather(1, 4), gather(20, 4)};
  for (Trace& trace : job->ensembles[0]) trace.receiverY = 1.0f;  // all in sector 0
  const Analysed result(*job);
  EXPECT_EQ(types(job->output), (std::vector<int>{1, 1, 1, 1, 51, 43, 44, 51}));
  std::vector<int> ends, folds;
  for (const Trace& trace : job->output) {
    ends.push_back(trace.endOfEnsemble);
    folds.push_back(trace.fold);
  }
  // a sector without enough traces ends the ensemble; one with enough does when it is the last
  EXPECT_EQ(ends, (std::vector<int>{0, 0, 0, 0, 0, 0, 0, 1}));
  EXPECT_EQ(folds, (std::vector<int>{4, 4, 4, 4, 0, 0, 0, 0}));
  const Trace& intercept = job->output[5];
  EXPECT_NE(intercept.samples[30], 0.0f);
  EXPECT_TRUE(std::all_of(intercept.samples.begin() + 60, intercept.samples.end(), [](float a) { return a == 0.0f; }));
}

TEST(GatherPass, AnalysesLaterOnlyTheSectorsThatTheFirstPassStored) {
  const auto job = MemoryJob::line(4.0f, 100);
  job->parameterValues["PRESTACK"] = 1;
  job->parameterValues["NUMITER"] = 2;
  job->parameterValues["FOLD"] = 4;
  job->parameterValues["AZIMTH"] = 1;
  job->parameterValues["NAZIM"] = 2;
  job->ensembles = {gather(1, 7)};
  for (std::size_t j = 0; j < 7; ++j) {
    (j < 3 ? job->ensembles[0][j].receiverX : job->ensembles[0][j].receiverY) = 1.0f;
  }
  const Analysed result(*job);
  EXPECT_EQ(types(job->output), (std::vector<int>{1, 1, 1, 1, 51, 43, 44, 51}));
}

TEST(GatherPass, ShiftsByTheStaticAfterMoveout) {
  const auto job = MemoryJob::line(4.0f, 100);
  job->parameterValues["PRESTACK"] = 1;
  job->parameterValues["STATIC"] = 1;
  job->extraHeaders["NA_STAT"] = {host::hdrFloat, 30};
  job->ensembles = {gather(1, 4)};
  for (Trace& trace : job->ensembles[0]) trace.offset = 0.0f;
  job->ensembles[0][1].naStat = 12.0f;
  const Analysed result(*job);
  const std::vector<float>& plain = job->output[0].samples;
  const std::vector<float>& shifted = job->output[1].samples;
  for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(shifted[i], 0.0f);
  for (std::size_t i = 3; i < 100; ++i) EXPECT_EQ(shifted[i], job->ensembles[0][1].samples[i - 3]) << i;
  EXPECT_EQ(plain, job->ensembles[0][0].samples);
}

/// Stores and printed lines of a run with that many threads.
std::pair<std::vector<float>, std::string> analysedWith(int threads, MemoryJob& job) {
  std::pair<std::vector<float>, std::string> result;
  tbb::task_arena(threads).execute([&] {
    const Analysed analysed(job);
    const korvane::Parameters& p = analysed.run.parameters;
    const korvane::Stores& st = analysed.run.stores;
    for (const float* rows : {st.vstore, st.vastore, st.astore, st.bstore, st.ahstore, st.bhstore}) {
      for (std::int64_t slot = 0; slot < p.slots(); ++slot) {
        if (st.istore[slot] == 1) result.first.insert(result.first.end(), rows + slot * p.nt, rows + (slot + 1) * p.nt);
      }
    }
    result.second = analysed.printed;
  });
  return result;
}

TEST(GatherPass, GivesTheSameForAnyNumberOfThreadsAlsoWhenACdpComesAgain) {
  const auto job = MemoryJob::line(4.0f, 100);
  job->parameterValues["NUMITER"] = 2;
  job->parameterValues["VELFILT"] = 40;  // each time a CDP comes in the second pass its velocity is smoothed once more
  job->parameterValues["NUMYSUM"] = 3;
  for (int k = 0; k < 60; ++k) job->ensembles.push_back(gather(1 + k * 7 % 10, 4 + k % 5));
  job->ensembles.push_back(job->ensembles.back());
  const auto expected = analysedWith(1, *job);
  EXPECT_FALSE(expected.first.empty());
  for (const int threads : {2, 3, 8}) EXPECT_EQ(analysedWith(threads, *job), expected) << threads;
}

}  // namespace
