#include "korvane/update_pass.h"

#include <tbb/concurrent_queue.h>
#include <tbb/concurrent_vector.h>
#include <tbb/enumerable_thread_specific.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <utility>
#include <vector>

#include "korvane/neighbourhood_sums.h"
#include "korvane/side_work.h"
#include "solution/solution.h"
#include "solution/velocity_revision.h"

namespace korvane {

namespace {

/// A position whose velocity error is known and whose revision waits.
struct Pending {
  std::int64_t slot;
  int isample;  ///< first sample revised
};

/// Arrays of one correlation.
struct CorrelationWork {
  std::vector<float> tsa, tsb, trc, tic;  ///< amplitudes and correlation
  std::vector<float> kr, ki, sbpr, ones;

  explicit CorrelationWork(const Parameters& p) {
    const auto ns = static_cast<std::size_t>(p.idiff);
    for (auto* trace : {&tsa, &tsb, &trc, &tic, &kr, &ki, &sbpr}) trace->resize(ns);
    ones.assign(ns, 1.0f);
  }
};

/// Positions that are revised side by side.
struct Batch {
  std::vector<Pending> pending;
  std::vector<float> rows;              ///< lanes x 2 x idiff
  std::vector<float*> ratio, velocity;  ///< lanes, into rows: velocity error and then ratio; velocity
  std::array<int, solution::VelocityRevision::lanes> held{};  ///< samples whose ratio a limit determined

  explicit Batch(const Parameters& p) {
    const auto ns = static_cast<std::size_t>(p.idiff);
    rows.resize(2 * solution::VelocityRevision::lanes * ns);
    for (std::size_t l = 0; l < solution::VelocityRevision::lanes; ++l) {
      ratio.push_back(&rows[2 * l * ns]);
      velocity.push_back(&rows[(2 * l + 1) * ns]);
    }
  }
};

/// Velocity error of a position from its neighbourhood sums.
// reads: parameters   writes: dvel; scratch
void estimateError(const Parameters& p, const NeighbourhoodTotals& totals, CorrelationWork& w, float* dvel) {
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

/// The revisions of a pass, from several threads at a time.
class Revisions {
 public:
  Revisions(const Parameters& p, const Constants& c, const Stores& st, std::vector<std::int32_t>& held)
      : p_(p), st_(st), held_(held), revision_(p.idiff, revisionLimits(p, c)) {
    held_.assign(static_cast<std::size_t>(p.slots()), 0);
  }

  /// Revises the velocity function of a position, now or later.
  // reads: parameters   writes: scratch
  void add(const Pending& position, const NeighbourhoodTotals& totals) {
    Batch*& batch = inHand_.local();
    if (batch == nullptr) batch = freeBatch();
    estimateError(p_, totals, work_.local(), batch->ratio[batch->pending.size()]);
    batch->pending.push_back(position);
    if (batch->pending.size() == solution::VelocityRevision::lanes) hand(batch);
  }

  /// Revises what waits.
  void finish() {
    for (Batch*& batch : inHand_) {
      if (batch != nullptr) hand(batch);
    }
    revisions_.finish();
  }

 private:
  Batch* freeBatch() {
    Batch* batch = nullptr;
    return free_.try_pop(batch) ? batch : &*batches_.emplace_back(p_);
  }

  void hand(Batch*& batch) {
    revisions_.run([this, b = std::exchange(batch, nullptr)] {
      revise(*b);
      free_.push(b);
    });
  }

  // reads: parameters, batch   writes: stores.vstore, vastore, held; batch
  void revise(Batch& batch) {
    for (std::size_t l = 0; l < batch.pending.size(); ++l) {
      std::copy_n(st_.vstore + batch.pending[l].slot * p_.nt, p_.idiff, batch.velocity[l]);
    }
    revision_.revise(batch.ratio.data(), batch.velocity.data(), static_cast<int>(batch.pending.size()),
                     batch.held.data());
    for (std::size_t l = 0; l < batch.pending.size(); ++l) {
      const int isample = batch.pending[l].isample, samples = p_.idiff - isample;
      const std::int64_t at = batch.pending[l].slot * p_.nt + isample;
      if (p_.skipVel == 0) std::copy_n(batch.velocity[l] + isample, samples, st_.vstore + at);
      std::copy_n(batch.ratio[l] + isample, samples, st_.vastore + at);
      held_[static_cast<std::size_t>(batch.pending[l].slot)] = batch.held[l];
    }
    batch.pending.clear();
  }

  const Parameters& p_;
  const Stores& st_;
  std::vector<std::int32_t>& held_;
  const solution::VelocityRevision revision_;
  tbb::enumerable_thread_specific<CorrelationWork> work_{[this] { return CorrelationWork(p_); }};
  tbb::enumerable_thread_specific<Batch*> inHand_{nullptr};  ///< of each thread
  tbb::concurrent_vector<Batch> batches_;
  tbb::concurrent_queue<Batch*> free_;
  SideWork revisions_;
};

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
  const Stores& st = run.stores;
  std::printf("\n%s: Compute iteration: %d\n\n", toolName, run.numiter - 1);
  Revisions revisions(p, run.constants, st, run.held);
  for (int s = 0; s < p.nazim; ++s) {
    Progress progress(p, s);
    const auto visit = [&](const NeighbourhoodTotals& totals) {
      if (totals.count >= p.ifold) revisions.add({rowStart(p, s, totals.kcdp, 1), totals.isample}, totals);
    };
    run.neighbourhoods->sweep(st, s, visit, [&](int positions) { progress.upTo(positions); });
  }
  revisions.finish();
}

}  // namespace korvane
