#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "avo/avo.h"
#include "bench/hash.h"
#include "korvane/constants.h"
#include "korvane/run_state.h"
#include "moveout/moveout.h"
#include "tests/definitions/definitions.h"

// The kernels of the gather pass on a gather of 60 traces of 1500 samples at 4 ms, offsets up to 3000 m: all its
// traces moved out, all of them added to the angle sums, the sums solved, the Hilbert transforms of the result, as
// shipped and by the definition. The hash covers every output.
namespace {

constexpr int traces = 60, samples = 1500, columns = avo::sums::count;

struct Gather {
  korvane::Parameters p;
  korvane::Constants c;
  std::vector<float> padded, moved, sloth, sums, attributes, hilbert, trcoef, columnOfSample;
  std::vector<double> sin2;

  Gather() {
    p.dt = 4.0f;
    p.nt = samples;
    korvane::designInterpolation(p, c);
    c.dtt = 0.004f;
    c.mmxh = 100;
    c.ifndx = 40;
    korvane::designBandFilters(p, c);
    std::mt19937 random(1);
    std::normal_distribution<float> amplitude;
    padded.resize(traces * stride());
    for (int k = 0; k < traces; ++k) {
      for (int i = 0; i < samples; ++i) padded[k * stride() + c.ilen + i] = amplitude(random);
    }
    moved.resize(traces * samples);
    sloth.resize(samples + 2);
    for (int i = 0; i < samples + 2; ++i) sloth[i] = 1.0f / std::pow(1500.0f + 1.2f * static_cast<float>(i), 2.0f);
    sums.resize(columns * samples);
    attributes.resize(avo::out_size * samples);
    hilbert.resize(2 * samples);
    trcoef.resize(2 * samples * c.ilen);
    columnOfSample.resize(samples);
    sin2.resize(samples);
  }
  std::size_t stride() const { return static_cast<std::size_t>(samples + 2 * c.ilen); }
  static float offset(int k) { return 50.0f * static_cast<float>(k + 1); }
  std::uint64_t hash() const {
    return bench::hashOf(moved.data(), traces * samples) + bench::hashOf(sums.data(), columns * samples) +
           bench::hashOf(attributes.data(), 2 * samples) + bench::hashOf(hilbert.data(), 2 * samples);
  }
};

void plainHilbert(const float* a, float* h, const int& nt, const int& is1, const int& is2, const int& ftrlen) {
  static const std::vector<float> filter = definition::hilbert_filter(ftrlen);
  definition::hilbert(a, h, nt, is1, is2, filter.data(), static_cast<int>(filter.size()));
}

struct Kernels {
  decltype(&definition::a_samvot) a_samvot;
  decltype(&definition::a_sahcic) a_sahcic;
  decltype(&definition::a_sahci) a_sahci;
  decltype(&plainHilbert) a_mahlbt;
};

constexpr Kernels shipped{moveout::a_samvot, avo::a_sahcic, avo::a_sahci, avo::a_mahlbt};
constexpr Kernels plain{definition::a_samvot, definition::a_sahcic, definition::a_sahci, plainHilbert};

void moveOut(Gather& g, const Kernels& kernels) {
  for (int k = 0; k < traces; ++k) {
    int first = 1, last = samples;
    kernels.a_samvot(&g.padded[k * g.stride()], g.sloth.data(), g.c.rcoef.data(), &g.moved[k * samples],
                     g.trcoef.data(), g.columnOfSample.data(), samples, g.c.ilen, first, last, Gather::offset(k), first,
                     0.0f, 0.004f, first, last);
  }
}

void sumAngles(Gather& g, const Kernels& kernels) {
  std::fill(g.sums.begin(), g.sums.end(), 0.0f);
  for (int k = 0; k < traces; ++k) {
    int first = 1, last = samples;
    kernels.a_sahcic(g.sums.data(), &g.moved[k * samples], g.sloth.data(), g.sin2.data(), columns, first, last, 1,
                     samples, 0.0f, 0.004f, Gather::offset(k), 0.0f, 0.8f, 0, 1.0f);
  }
}

void solve(Gather& g, const Kernels& kernels) {
  const int parameters[] = {43, 3, 2, 1, 0, 0, 1480, 3, 0, 0, 0, 12, 0, 0, 0};
  int first = 1, last = samples;
  kernels.a_sahci(g.sums.data(), g.c.h1.data(), g.c.h2.data(), g.sloth.data(), g.sloth.data(), parameters,
                  g.attributes.data(), samples, g.c.mmxh, avo::slot::count, first, last, g.c.ifndx, columns, 0.0f,
                  0.004f, 80.0f);
  for (int k = 0; k < 2; ++k)
    kernels.a_mahlbt(&g.attributes[k * samples], &g.hilbert[k * samples], samples, 1, samples, 43);
}

void moveout_(benchmark::State& state, Kernels kernels) {
  Gather g;
  for (auto _ : state) moveOut(g, kernels);
  bench::report(state, g.hash());
}
void angle_sums(benchmark::State& state, Kernels kernels) {
  Gather g;
  moveOut(g, kernels);
  for (auto _ : state) sumAngles(g, kernels);
  bench::report(state, g.hash());
}
void gather(benchmark::State& state, Kernels kernels) {
  Gather g;
  for (auto _ : state) {
    moveOut(g, kernels);
    sumAngles(g, kernels);
    solve(g, kernels);
  }
  bench::report(state, g.hash());
  state.SetItemsProcessed(state.iterations() * traces);
}

BENCHMARK_CAPTURE(moveout_, plain, plain)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(moveout_, shipped, shipped)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(angle_sums, plain, plain)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(angle_sums, shipped, shipped)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(gather, plain, plain)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(gather, shipped, shipped)->Unit(benchmark::kMicrosecond);

}  // namespace
