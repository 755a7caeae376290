#include "korvane/neighbourhood_sums.h"

#include <gtest/gtest.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "solution/solution.h"

namespace {

using korvane::NeighbourhoodTotals;

/// One sector's grid with stores made of vectors.
struct Grid {
  korvane::Parameters p;
  korvane::Stores stores;
  std::vector<std::int32_t> istore, ilsamp;
  std::vector<float> a, ah, b, bh;

  Grid(int itlines, int xtlines, int idiff, int halfInlines, int halfCrosslines, int window) {
    p.itlines = itlines;
    p.xtlines = xtlines;
    p.maxens = itlines * xtlines;
    p.idiff = p.nt = idiff;
    p.numxsum2 = halfInlines;
    p.numysum2 = halfCrosslines;
    p.icorrwin = window;
    const auto slots = static_cast<std::size_t>(p.maxens);
    istore.assign(slots, 1);
    ilsamp.assign(slots, 0);
    for (auto* rows : {&a, &ah, &b, &bh}) rows->assign(slots * static_cast<std::size_t>(idiff), 0.0f);
    stores.istore = istore.data();
    stores.ilsamp = ilsamp.data();
    stores.astore = a.data();
    stores.ahstore = ah.data();
    stores.bstore = b.data();
    stores.bhstore = bh.data();
  }

  /// Values sign * m * 2^e with e from least to most.
  void fill(std::mt19937& random, int least, int most) {
    std::uniform_int_distribution<int> exponent(least, most);
    std::uniform_real_distribution<float> mantissa(1.0f, 2.0f);
    for (auto* rows : {&a, &ah, &b, &bh}) {
      for (float& value : *rows) {
        value = std::ldexp(mantissa(random), exponent(random)) * (random() % 2 != 0 ? 1.0f : -1.0f);
      }
    }
  }
};

/// The sums of one position as they are defined: neighbour by neighbour.
struct Plain {
  int count = 0, isample = 0;
  std::vector<double> sums;

  Plain(const Grid& grid, int kcdp) : sums(5 * static_cast<std::size_t>(grid.p.idiff), 0.0) {
    const korvane::Parameters& p = grid.p;
    const int il = kcdp / p.xtlines, ix = kcdp % p.xtlines, n = p.idiff;
    std::vector<float> w(static_cast<std::size_t>(n)), scr1(w), scr2(w);
    for (int i = std::max(il - p.numxsum2, 0); i <= std::min(il + p.numxsum2, p.itlines - 1); ++i) {
      for (int k = std::max(ix - p.numysum2, 0); k <= std::min(ix + p.numysum2, p.xtlines - 1); ++k) {
        const int slot = i * p.xtlines + k, row = slot * n;
        if (grid.stores.istore[slot] != 1) continue;
        ++count;
        isample = std::max(isample, grid.stores.ilsamp[slot]);
        std::fill(w.begin(), w.end(), 1.0f);
        double* s = sums.data();
        solution::a_sauavg(s, s + n, s + 2 * n, s + 3 * n, s + 4 * n, grid.stores.astore + row,
                           grid.stores.ahstore + row, grid.stores.bstore + row, grid.stores.bhstore + row, w.data(),
                           scr1.data(), scr2.data(), n, 1, n, p.icorrwin, 1.0f);
      }
    }
  }
};

void expectPlainSums(const Grid& grid, int threads, std::size_t tileBytes = std::size_t{1} << 26) {
  std::vector<std::vector<double>> found(static_cast<std::size_t>(grid.p.maxens));
  std::vector<int> counts(found.size()), isamples(found.size());
  int last = 0;
  tbb::task_arena(threads).execute([&] {
    korvane::NeighbourhoodSums(grid.p, tileBytes)
        .sweep(
            grid.stores, 0,
            [&](const NeighbourhoodTotals& totals) {
              const auto at = static_cast<std::size_t>(totals.kcdp);
              for (const double* sum : {totals.asum, totals.bsum, totals.sumr, totals.sumi, totals.wts}) {
                found[at].insert(found[at].end(), sum, sum + grid.p.idiff);
              }
              counts[at] = totals.count;
              isamples[at] = totals.isample;
            },
            [&](int positions) {
              EXPECT_GT(positions, last);
              last = positions;
            });
  });
  EXPECT_EQ(last, grid.p.maxens);
  for (int kcdp = 0; kcdp < grid.p.maxens; ++kcdp) {
    const Plain plain(grid, kcdp);
    const auto at = static_cast<std::size_t>(kcdp);
    ASSERT_EQ(found[at].size(), plain.sums.size()) << kcdp;
    ASSERT_EQ(std::memcmp(found[at].data(), plain.sums.data(), plain.sums.size() * sizeof(double)), 0)
        << "position " << kcdp << ", threads " << threads;
    ASSERT_EQ(counts[at], plain.count) << kcdp;
    ASSERT_EQ(isamples[at], plain.isample) << kcdp;
  }
}

TEST(NeighbourhoodSums, AreThoseOfAddingNeighbourByNeighbour) {
  struct Case {
    int itlines, xtlines, idiff, halfInlines, halfCrosslines, window;
  };
  std::mt19937 random(20);
  for (const Case& c : {Case{1, 40, 130, 0, 3, 9},
                        {9, 11, 65, 2, 3, 12},
                        {6, 70, 64, 10, 10, 5},
                        {12, 3, 63, 1, 10, 0},
                        {1, 1, 7, 0, 0, 3},
                        {5, 5, 1, 1, 1, 1},
                        {4, 90, 70, 0, 21, 20}}) {
    Grid grid(c.itlines, c.xtlines, c.idiff, c.halfInlines, c.halfCrosslines, c.window);
    grid.fill(random, -3, 3);
    for (std::size_t slot = 0; slot < grid.istore.size(); ++slot) {
      grid.istore[slot] = random() % 4 != 0 ? 1 : 0;
      grid.ilsamp[slot] = static_cast<int>(random() % 5);
    }
    for (std::size_t i = 0; i < grid.a.size(); i += 1 + random() % 9) grid.a[i] = 0.0f;
    for (const int threads : {1, 3}) expectPlainSums(grid, threads);
    expectPlainSums(grid, 2, 1);  // tiles as narrow as they come
  }
}

// Products of the traces have exponents that lie up to 4 * spread apart. Without smoothing they are the terms.
TEST(NeighbourhoodSums, KeepTheOrderWhereSumsOfTheTermsRound) {
  std::mt19937 random(21);
  for (const int spread : {3, 5, 6, 7, 8, 12, 30}) {
    Grid grid(7, 12, 200, 2, 2, 0);
    grid.fill(random, -spread, spread);
    SCOPED_TRACE(spread);
    expectPlainSums(grid, 2);
  }
}

TEST(NeighbourhoodSums, ComeBackToSlidingBehindABlockThatRounds) {
  std::mt19937 random(22);
  Grid grid(9, 30, 140, 1, 2, 0);
  grid.fill(random, -2, 2);
  // some CDPs far above the others: their neighbourhoods round, those beside them do not
  for (const int slot : {31, 95, 100, 101, 180}) {
    for (int i = 60; i < 70; ++i) grid.b[static_cast<std::size_t>(slot * 140 + i)] *= 1e12f;
  }
  for (const int threads : {1, 2}) expectPlainSums(grid, threads);
}

TEST(NeighbourhoodSums, StandOnTheLimitOfExactness) {
  // 5 x 5 terms and those that a slide adds are fewer than 64: exponents of terms may differ by 23
  for (const int difference : {22, 23, 24, 25}) {
    Grid grid(5, 9, 64, 2, 2, 0);
    for (std::size_t k = 0; k < grid.a.size(); ++k) {
      const bool small = (k / 64) % 3 == 1;
      grid.a[k] = 1.0f;
      grid.b[k] = std::ldexp(1.9999999f, small ? -difference : 0) * ((k / 64) % 2 == 0 ? 1.0f : -1.0f);
    }
    SCOPED_TRACE(difference);
    expectPlainSums(grid, 1);
  }
}

TEST(NeighbourhoodSums, TakeDenormalsInfinitiesAndNotANumber) {
  std::mt19937 random(23);
  Grid grid(5, 20, 100, 1, 2, 0);
  grid.fill(random, -70, -66);  // products at the lower end of the floats
  expectPlainSums(grid, 2);
  grid.fill(random, -3, 3);
  grid.b[777] = std::numeric_limits<float>::infinity();
  grid.a[1234] = std::numeric_limits<float>::quiet_NaN();
  expectPlainSums(grid, 2);
}

}  // namespace
