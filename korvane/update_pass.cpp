#include "korvane/update_pass.h"

#include <algorithm>
#include <cstdio>

#include "solution/solution.h"

namespace korvane {

namespace {

/// Grid indices from and to, both included.
struct Span {
  int from, to;
};

/// A position of the CDP grid in one sector, with its neighbourhood; the edges of the grid cut it off.
struct Position {
  int sector;
  int kcdp;
  Span inlines, crosslines;

  Position(const Parameters& p, int s, int il, int ix)
      : sector(s),
        kcdp(il * p.xtlines + ix),
        inlines{std::max(il - p.numxsum2, 0), std::min(il + p.numxsum2, p.itlines - 1)},
        crosslines{std::max(ix - p.numysum2, 0), std::min(ix + p.numysum2, p.xtlines - 1)} {}
};

// writes: work.asum .. work.dvv
void clearSums(Work& w) {
  for (auto* sums : {&w.asum, &w.bsum, &w.sumi, &w.sumr, &w.wts}) std::fill(sums->begin(), sums->end(), 0.0);
  for (auto* trace : {&w.rcax, &w.rcbx, &w.tsa, &w.tsb, &w.trc, &w.tic, &w.dvv}) {
    std::fill(trace->begin(), trace->end(), 0.0f);
  }
}

/// What a neighbourhood holds.
struct Neighbours {
  int count = 0;    ///< stored CDPs
  int isample = 0;  ///< first sample that all of them cover
};

/// Adds the stored neighbours of a position, inline by inline.
// reads: parameters, constants, stores   writes: work.asum, bsum, sumr, sumi, wts, scratch
Neighbours sumNeighbours(const Parameters& p, const Constants& c, const Stores& st, const Position& at, Work& w) {
  clearSums(w);
  Neighbours found;
  const int first = 1;
  const float factor = 1.0f;
  for (int il = at.inlines.from; il <= at.inlines.to; ++il) {
    for (int ix = at.crosslines.from; ix <= at.crosslines.to; ++ix) {
      const std::int64_t slot = rowStart(p, at.sector, il * p.xtlines + ix, 1);
      if (st.istore[slot] != 1) continue;
      found.isample = std::max(found.isample, st.ilsamp[slot]);
      std::copy_n(c.rones.data(), p.idiff, w.tempTrc1.data());
      const std::int64_t row = slot * p.idiff;
      solution::a_sauavg(w.asum.data(), w.bsum.data(), w.sumr.data(), w.sumi.data(), w.wts.data(), st.astore + row,
                         st.ahstore + row, st.bstore + row, st.bhstore + row, w.tempTrc1.data(), w.rcax.data(),
                         w.rcbx.data(), p.idiff, first, p.idiff, p.icorrwin, factor);
      ++found.count;
    }
  }
  return found;
}

/// Velocity error of a position from its neighbourhood sums.
// reads: parameters, work.asum .. wts   writes: work.tsa, tsb, trc, tic, dvv, scratch
void estimateError(const Parameters& p, Work& w) {
  const int first = 1, shift = 0;
  bool live = false;
  solution::a_saucor(w.asum.data(), w.bsum.data(), w.sumr.data(), w.sumi.data(), w.wts.data(), w.tsa.data(),
                     w.tsb.data(), w.trc.data(), w.tic.data(), w.tempTrc1.data(), p.idiff, first, p.idiff, p.icorrwin2,
                     shift, live);
  std::fill_n(w.tempTrc2.data(), p.idiff, 1.0f);
  std::fill_n(w.tempTrc3.data(), p.idiff, 1.0f);
  solution::a_sauovb(w.tsa.data(), w.tsb.data(), w.trc.data(), w.tic.data(), w.dvv.data(), w.rcax.data(), w.rcbx.data(),
                     w.tempTrc1.data(), w.tempTrc2.data(), w.tempTrc3.data(), p.idiff);
}

/// Revises the position's own velocity function.
// reads: parameters, constants, work.dvv   writes: stores.vstore, vastore, scratch
void revise(const Parameters& p, const Constants& c, const Position& at, int isample, Stores& st, Work& w) {
  const std::int64_t row = rowStart(p, at.sector, at.kcdp, p.nt);
  float* velocity = w.tempTrc2.data();
  float* ratio = w.tempTrc3.data();
  std::copy_n(st.vstore + row, p.idiff, velocity);
  std::copy_n(w.dvv.data(), p.idiff, ratio);
  const int startTime = 0, first = 1;
  int status = 0;
  float reft = 0.0f;
  solution::a_sanewv(ratio, velocity, p.idiff, startTime, c.dx, p.rfreq, c.qfactor, first, p.idiff, c.miniv, c.maxiv,
                     c.pctmin, c.pctmax, c.dvmin, c.dvmax, c.minsv, c.maxsv, c.ivtime, c.ivpow, status, reft);
  const int samples = p.idiff - isample;
  if (p.skipVel == 0) std::copy_n(velocity + isample, samples, st.vstore + row + isample);
  std::copy_n(ratio + isample, samples, st.vastore + row + isample);
}

/// Prints a line whenever another tenth of the grid is done.
class Progress {
 public:
  explicit Progress(const Parameters& p) : p_(p) {}

  void at(const Position& position) {
    if (counter_ != p_.imcount) {
      ++counter_;
      return;
    }
    const std::int64_t number = rowStart(p_, position.sector, position.kcdp, 1);
    const float share = static_cast<float>(number) / static_cast<float>(p_.slots());
    std::printf("%s: Compute %3d percent done\n", toolName, static_cast<int>(share * 100.0f + 0.5f));
    counter_ = 1;
  }

 private:
  const Parameters& p_;
  int counter_ = 0;
};

}  // namespace

void updatePass(RunState& run) {
  const Parameters& p = run.parameters;
  const Constants& c = run.constants;
  Stores& st = run.stores;
  Work& w = run.work;
  std::printf("\n%s: Compute iteration: %d\n\n", toolName, run.numiter - 1);
  for (int s = 0; s < p.nazim; ++s) {
    Progress progress(p);
    for (int il = 0; il < p.itlines; ++il) {
      for (int ix = 0; ix < p.xtlines; ++ix) {
        const Position at(p, s, il, ix);
        const Neighbours found = sumNeighbours(p, c, st, at, w);
        progress.at(at);
        if (found.count < p.ifold) continue;
        estimateError(p, w);
        revise(p, c, at, found.isample, st, w);
      }
    }
  }
}

}  // namespace korvane
