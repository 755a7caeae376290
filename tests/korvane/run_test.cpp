#include "korvane/run.h"

#include <tbb/task_arena.h>

#include <algorithm>

#include "tests/korvane/line_job.h"

namespace {

using korvane_test::lineJob;
using korvane_test::MemoryJob;

/// A job with two passes and its output.
std::unique_ptr<MemoryJob> jobOf(int prestack) {
  auto job = lineJob(100, {{"NUMITER", 2}, {"NUMYSUM", 3}, {"OUTPUT", "1-4"}, {"PRESTACK", prestack}});
  for (int cdp = 1; cdp <= 10; ++cdp) job->ensembles.push_back(korvane_test::gather(cdp, 4));
  return job;
}

void runOn(int threads, MemoryJob& job) {
  korvane_test::printedBy([&] {
    const host::local::JobScope scope(job.job());
    tbb::task_arena(threads).execute([] { korvane::run(0, nullptr); });
  });
}

TEST(Run, EndsWithTheFaultOfWhateverCallFailsWithTheOthersUnderWay) {
  for (const int prestack : {0, 1}) {
    const auto whole = jobOf(prestack);
    runOn(3, *whole);
    ASSERT_GT(whole->output.size(), 10u);
    for (std::size_t call = 0; call < whole->calls.size(); ++call) {
      const auto job = jobOf(prestack);
      job->faultAtCall = call;
      EXPECT_EQ(korvane_test::refusal([&] { runOn(3, *job); }), whole->calls[call]);
      EXPECT_EQ(job->calls.size(), call) << "nothing more is asked of a framework that has failed";
    }
  }
}

}  // namespace
