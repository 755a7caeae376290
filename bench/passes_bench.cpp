#include <benchmark/benchmark.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "bench/hash.h"
#include "bench/quiet.h"
#include "bench/threads.h"
#include "korvane/gather_pass.h"
#include "korvane/start_up.h"
#include "korvane/update_pass.h"
#include "tests/support/memory_job.h"

// The two passes of the driver as a run makes them, from memory: an analysis pass over 2000 gathers of 60 traces of
// 1500 samples, and the revision of a grid of 60 x 60 positions of 1000 samples, for one thread and for two. The hash
// covers what the pass leaves in the stores.
namespace {

/// The job as it is, but for its data: one pass over `count` ensembles that repeat a few random gathers.
class Gathers : public host::local::EnsembleSource {
 public:
  Gathers(int count, int traces, int samples) : count_(count), traces_(traces), samples_(samples) {
    std::mt19937 random(1);
    std::normal_distribution<float> amplitude;
    amplitudes_.resize(kinds * static_cast<std::size_t>(traces * samples));
    for (float& value : amplitudes_) value = amplitude(random);
  }
  void rewind() { next_ = 0; }
  void deliver(int /*passes*/) override {}
  int next(float* const* traces, std::int32_t* const* heads) override {
    if (next_ == count_) return 0;
    const float* from = &amplitudes_[static_cast<std::size_t>(next_ % kinds * traces_ * samples_)];
    ++next_;
    for (int j = 0; j < traces_; ++j) {
      std::copy_n(from + j * samples_, samples_, traces[j]);
      std::fill_n(heads[j], host::local::headerWords + 1, 0);
      const auto word = [&](int index) -> std::int32_t& { return heads[j][index - 1]; };
      word(host::local::standardHeaders.icdp) = next_;
      word(host::local::standardHeaders.itrc_type) = 1;
      word(host::local::standardHeaders.idiskiter) = 1;
      word(host::local::standardHeaders.ioffset) = std::bit_cast<std::int32_t>(50.0f * static_cast<float>(j + 1));
    }
    return traces_;
  }

 private:
  static constexpr int kinds = 8;
  int count_, traces_, samples_;
  int next_ = 0;
  std::vector<float> amplitudes_;
};

std::uint64_t hashOfRows(const korvane::Parameters& p, const float* rows, int length) {
  return bench::hashOf(rows, p.slots() * length);
}

void gather_pass(benchmark::State& state) {
  constexpr int cdps = 2000, traces = 60, samples = 1500;
  const auto line = korvane_test::MemoryJob::line(4.0f, samples);
  line->parameterValues["MAXCDP"] = cdps;
  line->parameterValues["VELFILT"] = 100;
  Gathers gathers(cdps, traces, samples);
  const host::local::Job& given = line->job();
  host::local::Job job{given.runtime, given.misc,   given.headerWords, given.parameters, given.headers, gathers,
                       given.output,  given.tables, given.blocks,      given.messages,   given.link};
  job.runtime.maxdtr = traces;
  bench::onThreads(static_cast<int>(state.range(0)), [&] {
    const bench::Quiet quiet;
    const host::local::JobScope scope(job);
    korvane::RunState run;
    korvane::startUp(run, 0, nullptr);
    for (auto _ : state) {
      gathers.rewind();
      run.numiter = 0;
      korvane::gatherPass(run);
    }
    const korvane::Parameters& p = run.parameters;
    bench::report(state, hashOfRows(p, run.stores.astore, p.idiff) + hashOfRows(p, run.stores.bhstore, p.idiff));
  });
  state.counters["CDP"] =
      benchmark::Counter(cdps, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void update_pass(benchmark::State& state) {
  constexpr int lines = 60, samples = 1000;
  const auto grid = korvane_test::MemoryJob::line(4.0f, samples);
  grid->job().misc.i3d = 1;
  for (const char* key : {"MINILINE", "MINXLINE"}) grid->parameterValues[key] = 1;
  for (const char* key : {"MAXILINE", "MAXXLINE"}) grid->parameterValues[key] = lines;
  for (const char* key : {"NUMXSUM", "NUMYSUM"}) grid->parameterValues[key] = static_cast<int>(state.range(0));
  grid->parameterValues["CORRWIN"] = 200;
  bench::onThreads(static_cast<int>(state.range(1)), [&] {
    const bench::Quiet quiet;
    const host::local::JobScope scope(grid->job());
    korvane::RunState run;
    korvane::startUp(run, 0, nullptr);
    const korvane::Parameters& p = run.parameters;
    const korvane::Stores& st = run.stores;
    std::mt19937 random(1);
    std::normal_distribution<float> amplitude;
    std::fill_n(st.istore, p.slots(), 1);
    std::fill_n(st.ilsamp, p.slots(), 0);
    for (float* rows : {st.astore, st.bstore, st.ahstore, st.bhstore}) {
      std::generate_n(rows, p.slots() * p.idiff, [&] { return amplitude(random); });
    }
    run.numiter = 2;
    for (auto _ : state) {
      state.PauseTiming();
      for (std::int64_t i = 0; i < p.slots() * p.nt; ++i) st.vstore[i] = 1500.0f + static_cast<float>(i % p.nt);
      state.ResumeTiming();
      korvane::updatePass(run);
    }
    bench::report(state, hashOfRows(p, st.vstore, p.nt) + hashOfRows(p, st.vastore, p.nt));
  });
  state.counters["position"] =
      benchmark::Counter(lines * lines, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

BENCHMARK(gather_pass)->ArgName("threads")->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(update_pass)
    ->ArgNames({"side", "threads"})
    ->ArgsProduct({{3, 21}, {1, 2}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
