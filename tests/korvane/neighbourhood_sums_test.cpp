#include "korvane/neighbourhood_sums.h"

#include <gtest/gtest.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "solution/solution.h"

namespace {

using korvane::NeighbourhoodTotals;

/// One sector's grid with stores made of vectors.
struct Grid {
  korvane::Parameters p;
  std::vector<std::int32_t> istore, ilsamp;
  std::vector<float> rows[4];  ///< A, its transform, B, its transform

  Grid(int itlines, int xtlines, int idiff, int halfInlines, int halfCrosslines, int window)
      : istore(static_cast<std::size_t>(itlines * xtlines), 1), ilsamp(istore.size(), 0) {
    p.itlines = itlines;
    p.xtlines = xtlines;
    p.maxens = itlines * xtlines;
    p.idiff = idiff;
    p.numxsum2 = halfInlines;
    p.numysum2 = halfCrosslines;
    p.icorrwin = window;
    for (auto& values : rows) values.resize(istore.size() * static_cast<std::size_t>(idiff), 1.0f);
  }

  /// Values of either sign and a magnitude of 2^least to 2^(most + 1).
  void fill(std::mt19937& random, int least, int most) {
    std::uniform_int_distribution<int> exponent(least, most);
    std::uniform_real_distribution<float> mantissa(1.0f, 2.0f);
    for (auto& values : rows) {
      for (float& value : values) {
        value = std::ldexp(mantissa(random), exponent(random)) * (random() % 2 != 0 ? 1.0f : -1.0f);
      }
    }
  }

  /// Stored neighbours, the first sample that all of them cover, and the five sums, neighbour by neighbour.
  std::vector<double> plainTotals(int kcdp) {
    const int il = kcdp / p.xtlines, ix = kcdp % p.xtlines, n = p.idiff;
    std::vector<double> totals(static_cast<std::size_t>(2 + 5 * n), 0.0);
    std::vector<float> w(static_cast<std::size_t>(n)), scr1(w), scr2(w);
    double* s = &totals[2];
    for (int i = std::max(il - p.numxsum2, 0); i <= std::min(il + p.numxsum2, p.itlines - 1); ++i) {
      for (int k = std::max(ix - p.numysum2, 0); k <= std::min(ix + p.numysum2, p.xtlines - 1); ++k) {
        const auto slot = static_cast<std::size_t>(i * p.xtlines + k), row = slot * static_cast<std::size_t>(n);
        if (istore[slot] != 1) continue;
        ++totals[0];
        totals[1] = std::max(totals[1], static_cast<double>(ilsamp[slot]));
        std::fill(w.begin(), w.end(), 1.0f);
        solution::a_sauavg(s, s + n, s + 2 * n, s + 3 * n, s + 4 * n, &rows[0][row], &rows[1][row], &rows[2][row],
                           &rows[3][row], w.data(), scr1.data(), scr2.data(), n, 1, n, p.icorrwin, 1.0f);
      }
    }
    return totals;
  }
};

void expectPlainSums(Grid& grid, int threads, std::size_t tileBytes = std::size_t{1} << 26) {
  korvane::Stores stores;
  stores.istore = grid.istore.data();
  stores.ilsamp = grid.ilsamp.data();
  stores.astore = grid.rows[0].data();
  stores.ahstore = grid.rows[1].data();
  stores.bstore = grid.rows[2].data();
  stores.bhstore = grid.rows[3].data();
  std::vector<std::vector<double>> found(grid.istore.size());
  const auto visit = [&](const NeighbourhoodTotals& totals) {
    auto& values = found[static_cast<std::size_t>(totals.kcdp)];
    values = {static_cast<double>(totals.count), static_cast<double>(totals.isample)};
    for (const double* sum : {totals.asum, totals.bsum, totals.sumr, totals.sumi, totals.wts}) {
      values.insert(values.end(), sum, sum + grid.p.idiff);
    }
  };
  tbb::task_arena(threads).execute(
      [&] { korvane::NeighbourhoodSums(grid.p, tileBytes).sweep(stores, 0, visit, [](int) {}); });
  for (int kcdp = 0; kcdp < grid.p.maxens; ++kcdp) {
    const std::vector<double> plain = grid.plainTotals(kcdp), &sums = found[static_cast<std::size_t>(kcdp)];
    ASSERT_TRUE(sums.size() == plain.size() && std::memcmp(sums.data(), plain.data(), 8 * plain.size()) == 0)
        << "position " << kcdp << ", threads " << threads;
  }
}

TEST(NeighbourhoodSums, AreThoseOfAddingNeighbourByNeighbour) {
  std::mt19937 random(20);
  const int shapes[][6] = {{1, 40, 130, 0, 3, 9}, {9, 11, 65, 2, 3, 12}, {6, 70, 64, 10, 10, 5}, {12, 3, 63, 1, 10, 0},
                           {1, 1, 7, 0, 0, 3},    {5, 5, 1, 1, 1, 1},    {4, 90, 70, 0, 21, 20}};
  for (const auto& [itlines, xtlines, idiff, halfInlines, halfCrosslines, window] : shapes) {
    Grid grid(itlines, xtlines, idiff, halfInlines, halfCrosslines, window);
    grid.fill(random, -3, 3);
    for (std::int32_t& stored : grid.istore) stored = random() % 4 != 0 ? 1 : 0;
    for (std::int32_t& first : grid.ilsamp) first = static_cast<int>(random() % 5);
    for (std::size_t i = 0; i < grid.rows[0].size(); i += 1 + random() % 9) grid.rows[0][i] = 0.0f;
    for (const int threads : {1, 3}) expectPlainSums(grid, threads);
    expectPlainSums(grid, 2, 1);  // tiles as narrow as they come
  }
}

// Products of the traces have exponents that lie up to 4 * spread apart. Without smoothing they are the terms.
TEST(NeighbourhoodSums, KeepTheOrderWhereSumsOfTheTermsRound) {
  std::mt19937 random(21);
  for (const int spread : {3, 5, 6, 7, 8, 12, 30}) {
    SCOPED_TRACE(spread);
    Grid grid(7, 12, 200, 2, 2, 0);
    grid.fill(random, -spread, spread);
    expectPlainSums(grid, 2);
  }
}

TEST(NeighbourhoodSums, ComeBackToSlidingBehindABlockThatRounds) {
  std::mt19937 random(22);
  Grid grid(9, 30, 140, 1, 2, 0);
  grid.fill(random, -2, 2);
  // some CDPs far above the others: their neighbourhoods round, those beside them do not
  for (const int slot : {31, 95, 100, 101, 180}) {
    for (int i = 60; i < 70; ++i) grid.rows[2][static_cast<std::size_t>(slot * 140 + i)] *= 1e12f;
  }
  for (const int threads : {1, 2}) expectPlainSums(grid, threads);
}

TEST(NeighbourhoodSums, StandOnTheLimitOfExactness) {
  // 15 to 20 large terms of 5 x 5: their sum stays exact while the small ones are at most 24 or 25 exponents below
  for (const int difference : {22, 23, 24, 25, 26, 27, 28}) {
    SCOPED_TRACE(difference);
    Grid grid(5, 9, 64, 2, 2, 0);
    for (std::size_t k = 0; k < grid.rows[0].size(); ++k) {
      grid.rows[1][k] = grid.rows[3][k] = 0.0f;
      grid.rows[2][k] = std::ldexp(1.9999999f, (k / 64) % 3 == 1 ? -difference : 0);
    }
    expectPlainSums(grid, 1);
  }
  // neighbourhoods of three whose exponents differ by 26, which they may, and by 39 while one slides to the next
  for (const auto& [inlines, crosslines] : {std::pair{1, 9}, {9, 1}}) {
    Grid grid(inlines, crosslines, 64, inlines / 9, crosslines / 9, 0);
    for (std::size_t k = 0; k < grid.rows[0].size(); ++k) {
      grid.rows[1][k] = grid.rows[3][k] = 0.0f;
      grid.rows[2][k] = std::ldexp(1.9999999f, 52 - 13 * static_cast<int>(k / 64));
    }
    expectPlainSums(grid, 1);
  }
}

TEST(NeighbourhoodSums, TakeDenormalsInfinitiesAndNotANumber) {
  std::mt19937 random(23);
  Grid grid(5, 20, 100, 1, 2, 0);
  grid.fill(random, -70, -66);  // products at the lower end of the floats
  expectPlainSums(grid, 2);
  grid.fill(random, -3, 3);
  grid.rows[2][777] = std::numeric_limits<float>::infinity();
  grid.rows[0][1234] = std::numeric_limits<float>::quiet_NaN();
  expectPlainSums(grid, 2);
  for (auto& values : grid.rows) std::fill(values.begin(), values.end(), std::numeric_limits<float>::infinity());
  expectPlainSums(grid, 2);
}

}  // namespace
