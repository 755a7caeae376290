#include "korvane/neighbourhood_sums.h"

#include <tbb/blocked_range.h>
#include <tbb/enumerable_thread_specific.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <utility>
#include <vector>

#include "host/wide.h"
#include "solution/smoothed_products.h"

namespace korvane {

namespace {

constexpr int quantities = 5;     // |A|^2, |B|^2, real and imaginary part of A conj(B), weight
constexpr int blockSamples = 64;  // samples that share a certificate

/// Least and largest exponent field of the non-zero values of one quantity in one block of samples.
struct Exponents {
  std::uint8_t least = 255, most = 0;
};

constexpr Exponents unknown{.least = 0, .most = 255};  ///< of sums that are not there: with any terms never exact

/// Exponents of every quantity and block.
struct ExponentRanges {
  std::vector<std::uint8_t> least, most;

  void assign(std::size_t cells, const Exponents& e = {}) {
    least.assign(cells, e.least);
    most.assign(cells, e.most);
  }
  void include(const ExponentRanges& other) {
    for (std::size_t i = 0; i < least.size(); ++i) least[i] = std::min(least[i], other.least[i]);
    for (std::size_t i = 0; i < most.size(); ++i) most[i] = std::max(most[i], other.most[i]);
  }
  void set(std::size_t cell, const Exponents& e) {
    least[cell] = e.least;
    most[cell] = e.most;
  }
  Exponents operator[](std::size_t cell) const { return {least[cell], most[cell]}; }
};

Exponents merged(const Exponents& a, const Exponents& b) {
  return {std::min(a.least, b.least), std::max(a.most, b.most)};
}

/// Exponents of `count` floats; values below the normal range count as the least normal exponent.
KORVANE_WIDE Exponents exponentsOf(const float* values, int count) {
  std::uint32_t least = 255, most = 0;
  for (int i = 0; i < count; ++i) {
    const std::uint32_t bits = std::bit_cast<std::uint32_t>(values[i]) & 0x7fffffffu;
    const std::uint32_t exponent = std::max(bits >> 23, 1u);
    least = std::min(least, bits == 0 ? 255u : exponent);
    most = std::max(most, bits == 0 ? 0u : exponent);
  }
  return {.least = static_cast<std::uint8_t>(least), .most = static_cast<std::uint8_t>(most)};
}

/// Smoothed products of one CDP.
struct Smoothed {
  bool stored = false;
  int isample = 0;
  std::vector<float> values;  ///< quantities x samples
  ExponentRanges exponents;
};

/// Sums over the inlines of the neighbourhood at one crossline.
struct Column {
  int count = 0;
  int isample = 0;
  std::vector<double> sums;  ///< quantities x samples, as far as they are exact
  ExponentRanges exponents;  ///< of their terms
};

/// Sums over the crosslines of the neighbourhood, slid along a stretch of positions.
struct Window {
  std::vector<double> sums;
  ExponentRanges exponents;
};

/// Both ends included.
struct Span {
  int from, to;
};

KORVANE_WIDE void add(double* sums, const float* terms, int count) {
  KORVANE_INDEPENDENT
  for (int i = 0; i < count; ++i) sums[i] += static_cast<double>(terms[i]);
}
KORVANE_WIDE void subtract(double* sums, const float* terms, int count) {
  KORVANE_INDEPENDENT
  for (int i = 0; i < count; ++i) sums[i] -= static_cast<double>(terms[i]);
}
KORVANE_WIDE void add(double* sums, const double* terms, int count) {
  KORVANE_INDEPENDENT
  for (int i = 0; i < count; ++i) sums[i] += terms[i];
}
KORVANE_WIDE void subtract(double* sums, const double* terms, int count) {
  KORVANE_INDEPENDENT
  for (int i = 0; i < count; ++i) sums[i] -= terms[i];
}
KORVANE_WIDE void exchange(double* sums, const double* entering, const double* leaving, int count) {
  KORVANE_INDEPENDENT
  for (int i = 0; i < count; ++i) sums[i] = (sums[i] + entering[i]) - leaving[i];
}

}  // namespace

class NeighbourhoodSums::Impl {
 public:
  Impl(const Parameters& parameters, std::size_t tileBytes)
      : p_(parameters),
        halfInlines_(std::min(p_.numxsum2, p_.itlines)),
        halfCrosslines_(std::min(p_.numysum2, p_.xtlines)),
        ns_(p_.idiff),
        blocks_((ns_ + blockSamples - 1) / blockSamples),
        ringRows_(static_cast<int>(std::min(std::int64_t{2} * halfInlines_ + 2, std::int64_t{p_.itlines}))) {
    // a slide holds the terms of one inline or crossline more than the neighbourhood
    const double terms = (2.0 * halfInlines_ + 2.0) * (2.0 * halfCrosslines_ + 2.0);
    int bits = 0;
    while (static_cast<double>(std::uint64_t{1} << bits) < terms) ++bits;
    spread_ = 29 - bits;
    makeTile(tileBytes);
  }

  void sweep(const Stores& stores, int sector, const std::function<void(const NeighbourhoodTotals&)>& visit,
             const std::function<void(int)>& done) {
    stores_ = stores;
    sector_ = sector;
    const int threads = tbb::this_task_arena::max_concurrency();
    tbb::affinity_partitioner homes;  // a column stays in the cache of its processor
    int visited = 0;
    for (int from = 0; from < p_.xtlines; from += tileWidth_) {
      tile_ = {from, std::min(from + tileWidth_, p_.xtlines) - 1};
      halo_ = {std::max(tile_.from - halfCrosslines_, 0), std::min(tile_.to + halfCrosslines_, p_.xtlines - 1)};
      clearColumns();
      for (int il = 0; il < p_.itlines; ++il) {
        tbb::parallel_for(
            halo_.from, halo_.to + 1, [&](int ix) { advanceColumn(il, ix); }, homes);
        const int grain = std::max(16, (tile_.to - tile_.from) / threads + 1);  // a stretch starts with a whole window
        tbb::parallel_for(
            tbb::blocked_range<int>(tile_.from, tile_.to + 1, static_cast<std::size_t>(grain)),
            [&](const auto& stretch) {
              visitStretch(il, {stretch.begin(), stretch.end() - 1}, visit);
            },
            tbb::static_partitioner());
        visited += tile_.to - tile_.from + 1;
        done(visited);
      }
    }
  }

 private:
  bool exact(const Exponents& e) const { return e.most < 255 && e.most - e.least <= spread_; }
  std::size_t cell(int quantity, int block) const { return static_cast<std::size_t>(quantity * blocks_ + block); }
  std::size_t sample(int quantity, int block) const {
    return static_cast<std::size_t>(quantity) * static_cast<std::size_t>(ns_) +
           static_cast<std::size_t>(block * blockSamples);
  }
  int samplesOf(int block) const { return std::min(blockSamples, ns_ - block * blockSamples); }
  template <class Operation>
  void forEachBlock(Operation operation) const {
    for (int q = 0; q < quantities; ++q) {
      for (int b = 0; b < blocks_; ++b) operation(q, b);
    }
  }

  /// As many crosslines as the bytes hold, and enough to make up for the halo.
  void makeTile(std::size_t bytes) {
    const std::size_t values = static_cast<std::size_t>(quantities) * static_cast<std::size_t>(ns_);
    const std::size_t cells = static_cast<std::size_t>(quantities) * static_cast<std::size_t>(blocks_);
    const std::size_t crosslines = static_cast<std::size_t>(p_.xtlines);
    const std::size_t rows = static_cast<std::size_t>(ringRows_);
    const std::size_t halo = 2 * static_cast<std::size_t>(halfCrosslines_);
    const std::size_t held = std::max(bytes / (values * (4 * rows + 8)), 2 * halo + 16);
    tileWidth_ = static_cast<int>(std::min(held - halo, crosslines));

    columns_.resize(std::min(static_cast<std::size_t>(tileWidth_) + halo, crosslines));
    for (Column& column : columns_) {
      column.sums.resize(values);
      column.exponents.assign(cells);
    }
    ring_.resize(columns_.size() * rows);
    for (Smoothed& cdp : ring_) {
      cdp.values.resize(values);
      cdp.exponents.assign(cells);
    }
  }

  void clearColumns() {
    for (Column& column : columns_) {
      std::fill(column.sums.begin(), column.sums.end(), 0.0);
      column.exponents.assign(static_cast<std::size_t>(quantities * blocks_));
    }
  }

  Smoothed& smoothed(int il, int ix) {
    const auto row = static_cast<std::size_t>(il % ringRows_);
    return ring_[row * columns_.size() + static_cast<std::size_t>(ix - halo_.from)];
  }
  Column& column(int ix) { return columns_[static_cast<std::size_t>(ix - halo_.from)]; }

  Span inlines(int il) const { return {std::max(il - p_.numxsum2, 0), std::min(il + p_.numxsum2, p_.itlines - 1)}; }
  Span crosslines(int ix) const { return {std::max(ix - p_.numysum2, 0), std::min(ix + p_.numysum2, p_.xtlines - 1)}; }

  ExponentRanges& emptyTerms() {
    ExponentRanges& terms = terms_.local();
    terms.assign(static_cast<std::size_t>(quantities * blocks_));
    return terms;
  }

  /// Forms the smoothed products of a CDP as sums with one term.
  void smooth(int il, int ix) {
    Smoothed& cdp = smoothed(il, ix);
    const std::int64_t slot = rowStart(p_, sector_, il * p_.xtlines + ix, 1);
    cdp.stored = stores_.istore[slot] == 1;
    if (!cdp.stored) return;
    cdp.isample = stores_.ilsamp[slot];

    std::vector<float>& scratch = scratch_.local();
    scratch.resize(10 * static_cast<std::size_t>(ns_));
    const std::int64_t row = slot * ns_;
    solution::smoothed_products(stores_.astore + row, stores_.ahstore + row, stores_.bstore + row,
                                stores_.bhstore + row, ns_, p_.icorrwin, scratch.data(), cdp.values.data());
    forEachBlock([&](int q, int b) {
      cdp.exponents.set(cell(q, b), exponentsOf(cdp.values.data() + sample(q, b), samplesOf(b)));
    });
  }

  /// Takes the column of a crossline from the neighbourhood of the inline before to that of this one.
  void advanceColumn(int il, int ix) {
    const Span now = inlines(il);
    const Span entering{il == 0 ? 0 : std::max(inlines(il - 1).to + 1, 0), now.to};
    for (int row = entering.from; row <= entering.to; ++row) smooth(row, ix);
    const bool leaves = il > 0 && inlines(il - 1).from < now.from && smoothed(now.from - 1, ix).stored;

    Column& c = column(ix);
    ExponentRanges& terms = emptyTerms();
    c.count = 0;
    c.isample = 0;
    for (int row = now.from; row <= now.to; ++row) {
      const Smoothed& cdp = smoothed(row, ix);
      if (!cdp.stored) continue;
      ++c.count;
      c.isample = std::max(c.isample, cdp.isample);
      terms.include(cdp.exponents);
    }
    forEachBlock([&](int q, int b) {
      const std::size_t at = sample(q, b), mark = cell(q, b);
      double* sums = c.sums.data() + at;
      const auto addRows = [&](const Span& rows) {
        for (int row = rows.from; row <= rows.to; ++row) {
          const Smoothed& cdp = smoothed(row, ix);
          if (cdp.stored) add(sums, cdp.values.data() + at, samplesOf(b));
        }
      };
      if (exact(merged(c.exponents[mark], terms[mark]))) {
        addRows(entering);
        if (leaves) subtract(sums, smoothed(now.from - 1, ix).values.data() + at, samplesOf(b));
      } else if (exact(terms[mark])) {
        std::fill_n(sums, samplesOf(b), 0.0);
        addRows(now);
      }
    });
    std::swap(c.exponents, terms);
  }

  void visitStretch(int il, const Span& stretch, const std::function<void(const NeighbourhoodTotals&)>& visit) {
    Window& w = windows_.local();
    w.sums.resize(static_cast<std::size_t>(quantities) * static_cast<std::size_t>(ns_));
    w.exponents.assign(static_cast<std::size_t>(quantities * blocks_), unknown);
    for (int ix = stretch.from; ix <= stretch.to; ++ix) {
      ExponentRanges& terms = emptyTerms();
      for (int k = crosslines(ix).from; k <= crosslines(ix).to; ++k) terms.include(column(k).exponents);
      forEachBlock([&](int q, int b) { advanceWindow(il, ix, q, b, terms, w); });
      std::swap(w.exponents, terms);
      NeighbourhoodTotals totals{.kcdp = il * p_.xtlines + ix};
      const Span now = crosslines(ix);
      for (int k = now.from; k <= now.to; ++k) {
        totals.count += column(k).count;
        totals.isample = std::max(totals.isample, column(k).isample);
      }
      totals.asum = w.sums.data();
      totals.bsum = totals.asum + ns_;
      totals.sumr = totals.bsum + ns_;
      totals.sumi = totals.sumr + ns_;
      totals.wts = totals.sumi + ns_;
      visit(totals);
    }
  }

  /// Takes one block of the window from the position before to this one.
  void advanceWindow(int il, int ix, int quantity, int block, const ExponentRanges& terms, Window& w) {
    const Span now = crosslines(ix);
    const std::size_t at = sample(quantity, block), mark = cell(quantity, block);
    const int count = samplesOf(block);
    double* sums = w.sums.data() + at;
    if (!exact(terms[mark])) {
      sumInOrder(inlines(il), now, at, count, sums);
      return;
    }
    const auto columnSums = [&](int k) { return column(k).sums.data() + at; };
    if (exact(merged(w.exponents[mark], terms[mark]))) {
      const Span before = crosslines(ix - 1);
      if (now.to > before.to && now.from > before.from) {
        exchange(sums, columnSums(now.to), columnSums(before.from), count);
      } else if (now.to > before.to) {
        add(sums, columnSums(now.to), count);
      } else if (now.from > before.from) {
        subtract(sums, columnSums(before.from), count);
      }
    } else {
      std::fill_n(sums, count, 0.0);
      for (int k = now.from; k <= now.to; ++k) add(sums, columnSums(k), count);
    }
  }

  void sumInOrder(const Span& rows, const Span& lines, std::size_t at, int count, double* sums) {
    std::fill_n(sums, count, 0.0);
    for (int row = rows.from; row <= rows.to; ++row) {
      for (int k = lines.from; k <= lines.to; ++k) {
        const Smoothed& cdp = smoothed(row, k);
        if (cdp.stored) add(sums, cdp.values.data() + at, count);
      }
    }
  }

  const Parameters p_;
  Stores stores_;
  int sector_ = 0;
  int halfInlines_, halfCrosslines_;  ///< of the neighbourhood
  int ns_;
  int blocks_;
  int ringRows_;       ///< inlines whose smoothed products are held: a neighbourhood and the one that leaves it
  int spread_ = 0;     ///< largest difference of exponents whose sums are exact
  int tileWidth_ = 0;  ///< crosslines of a tile
  Span tile_{};        ///< crosslines visited
  Span halo_{};        ///< crosslines summed
  std::vector<Smoothed> ring_;
  std::vector<Column> columns_;
  tbb::enumerable_thread_specific<std::vector<float>> scratch_;  ///< for the smoothed products
  tbb::enumerable_thread_specific<ExponentRanges> terms_;        ///< of the sum in hand
  tbb::enumerable_thread_specific<Window> windows_;
};

NeighbourhoodSums::NeighbourhoodSums(const Parameters& parameters, std::size_t tileBytes)
    : impl_(std::make_unique<Impl>(parameters, tileBytes)) {}
NeighbourhoodSums::~NeighbourhoodSums() = default;

void NeighbourhoodSums::sweep(const Stores& stores, int sector,
                              const std::function<void(const NeighbourhoodTotals&)>& visit,
                              const std::function<void(int)>& done) {
  impl_->sweep(stores, sector, visit, done);
}

}  // namespace korvane
