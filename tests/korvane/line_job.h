#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "korvane/run_state.h"
#include "korvane/start_up.h"
#include "tests/support/host_test.h"
#include "tests/support/memory_job.h"

namespace korvane_test {

using Value = std::variant<int, float, std::string>;

/// A 2D job of CDPs 1 to 10 at 4 ms with other values of some parameters.
inline std::unique_ptr<MemoryJob> lineJob(int nt, const std::map<std::string, Value>& changes = {}) {
  auto job = MemoryJob::line(4.0f, nt);
  job->parameterValues["VAZNAMO"] = "vout";
  for (const auto& [key, value] : changes) job->parameterValues[key] = value;
  return job;
}

/// A gather whose amplitudes change with offset, so that intercept and gradient are not zero.
inline std::vector<Trace> gather(int cdp, int traces) {
  std::vector<Trace> ensemble;
  for (int j = 0; j < traces; ++j) {
    Trace trace{.cdp = cdp, .offset = 50.0f * static_cast<float>(j + 1), .fold = traces};
    for (int i = 0; i < 100; ++i) {
      trace.samples.push_back(std::sin(0.7f * static_cast<float>(i)) * (1.0f + 0.1f * static_cast<float>(j)));
    }
    ensemble.push_back(std::move(trace));
  }
  return ensemble;
}

/// What the work prints.
template <class Work>
std::string printedBy(Work work) {
  testing::internal::CaptureStdout();
  try {
    work();
  } catch (...) {
    testing::internal::GetCapturedStdout();
    throw;
  }
  return testing::internal::GetCapturedStdout();
}

/// A run after start-up, under its job.
struct StartedRun {
  host::local::JobScope scope;
  korvane::RunState run;

  explicit StartedRun(MemoryJob& job) : scope(job.job()) {
    if (job.ensembles.empty()) job.ensembles = {{{.cdp = 1}}};
    printedBy([&] { korvane::startUp(run, 0, nullptr); });
  }
};

}  // namespace korvane_test
