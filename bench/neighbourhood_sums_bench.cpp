#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "bench/hash.h"
#include "bench/threads.h"
#include "korvane/neighbourhood_sums.h"
#include "solution/solution.h"

// Neighbourhood sums of a 60 x 60 grid of 1000 samples on one thread: as shipped for the whole grid, and neighbour by
// neighbour, the definition, for some positions in its middle. Counters: seconds a position, and a hash of the sums of
// those positions, which has to be the same for both.
namespace {

constexpr int lines = 60, samples = 1000, window = 50;

struct Grid {
  korvane::Parameters p;
  korvane::Stores stores;
  std::vector<std::int32_t> istore, ilsamp;
  std::vector<float> a, ah, b, bh;

  explicit Grid(int neighbours) {
    p.itlines = p.xtlines = lines;
    p.maxens = lines * lines;
    p.idiff = p.nt = samples;
    p.numxsum2 = p.numysum2 = neighbours / 2;
    p.icorrwin = window;
    istore.assign(lines * lines, 1);
    ilsamp.assign(lines * lines, 0);
    std::mt19937 random(1);
    std::normal_distribution<float> amplitude;
    for (auto* rows : {&a, &ah, &b, &bh}) {
      rows->resize(static_cast<std::size_t>(p.maxens) * samples);
      for (float& value : *rows) value = amplitude(random);
    }
    stores = {.istore = istore.data(),
              .ilsamp = ilsamp.data(),
              .astore = a.data(),
              .bstore = b.data(),
              .ahstore = ah.data(),
              .bhstore = bh.data()};
  }
};

bool isSampled(int kcdp) { return kcdp / lines == 30 && kcdp % lines >= 28 && kcdp % lines < 32; }

std::uint64_t hashOfSums(const double* asum, const double* sumi) {
  return bench::hashOf(asum, samples) + bench::hashOf(sumi, samples);
}

void report(benchmark::State& state, int positions, std::uint64_t hash) {
  state.counters["position"] = benchmark::Counter(
      static_cast<double>(positions), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  bench::report(state, hash);
}

void sums_shipped(benchmark::State& state) {
  const Grid grid(static_cast<int>(state.range(0)));
  korvane::NeighbourhoodSums sums(grid.p);
  std::uint64_t hashed = 0;
  for (auto _ : state) {
    hashed = 0;
    const auto visit = [&](const korvane::NeighbourhoodTotals& totals) {
      if (isSampled(totals.kcdp)) hashed += hashOfSums(totals.asum, totals.sumi);
    };
    bench::onThreads(1, [&] { sums.sweep(grid.stores, 0, visit, [](int) {}); });
  }
  report(state, grid.p.maxens, hashed);
}

void sums_plain(benchmark::State& state) {
  const Grid grid(static_cast<int>(state.range(0)));
  const int half = grid.p.numxsum2;
  std::vector<double> sums(5 * samples);
  std::vector<float> w(samples), scr1(samples), scr2(samples);
  std::uint64_t hashed = 0;
  int positions = 0;
  for (auto _ : state) {
    hashed = 0;
    positions = 0;
    for (int kcdp = 0; kcdp < lines * lines; ++kcdp) {
      if (!isSampled(kcdp)) continue;
      ++positions;
      std::fill(sums.begin(), sums.end(), 0.0);
      double* s = sums.data();
      for (int il = kcdp / lines - half; il <= kcdp / lines + half; ++il) {
        for (int ix = kcdp % lines - half; ix <= kcdp % lines + half; ++ix) {
          const int row = (il * lines + ix) * samples;
          std::fill(w.begin(), w.end(), 1.0f);
          solution::a_sauavg(s, s + samples, s + 2 * samples, s + 3 * samples, s + 4 * samples,
                             grid.stores.astore + row, grid.stores.ahstore + row, grid.stores.bstore + row,
                             grid.stores.bhstore + row, w.data(), scr1.data(), scr2.data(), samples, 1, samples, window,
                             1.0f);
        }
      }
      hashed += hashOfSums(s, s + 3 * samples);
    }
  }
  report(state, positions, hashed);
}

BENCHMARK(sums_shipped)->Arg(3)->Arg(21)->Unit(benchmark::kMillisecond);
BENCHMARK(sums_plain)->Arg(3)->Arg(21)->Unit(benchmark::kMillisecond);

}  // namespace
