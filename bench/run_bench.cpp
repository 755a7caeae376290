#include <benchmark/benchmark.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "app/checkpointer.h"
#include "app/run_log.h"
#include "app/synth.h"
#include "bench/hash.h"
#include "bench/quiet.h"
#include "bench/scratch_folder.h"
#include "bench/threads.h"
#include "host/local/job_file.h"
#include "host/local/local_job.h"
#include "korvane/run.h"
#include "korvane/start_up.h"

// Whole runs from a SEG-Y file in the page cache. The hash covers the output traces.
namespace {

using host::local::JobScope;
using host::local::LocalJob;
using host::local::readJobFile;

constexpr int threads = 2;

void replace(std::string& text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  if (at == std::string::npos) throw std::logic_error("the job has no " + from);
  text.replace(at, from.size(), to);
}

std::string contents(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

/// Makes the survey unless it is there. @return its job file
std::filesystem::path jobOf(app::SynthOptions options, const std::string& name, bool prestack) {
  options.folder = bench::scratchFolder() / name;
  const std::filesystem::path job = options.folder / "job.toml";
  if (std::filesystem::exists(job)) return job;
  std::ostringstream log;
  app::synthesise(options, log);
  std::string text = contents(job);
  if (prestack) replace(text, "PRESTACK = 0", "PRESTACK = 1");
  std::ofstream(job) << text;
  sync();  // or the disk is still busy with it while others are timed
  return job;
}

/// 270 gathers of 60 traces of 1500 samples: 101 MB.
std::filesystem::path prestackJob() {
  app::SynthOptions options;
  options.crosslines = 270;
  options.fold = 60;
  options.samples = 1500;
  options.passes = 1;
  return jobOf(options, "prestack", true);
}
constexpr int prestackTraces = 270 * 60;

/// A 3D grid of inlines x 200 CDPs with 12 traces of 500 samples each.
std::filesystem::path gridJob(int inlines) {
  app::SynthOptions options;
  options.inlines = inlines;
  options.crosslines = 200;
  options.fold = 12;
  return jobOf(options, "grid" + std::to_string(inlines), false);
}

void run(const std::filesystem::path& file) {
  bench::Quiet quiet;
  const host::local::JobFile jobFile = readJobFile(file, quiet);
  LocalJob job(jobFile, "bench", quiet);
  const JobScope scope(job.job());
  bench::onThreads(threads, [] { korvane::run(0, nullptr); });
}

void reportOutput(benchmark::State& state, const std::filesystem::path& job) {
  bench::Quiet quiet;
  const std::string traces = contents(*readJobFile(job, quiet).output).substr(3600);  // the text head tells the time
  bench::report(state, bench::hashOf(traces.data(), static_cast<std::int64_t>(traces.size())));
}

/// SEG-Y to SEG-Y: every trace read, moved out, analysed and written.
void prestack_run(benchmark::State& state) {
  const auto job = prestackJob();
  for (auto _ : state) run(job);
  reportOutput(state, job);
  state.SetItemsProcessed(state.iterations() * prestackTraces);
}

void growth(benchmark::State& state) {
  const int inlines = static_cast<int>(state.range(0)) / 200;
  const auto job = gridJob(inlines);
  for (auto _ : state) run(job);
  reportOutput(state, job);
  state.counters["CDP"] = benchmark::Counter(
      static_cast<double>(state.range(0)), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

/// A 3D survey in six sectors with little work for what a checkpoint holds: 24 traces of 500 samples a CDP. The
/// counters are the time of the first pass, which also touches memory for the first time, and the mean of the others.
void sectors(benchmark::State& state, bool checkpoint) {
  app::SynthOptions options;
  options.inlines = 48;
  options.crosslines = 48;
  options.fold = 24;
  options.sectors = 6;
  const auto job = jobOf(options, "sectors", false);
  double first = 0.0, others = 0.0;
  for (auto _ : state) {
    bench::Quiet quiet;
    const host::local::JobFile jobFile = readJobFile(job, quiet);
    LocalJob local(jobFile, "bench", quiet);
    app::RunLog log(std::nullopt);
    app::Checkpointer checkpointer(jobFile, local, log);
    korvane::PassObserver* observer = &checkpointer;
    const JobScope scope(local.job());
    bench::onThreads(threads, [&] { korvane::run(0, nullptr, std::span(&observer, checkpoint ? 1 : 0)); });
    checkpointer.remove();
    const auto passes = local.summary().passes;
    first += passes.front().seconds;
    for (int pass = 2; pass <= options.passes; ++pass) others += passes[static_cast<std::size_t>(pass - 1)].seconds;
  }
  reportOutput(state, job);
  const auto runs = static_cast<double>(state.iterations());
  state.counters["first"] = first / runs;
  state.counters["others"] = others / runs / (options.passes - 1);
}

/// From the job file to the first ensemble in hand.
void start_up(benchmark::State& state, bool indexKnown) {
  const auto job = prestackJob();
  run(job);  // leaves the index
  for (auto _ : state) {
    bench::Quiet quiet;
    if (!indexKnown) std::filesystem::remove(host::local::indexFile(readJobFile(job, quiet)));
    const auto begin = std::chrono::steady_clock::now();
    const host::local::JobFile jobFile = readJobFile(job, quiet);
    LocalJob local(jobFile, "bench", quiet);
    const JobScope scope(local.job());
    korvane::RunState started;
    korvane::startUp(started, 0, nullptr);
    benchmark::DoNotOptimize(host::stGetEnsemble(started.work.traces.data(), started.work.iheads.data()));
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
  }
}

BENCHMARK(prestack_run)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(growth)->Arg(1000)->Arg(30000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(sectors, plain, false)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(sectors, checkpoint, true)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(start_up, index_known, true)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK_CAPTURE(start_up, first_scan, false)->Unit(benchmark::kMillisecond)->UseManualTime();

}  // namespace
