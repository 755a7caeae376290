#include "korvane/neighbourhood_sums.h"

#include <tbb/blocked_range.h>
#include <tbb/enumerable_thread_specific.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>
#include <vector>

#include "host/wide.h"
#include "solution/smoothed_products.h"

namespace korvane {

namespace {

constexpr int quantities = 5;     // |A|^2, |B|^2, real and imaginary part of A conj(B), weight
constexpr int blockSamples = 64;  // samples that share a certificate

/// What is known of the terms of a sum, per quantity and block of samples.
struct Terms {
  std::vector<std::uint8_t> least;  ///< smallest exponent field of the terms that are not zero, 255 without any
  std::vector<double> bound;        ///< of the sum of their magnitudes

  void clear(std::size_t cells) {
    least.assign(cells, 255);
    bound.assign(cells, 0.0);
  }
  /// With any other terms, sums are not exact.
  void setUnknown(std::size_t cells) {
    least.assign(cells, 0);
    bound.assign(cells, std::numeric_limits<double>::infinity());
  }
  void include(const Terms& other) {
    for (std::size_t i = 0; i < least.size(); ++i) least[i] = std::min(least[i], other.least[i]);
    for (std::size_t i = 0; i < bound.size(); ++i) bound[i] += other.bound[i];
  }
};

/// Largest sum of magnitudes, by the smallest exponent field, that leaves every partial sum exact: 2^53 times the last
/// bit of the smallest term. A little less, as bounds are rounded sums themselves, and half below the normal range.
std::array<double, 256> exactSums() {
  std::array<double, 256> largest{};
  for (int exponent = 0; exponent < 256; ++exponent) {
    largest[static_cast<std::size_t>(exponent)] = std::ldexp(1.0 - 0x1p-20, exponent - 127 - 23 + 53);
  }
  return largest;
}

struct Magnitudes {
  std::uint8_t least;  ///< exponent field
  float largest;
};

/// Of `count` floats.
KORVANE_WIDE Magnitudes magnitudesOf(const float* values, int count) {
  std::uint32_t least = 0x7fffffffu, largest = 0;  // bit patterns, of the least one less
  for (int i = 0; i < count; ++i) {
    const std::uint32_t bits = std::bit_cast<std::uint32_t>(values[i]) & 0x7fffffffu;
    least = std::min(least, bits - 1);
    largest = std::max(largest, bits);
  }
  const std::uint32_t exponent = least == 0x7fffffffu ? 255 : (least + 1) >> 23;
  return {.least = static_cast<std::uint8_t>(exponent), .largest = std::bit_cast<float>(largest)};
}

/// Smoothed products of one CDP.
struct Smoothed {
  bool stored = false;
  int isample = 0;
  std::vector<float> values;  ///< quantities x samples
  Terms terms;
};

/// Sums over the inlines of the neighbourhood at one crossline.
struct Column {
  int count = 0;
  int isample = 0;
  std::vector<double> sums;  ///< quantities x samples, as far as they are exact
  Terms terms;
};

/// Sums over the crosslines of the neighbourhood, slid along a stretch of positions.
struct Window {
  std::vector<double> sums;
  Terms terms;
};

/// Both ends included.
struct Span {
  int from, to;
};

/// Up to `half` lines on either side of a line, of `count` lines; a sum of line and half may be beyond an int.
Span around(int line, int half, int count) {
  return {std::max(line - half, 0), line < count - half ? line + half : count - 1};
}

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
    makeTile(tileBytes);
  }

  void sweep(const Stores& stores, int sector, const std::function<void(const NeighbourhoodTotals&)>& visit,
             const std::function<void(int)>& done) {
    stores_ = stores;
    sector_ = sector;
    const int threads = tbb::this_task_arena::max_concurrency();
    tbb::affinity_partitioner homes;  // a column stays in the cache of its processor
    int visited = 0;
    for (tile_ = {0, -1}; tile_.to < p_.xtlines - 1;) {
      tile_.from = tile_.to + 1;
      tile_.to += std::min(tileWidth_, p_.xtlines - tile_.from);
      halo_ = {crosslines(tile_.from).from, crosslines(tile_.to).to};
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
  bool exact(std::uint8_t least, double bound) const { return bound <= exactSums_[least]; }
  bool exact(const Terms& terms, std::size_t cell) const { return exact(terms.least[cell], terms.bound[cell]); }
  /// Whether a sum of the first terms slides to one of the others without rounding between.
  bool exact(const Terms& before, const Terms& now, std::size_t cell) const {
    return exact(std::min(before.least[cell], now.least[cell]), before.bound[cell] + now.bound[cell]);
  }
  std::size_t cell(int quantity, int block) const { return static_cast<std::size_t>(quantity * blocks_ + block); }
  std::size_t cells() const { return cell(quantities, 0); }
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
    const std::size_t crosslines = static_cast<std::size_t>(p_.xtlines);
    const std::size_t rows = static_cast<std::size_t>(ringRows_);
    const std::size_t halo = 2 * static_cast<std::size_t>(halfCrosslines_);
    const std::size_t held = std::max(bytes / (values * (4 * rows + 8)), 2 * halo + 16);
    tileWidth_ = static_cast<int>(std::min(held - halo, crosslines));

    columns_.resize(std::min(static_cast<std::size_t>(tileWidth_) + halo, crosslines));
    for (Column& column : columns_) {
      column.sums.resize(values);
      column.terms.clear(cells());
    }
    ring_.resize(columns_.size() * rows);
    for (Smoothed& cdp : ring_) {
      cdp.values.resize(values);
      cdp.terms.clear(cells());
    }
  }

  void clearColumns() {
    for (Column& column : columns_) {
      std::fill(column.sums.begin(), column.sums.end(), 0.0);
      column.terms.clear(cells());
    }
  }

  Smoothed& smoothed(int il, int ix) {
    const auto row = static_cast<std::size_t>(il % ringRows_);
    return ring_[row * columns_.size() + static_cast<std::size_t>(ix - halo_.from)];
  }
  Column& column(int ix) { return columns_[static_cast<std::size_t>(ix - halo_.from)]; }

  Span inlines(int il) const { return around(il, halfInlines_, p_.itlines); }
  Span crosslines(int ix) const { return around(ix, halfCrosslines_, p_.xtlines); }

  Terms& emptyTerms() {
    Terms& terms = terms_.local();
    terms.clear(cells());
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
      const Magnitudes magnitudes = magnitudesOf(cdp.values.data() + sample(q, b), samplesOf(b));
      cdp.terms.least[cell(q, b)] = magnitudes.least;
      cdp.terms.bound[cell(q, b)] = static_cast<double>(magnitudes.largest);
    });
  }

  /// Takes the column of a crossline from the neighbourhood of the inline before to that of this one.
  void advanceColumn(int il, int ix) {
    const Span now = inlines(il);
    const Span entering{il == 0 ? 0 : std::max(inlines(il - 1).to + 1, 0), now.to};
    for (int row = entering.from; row <= entering.to; ++row) smooth(row, ix);
    const bool leaves = il > 0 && inlines(il - 1).from < now.from && smoothed(now.from - 1, ix).stored;

    Column& c = column(ix);
    Terms& terms = emptyTerms();
    c.count = 0;
    c.isample = 0;
    for (int row = now.from; row <= now.to; ++row) {
      const Smoothed& cdp = smoothed(row, ix);
      if (!cdp.stored) continue;
      ++c.count;
      c.isample = std::max(c.isample, cdp.isample);
      terms.include(cdp.terms);
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
      if (exact(c.terms, terms, mark)) {
        addRows(entering);
        if (leaves) subtract(sums, smoothed(now.from - 1, ix).values.data() + at, samplesOf(b));
      } else if (exact(terms, mark)) {
        std::fill_n(sums, samplesOf(b), 0.0);
        addRows(now);
      }
    });
    std::swap(c.terms, terms);
  }

  void visitStretch(int il, const Span& stretch, const std::function<void(const NeighbourhoodTotals&)>& visit) {
    Window& w = windows_.local();
    w.sums.resize(static_cast<std::size_t>(quantities) * static_cast<std::size_t>(ns_));
    w.terms.setUnknown(cells());
    for (int ix = stretch.from; ix <= stretch.to; ++ix) {
      Terms& terms = emptyTerms();
      for (int k = crosslines(ix).from; k <= crosslines(ix).to; ++k) terms.include(column(k).terms);
      forEachBlock([&](int q, int b) { advanceWindow(il, ix, q, b, terms, w); });
      std::swap(w.terms, terms);
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
  void advanceWindow(int il, int ix, int quantity, int block, const Terms& terms, Window& w) {
    const Span now = crosslines(ix);
    const std::size_t at = sample(quantity, block), mark = cell(quantity, block);
    const int count = samplesOf(block);
    double* sums = w.sums.data() + at;
    if (!exact(terms, mark)) {
      sumInOrder(inlines(il), now, at, count, sums);
      return;
    }
    const auto columnSums = [&](int k) { return column(k).sums.data() + at; };
    if (exact(w.terms, terms, mark)) {
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
  int tileWidth_ = 0;  ///< crosslines of a tile
  Span tile_{};        ///< crosslines visited
  Span halo_{};        ///< crosslines summed
  const std::array<double, 256> exactSums_ = exactSums();
  std::vector<Smoothed> ring_;
  std::vector<Column> columns_;
  tbb::enumerable_thread_specific<std::vector<float>> scratch_;  ///< for the smoothed products
  tbb::enumerable_thread_specific<Terms> terms_;                 ///< of the sum in hand
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
