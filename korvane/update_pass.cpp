#include "korvane/update_pass.h"

#include <tbb/enumerable_thread_specific.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "korvane/neighbourhood_sums.h"
#include "solution/solution.h"

namespace korvane {

namespace {

/// Arrays for revising one position.
struct RevisionWork {
  std::vector<float> tsa, tsb, trc, tic;  ///< amplitudes and correlation
  std::vector<float> dvv;                 ///< velocity error
  std::vector<float> velocity, ratio;     ///< revised
  std::vector<float> kr, ki, sbpr, ones;

  explicit RevisionWork(const Parameters& p) {
    const auto ns = static_cast<std::size_t>(p.idiff);
    for (auto* trace : {&tsa, &tsb, &trc, &tic, &dvv, &velocity, &ratio, &kr, &ki, &sbpr}) trace->resize(ns);
    ones.assign(ns, 1.0f);
  }
};

/// Velocity error of a position from its neighbourhood sums.
// reads: parameters   writes: work.tsa, tsb, trc, tic, dvv, scratch
void estimateError(const Parameters& p, const NeighbourhoodTotals& totals, RevisionWork& w) {
  const int first = 1, shift = 0;
  bool live = false;
  solution::a_saucor(totals.asum, totals.bsum, totals.sumr, totals.sumi, totals.wts, w.tsa.data(), w.tsb.data(),
                     w.trc.data(), w.tic.data(), w.sbpr.data(), p.idiff, first, p.idiff, p.icorrwin2, shift, live);
  solution::a_sauovb(w.tsa.data(), w.tsb.data(), w.trc.data(), w.tic.data(), w.dvv.data(), w.kr.data(), w.ki.data(),
                     w.sbpr.data(), w.ones.data(), w.ones.data(), p.idiff);
}

/// Revises the position's own velocity function.
// reads: parameters, constants, work.dvv   writes: stores.vstore, vastore, work.velocity, ratio
void revise(const Parameters& p, const Constants& c, const NeighbourhoodTotals& at, int sector, Stores& st,
            RevisionWork& w) {
  const std::int64_t row = rowStart(p, sector, at.kcdp, p.nt);
  std::copy_n(st.vstore + row, p.idiff, w.velocity.data());
  w.ratio = w.dvv;
  const int startTime = 0, first = 1;
  int status = 0;
  float reft = 0.0f;
  solution::a_sanewv(w.ratio.data(), w.velocity.data(), p.idiff, startTime, c.dx, p.rfreq, c.qfactor, first, p.idiff,
                     c.miniv, c.maxiv, c.pctmin, c.pctmax, c.dvmin, c.dvmax, c.minsv, c.maxsv, c.ivtime, c.ivpow,
                     status, reft);
  const int samples = p.idiff - at.isample;
  if (p.skipVel == 0) std::copy_n(w.velocity.data() + at.isample, samples, st.vstore + row + at.isample);
  std::copy_n(w.ratio.data() + at.isample, samples, st.vastore + row + at.isample);
}

/// Prints a line whenever another tenth of the grid is done.
class Progress {
 public:
  Progress(const Parameters& p, int sector) : p_(p), sector_(sector) {}

  /// @param positions  of the sector that are done
  void upTo(int positions) {
    for (; next_ < positions; ++next_) {
      if (counter_ != p_.imcount) {
        ++counter_;
        continue;
      }
      const std::int64_t number = rowStart(p_, sector_, next_, 1);
      const float share = static_cast<float>(number) / static_cast<float>(p_.slots());
      std::printf("%s: Compute %3d percent done\n", toolName, static_cast<int>(share * 100.0f + 0.5f));
      counter_ = 1;
    }
  }

 private:
  const Parameters& p_;
  int sector_;
  int next_ = 0;
  int counter_ = 0;
};

}  // namespace

void updatePass(RunState& run) {
  const Parameters& p = run.parameters;
  Stores& st = run.stores;
  std::printf("\n%s: Compute iteration: %d\n\n", toolName, run.numiter - 1);
  tbb::enumerable_thread_specific<RevisionWork> work([&] { return RevisionWork(p); });
  for (int s = 0; s < p.nazim; ++s) {
    Progress progress(p, s);
    const auto visit = [&](const NeighbourhoodTotals& totals) {
      if (totals.count < p.ifold) return;
      RevisionWork& w = work.local();
      estimateError(p, totals, w);
      revise(p, run.constants, totals, s, st, w);
    };
    run.neighbourhoods->sweep(st, s, visit, [&](int positions) { progress.upTo(positions); });
  }
}

}  // namespace korvane
