#include "korvane/update_pass.h"

#include <tbb/enumerable_thread_specific.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "korvane/neighbourhood_sums.h"
#include "solution/solution.h"
#include "solution/velocity_revision.h"

namespace korvane {

namespace {

/// A position whose velocity error is known and whose revision waits.
struct Pending {
  std::int64_t slot;
  int isample;  ///< first sample revised
};

/// Arrays for the positions that one thread visits.
struct RevisionWork {
  std::vector<float> tsa, tsb, trc, tic;  ///< amplitudes and correlation
  std::vector<float> kr, ki, sbpr, ones;
  std::vector<Pending> pending;         ///< positions that are revised side by side
  std::vector<float> rows;              ///< lanes x 2 x idiff
  std::vector<float*> ratio, velocity;  ///< lanes, into rows: velocity error and then ratio; velocity

  explicit RevisionWork(const Parameters& p) {
    const auto ns = static_cast<std::size_t>(p.idiff);
    for (auto* trace : {&tsa, &tsb, &trc, &tic, &kr, &ki, &sbpr}) trace->resize(ns);
    ones.assign(ns, 1.0f);
    rows.resize(2 * solution::VelocityRevision::lanes * ns);
    for (std::size_t l = 0; l < solution::VelocityRevision::lanes; ++l) {
      ratio.push_back(&rows[2 * l * ns]);
      velocity.push_back(&rows[(2 * l + 1) * ns]);
    }
  }
};

/// Velocity error of a position from its neighbourhood sums.
// reads: parameters   writes: dvel; scratch
void estimateError(const Parameters& p, const NeighbourhoodTotals& totals, RevisionWork& w, float* dvel) {
  const int first = 1, shift = 0;
  bool live = false;
  solution::a_saucor(totals.asum, totals.bsum, totals.sumr, totals.sumi, totals.wts, w.tsa.data(), w.tsb.data(),
                     w.trc.data(), w.tic.data(), w.sbpr.data(), p.idiff, first, p.idiff, p.icorrwin2, shift, live);
  solution::a_sauovb(w.tsa.data(), w.tsb.data(), w.trc.data(), w.tic.data(), dvel, w.kr.data(), w.ki.data(),
                     w.sbpr.data(), w.ones.data(), w.ones.data(), p.idiff);
}

solution::RevisionLimits revisionLimits(const Parameters& p, const Constants& c) {
  return {.it0 = 0,
          .fs = c.dx,
          .wf0 = p.rfreq,
          .q = c.qfactor,
          .fsa = 1,
          .lsa = p.idiff,
          .miniv = c.miniv,
          .maxiv = c.maxiv,
          .minpct = c.pctmin,
          .maxpct = c.pctmax,
          .mindv = c.dvmin,
          .maxdv = c.dvmax,
          .minsv = c.minsv,
          .maxsv = c.maxsv,
          .vtime = c.ivtime,
          .vpow = c.ivpow};
}

/// Revises the velocity functions of the positions that wait.
// reads: parameters, work.pending, ratio   writes: stores.vstore, vastore, work.velocity, ratio, pending
void revise(const Parameters& p, const solution::VelocityRevision& revision, Stores& st, RevisionWork& w) {
  for (std::size_t l = 0; l < w.pending.size(); ++l) {
    std::copy_n(st.vstore + w.pending[l].slot * p.nt, p.idiff, w.velocity[l]);
  }
  revision.revise(w.ratio.data(), w.velocity.data(), static_cast<int>(w.pending.size()));
  for (std::size_t l = 0; l < w.pending.size(); ++l) {
    const int isample = w.pending[l].isample, samples = p.idiff - isample;
    const std::int64_t at = w.pending[l].slot * p.nt + isample;
    if (p.skipVel == 0) std::copy_n(w.velocity[l] + isample, samples, st.vstore + at);
    std::copy_n(w.ratio[l] + isample, samples, st.vastore + at);
  }
  w.pending.clear();
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
  const solution::VelocityRevision revision(p.idiff, revisionLimits(p, run.constants));
  tbb::enumerable_thread_specific<RevisionWork> work([&] { return RevisionWork(p); });
  for (int s = 0; s < p.nazim; ++s) {
    Progress progress(p, s);
    const auto visit = [&](const NeighbourhoodTotals& totals) {
      if (totals.count < p.ifold) return;
      RevisionWork& w = work.local();
      estimateError(p, totals, w, w.ratio[w.pending.size()]);
      w.pending.push_back({rowStart(p, s, totals.kcdp, 1), totals.isample});
      if (w.pending.size() == solution::VelocityRevision::lanes) revise(p, revision, st, w);
    };
    run.neighbourhoods->sweep(st, s, visit, [&](int positions) { progress.upTo(positions); });
    for (RevisionWork& w : work) revise(p, revision, st, w);
  }
}

}  // namespace korvane
