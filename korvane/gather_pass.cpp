#include "korvane/gather_pass.h"

#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <utility>
#include <vector>

#include "avo/avo.h"
#include "korvane/boundary.h"
#include "korvane/headers.h"
#include "korvane/side_work.h"
#include "korvane/tables.h"
#include "korvane/update_pass.h"
#include "moveout/moveout.h"
#include "solution/solution.h"

namespace korvane {

namespace {

/// What is known of the ensemble in hand.
struct Ensemble {
  int traces = 0;
  int cdp = 0;
  float x = 0.0f, y = 0.0f;  ///< map position
  int kcdp = 0;              ///< slot in the CDP grid
};

/// The parts of the sector's arrays.
struct SectorWork {
  float *sloth, *slothi, *vels, *sumrun;
  int& num;

  SectorWork(const RunState& run, Work& w, int sector)
      : SectorWork(w, static_cast<std::size_t>(sector), static_cast<std::size_t>(run.parameters.nt),
                   static_cast<std::size_t>(run.constants.isrun)) {}

 private:
  SectorWork(Work& w, std::size_t s, std::size_t nt, std::size_t isrun)
      : sloth(&w.sloth[s * (nt + 2)]),
        slothi(&w.slothi[s * (nt + 2)]),
        vels(&w.vels[s * nt]),
        sumrun(&w.sumrun[s * nt * isrun]),
        num(w.num[s]) {}
};

const std::int32_t* firstLive(const Constants& c, const Work& w, int traces) {
  for (int j = 0; j < traces; ++j) {
    const std::int32_t* head = w.iheads[static_cast<std::size_t>(j)];
    if (isLive(head, c.hdr.itrc_type)) return head;
  }
  return nullptr;
}

// reads: parameters, work.iheads
Ensemble findCdp(const Parameters& p, const Constants& c, const Work& w, int traces, const std::int32_t* live) {
  const host::StandardHeaders& hdr = c.hdr;
  const std::int32_t* source = live;
  if (p.isgather) {
    // a supergather stands at the CDP that it is named after
    for (int j = 0; j < traces; ++j) {
      const std::int32_t* head = w.iheads[static_cast<std::size_t>(j)];
      if (!isLive(head, hdr.itrc_type) || standardWord(head, hdr.icdp) != head[p.isgcdp]) continue;
      if (standardWord(head, hdr.icdp) != -1) source = head;
      break;
    }
  }
  return {.traces = traces,
          .cdp = standardWord(source, hdr.icdp),
          .x = standardFloat(source, hdr.icdp_x),
          .y = standardFloat(source, hdr.icdp_y)};
}

void announcePass(const RunState& run) { std::printf("\n%s: Start new iteration: %d\n\n", toolName, run.numiter); }

// reads: parameters   writes: stores
void clearStores(RunState& run) {
  const std::int64_t slots = run.parameters.slots();
  std::fill_n(run.stores.istore, slots, 0);
  std::fill_n(run.stores.ilsamp, slots, 0);
  std::fill_n(run.stores.cdpstore, slots, 0.0f);
}

/// Velocity function of the ensemble's CDP from the input table, for every sector.
// reads: parameters, tables   writes: work.vels
void takeInputVelocity(const RunState& run, const Ensemble& ensemble, Work& w) {
  const Parameters& p = run.parameters;
  float* vels = w.vels.data();
  if (inputVelocity(p, run.tables, ensemble.cdp, ensemble.x, ensemble.y, vels) != 0) {
    if (p.is3D != 0) host::stErrFatal("%s: Error interpolating 3D velocity table", toolName);
    host::stErrFatal("%s: Error interpolating velocity table", toolName);
  }
  for (int s = 1; s < p.nazim; ++s) std::copy_n(vels, p.nt, vels + static_cast<std::ptrdiff_t>(s) * p.nt);
}

/// Revised velocity function of every sector.
// reads: parameters, stores.vstore   writes: work.vels
void takeRevisedVelocity(const RunState& run, const Ensemble& ensemble, Work& w) {
  const Parameters& p = run.parameters;
  for (int s = 0; s < p.nazim; ++s) {
    std::copy_n(run.stores.vstore + rowStart(p, s, ensemble.kcdp, p.nt), p.nt,
                w.vels.data() + static_cast<std::ptrdiff_t>(s) * p.nt);
  }
}

// reads: parameters, work.vels   writes: work.sloth, work.slothi
void makeSlowness(const RunState& run, Work& w) {
  const Parameters& p = run.parameters;
  for (int s = 0; s < p.nazim; ++s) {
    const SectorWork sector(run, w, s);
    int ier = 0;
    moveout::a_savelc(sector.vels, sector.sloth, sector.slothi, p.nt, p.ivelfilt, 0.0f, ier);
  }
}

/// Moves the traces from .. to - 1 of the ensemble out and shifts them by their statics, each in its place, and finds
/// their sectors. Traces that are dead, or whose sector dropped out in an earlier pass, get sector -1 and stay as they
/// are. Different traces may be moved side by side, each with the arrays of a flow of its own, `scratch`.
// reads: parameters, constants, stores.istore, work.sloth   writes: work.samples, sectors, scratch
void moveOut(const RunState& run, const Ensemble& ensemble, int from, int to, Work& w, Work& scratch) {
  const Parameters& p = run.parameters;
  const Constants& c = run.constants;
  for (int j = from; j < to; ++j) {
    const std::int32_t* head = w.iheads[static_cast<std::size_t>(j)];
    int& s = w.sectors[static_cast<std::size_t>(j)];
    s = -1;
    if (!isLive(head, c.hdr.itrc_type)) continue;
    const int sector = azimuthSector(p, c, head);
    if (run.numiter > 1 && run.stores.istore[rowStart(p, sector, ensemble.kcdp, 1)] == 0) continue;
    s = sector;

    float* trace = w.traces[static_cast<std::size_t>(j)];
    moveTraceOut(p, c, SectorWork(run, w, s).sloth, standardFloat(head, c.hdr.ioffset), trace, scratch);
    if (p.istatic == 0) continue;
    const float shift = standardFloat(head, c.hdr.ina_stat);
    if (shift != 0.0f) host::applyStatic2(trace, scratch.tempTrc3.data(), p.nt, p.dt, shift);
  }
}

/// Adds the moved traces to the angle sums of their sectors.
// reads: parameters, constants, work.samples, sectors, sloth   writes: work.num, sumrun, sin2
void sumAngles(const RunState& run, const Ensemble& ensemble, Work& w) {
  const Parameters& p = run.parameters;
  const Constants& c = run.constants;
  std::fill(w.sumrun.begin(), w.sumrun.end(), 0.0f);
  std::fill(w.num.begin(), w.num.end(), 0);
  for (int j = 0; j < ensemble.traces; ++j) {
    const auto trace = static_cast<std::size_t>(j);
    if (w.sectors[trace] < 0) continue;
    const SectorWork sector(run, w, w.sectors[trace]);
    int from = 1, to = p.nt;
    avo::a_sahcic(sector.sumrun, w.traces[trace], sector.sloth, w.sin2.data(), c.isrun, from, to, 1, p.nt, 0.0f, c.dtt,
                  std::abs(standardFloat(w.iheads[trace], c.hdr.ioffset)), p.thetamin, p.thetamax, 0, 1.0f);
    ++sector.num;
  }
}

// reads: work.samples, sectors   writes: the headers; output traces
void putMovedTraces(const RunState& run, const Ensemble& ensemble, Work& w) {
  for (int j = 0; j < ensemble.traces; ++j) {
    const auto trace = static_cast<std::size_t>(j);
    if (w.sectors[trace] < 0) continue;
    standardWord(w.iheads[trace], run.constants.hdr.iend_ens) = 0;
    host::stPutTrace(w.traces[trace], w.iheads[trace]);
  }
}

/// Velocity trace of a sector; a sector without enough traces ends its output with it.
// reads: parameters, work.vels, num   writes: the header; output traces
void putVelocityTrace(const RunState& run, Work& w, int s, std::int32_t* head) {
  const host::StandardHeaders& hdr = run.constants.hdr;
  const SectorWork sector(run, w, s);
  standardWord(head, hdr.itrc_type) = 51;
  standardWord(head, hdr.itr_fold) = 0;
  if (sector.num < run.parameters.ifold) standardWord(head, hdr.iend_ens) = 1;
  host::stPutTrace(sector.vels, head);
}

/// Intercept and gradient traces of a sector, zeros beyond the analysed samples.
// reads: parameters, work.tro   writes: the header, scratch; output traces
void putAttributeTraces(const RunState& run, Work& w, int s, std::int32_t* head) {
  const Parameters& p = run.parameters;
  const host::StandardHeaders& hdr = run.constants.hdr;
  float* trace = w.tempTrc1.data();
  std::fill_n(trace, p.nt, 0.0f);
  std::copy_n(w.tro.data(), p.idiff, trace);
  standardWord(head, hdr.itrc_type) = 43;
  host::stPutTrace(trace, head);
  std::copy_n(w.tro.data() + p.idiff, p.idiff, trace);
  standardWord(head, hdr.itrc_type) = 44;
  if (s == p.nazim - 1) standardWord(head, hdr.iend_ens) = 1;
  host::stPutTrace(trace, head);
}

/// Solves the sector's angle sums for intercept and gradient. @return false when both are zero throughout
// reads: parameters, constants, work.sumrun, sloth, slothi   writes: work.outcom, tro, sumrun
bool solveSector(const RunState& run, const SectorWork& sector, Work& w) {
  const Parameters& p = run.parameters;
  const Constants& c = run.constants;
  int first = 1, last = p.nt;
  avo::a_sahci(sector.sumrun, c.h1.data(), c.h2.data(), sector.sloth, sector.slothi, c.iparm.data(), w.outcom.data(),
               p.nt, c.mmxh, c.nparm, first, last, c.ifndx, c.isrun, 0.0f, c.dtt, c.avopct);
  std::copy_n(w.outcom.data(), p.idiff, w.tro.data());
  std::copy_n(w.outcom.data() + p.nt, p.idiff, w.tro.data() + p.idiff);
  return std::any_of(w.tro.begin(), w.tro.begin() + 2 * p.idiff, [](float value) { return value != 0.0f; });
}

// reads: parameters, constants, work.tro, vels   writes: stores
void storeSector(RunState& run, const SectorWork& sector, int s, const Ensemble& ensemble, const Work& w) {
  const Parameters& p = run.parameters;
  Stores& st = run.stores;
  const std::int64_t slot = rowStart(p, s, ensemble.kcdp, 1);
  const std::int64_t velocityRow = slot * p.nt, attributeRow = slot * p.idiff;
  st.istore[slot] = 1;
  st.ilsamp[slot] = 0;
  if (run.numiter == 1) st.cdpstore[slot] = static_cast<float>(ensemble.cdp);
  std::copy_n(sector.vels, p.nt, st.vstore + velocityRow);
  std::fill_n(st.vastore + velocityRow, p.nt, 0.0f);
  std::copy_n(w.tro.data(), p.idiff, st.astore + attributeRow);
  std::copy_n(w.tro.data() + p.idiff, p.idiff, st.bstore + attributeRow);
  storeHilbertTransforms(run, slot);
}

/// Smooths the sector's velocity, solves and stores it; `head` is the header of the sector's output traces.
// reads: parameters, constants, work   writes: stores, work; output traces
void finishSector(RunState& run, const Ensemble& ensemble, int s, std::int32_t* head, Work& w) {
  const Parameters& p = run.parameters;
  const SectorWork sector(run, w, s);
  std::fill(w.outcom.begin(), w.outcom.end(), 0.0f);
  if (p.ivelfilt > 0) solution::a_samodv(sector.vels, w.tempTrc1.data(), p.idiff, p.ivelfilt);
  if (emitsPrestack(run)) putVelocityTrace(run, w, s, head);
  if (sector.num < p.ifold) return;
  if (!solveSector(run, sector, w)) return;
  if (emitsPrestack(run)) putAttributeTraces(run, w, s, head);
  storeSector(run, sector, s, ensemble, w);
}

/// What precedes the traces: the velocity functions of the ensemble and their slownesses.
// reads: parameters, stores   writes: work.vels, sloth, slothi
void prepare(const RunState& run, const Ensemble& ensemble, Work& w) {
  if (run.numiter > 1) takeRevisedVelocity(run, ensemble, w);
  makeSlowness(run, w);
}

// reads: parameters, constants, work   writes: stores of the ensemble's slot, work; output traces
void finishSectors(RunState& run, const Ensemble& ensemble, Work& w) {
  std::int32_t* lastHead = w.iheads[static_cast<std::size_t>(ensemble.traces - 1)];
  for (int s = 0; s < run.parameters.nazim; ++s) finishSector(run, ensemble, s, lastHead, w);
}

/// Analyses an ensemble of the grid. Ensembles of different slots may be analysed side by side.
// reads: parameters, constants, stores   writes: stores of its slot, work
void analyseEnsemble(RunState& run, const Ensemble& ensemble, Work& w) {
  prepare(run, ensemble, w);
  moveOut(run, ensemble, 0, ensemble.traces, w, w);
  sumAngles(run, ensemble, w);
  finishSectors(run, ensemble, w);
}

/// Analyses an ensemble of the grid and puts its traces out. The calling flow of control makes every call of the
/// framework; beside it the traces are moved out, with arrays from all flows, and summed.
// reads: parameters, constants, stores   writes: stores of its slot, work, scratch of every flow; output traces
void analyseEnsembleWithOutput(RunState& run, const Ensemble& ensemble, Work& w) {
  prepare(run, ensemble, w);
  tbb::parallel_for(0, ensemble.traces, [&](int trace) {
    const int thread = tbb::this_task_arena::current_thread_index();
    moveOut(run, ensemble, trace, trace + 1, w, run.flows[static_cast<std::size_t>(thread)]);
  });
  tbb::task_group sums;  // waits for its task, too, when putting fails
  sums.run([&] { sumAngles(run, ensemble, w); });
  putMovedTraces(run, ensemble, w);
  sums.wait();
  finishSectors(run, ensemble, w);
}

/// The ensembles that are being analysed beside the fetching of others. The flow of control that fetches makes every
/// call of the framework; an analysis that puts traces out is made at once.
class Analyses {
 public:
  explicit Analyses(RunState& run) : run_(run), occupations_(run.flows.size()) {}

  /// Arrays for the next ensemble.
  Work& inHand() { return run_.flows[inHand_]; }

  /// Analyses the ensemble in hand.
  void start(const Ensemble& ensemble) {
    if (isUnderWay(ensemble.kcdp)) finish();
    if (emitsPrestack(run_)) {
      finish();
      analyseEnsembleWithOutput(run_, ensemble, inHand());
      return;
    }
    Occupation& occupation = occupations_[inHand_];
    occupation.slot = ensemble.kcdp;
    occupation.underWay = true;
    analyses_.run([this, ensemble, &occupation, &w = inHand()] {
      analyseEnsemble(run_, ensemble, w);
      occupation.underWay = false;
    });
    while (occupations_[inHand_].underWay) inHand_ = (inHand_ + 1) % occupations_.size();
  }

  void finish() { analyses_.finish(); }

 private:
  /// What a flow is at.
  struct Occupation {
    std::atomic<bool> underWay = false;
    int slot = 0;
  };

  bool isUnderWay(int slot) const {
    return std::any_of(occupations_.begin(), occupations_.end(),
                       [slot](const Occupation& flow) { return flow.underWay && flow.slot == slot; });
  }

  RunState& run_;
  std::vector<Occupation> occupations_;
  std::size_t inHand_ = 0;  ///< flow of the ensemble in hand
  SideWork analyses_;
};

enum class PassChange { none, newPass, outputPass };

/// Moves on to the pass that the trace belongs to, when that is a new one.
// reads: parameters   writes: numiter, stores
PassChange changePass(RunState& run, const std::int32_t* live, Analyses& analyses) {
  if (standardWord(live, run.constants.hdr.idiskiter) == run.numiter) return PassChange::none;
  analyses.finish();
  if (run.numiter > 0) {
    for (PassObserver* observer : run.observers) observer->gathered(run);
  }
  ++run.numiter;
  if (run.numiter > 1) {
    updatePass(run);
    for (PassObserver* observer : run.observers) observer->revised(run);
    if (outputComes(run)) return PassChange::outputPass;
    announcePass(run);
    return PassChange::newPass;
  }
  clearStores(run);
  announcePass(run);
  return PassChange::none;
}

/// Takes the ensemble in hand into the pass that it belongs to. @return false when that is the output pass
bool takeEnsemble(RunState& run, int traces, Work& w, Analyses& analyses) {
  const std::int32_t* live = firstLive(run.constants, w, traces);
  PassChange change;
  do {  // the ensemble that opens a pass counts in the pass before it too
    run.numTraces += traces;
    if (live == nullptr) return true;
    change = changePass(run, live, analyses);
    if (change == PassChange::outputPass) return false;
  } while (change == PassChange::newPass);

  Ensemble ensemble = findCdp(run.parameters, run.constants, w, traces, live);
  const std::optional<int> slot = gridSlot(run.parameters, run.constants, live, ensemble.cdp);
  if (!slot) return true;
  ensemble.kcdp = *slot;
  if (run.numiter == 1) takeInputVelocity(run, ensemble, w);
  analyses.start(ensemble);
  return true;
}

}  // namespace

int azimuthSector(const Parameters& p, const Constants& c, const std::int32_t* head) {
  if (p.iazimuth == 0) return 0;
  const host::StandardHeaders& hdr = c.hdr;
  const float sourceX = standardFloat(head, hdr.isou_x), sourceY = standardFloat(head, hdr.isou_y);
  const float receiverX = standardFloat(head, hdr.irec_x), receiverY = standardFloat(head, hdr.irec_y);
  const float dX = receiverX - sourceX;
  const float dY = receiverY - sourceY;
  float azimuth;  // degrees clockwise from +y
  if (dX == 0.0f) {
    azimuth = sourceY < receiverY ? 0.0f : 180.0f;
  } else if (dY == 0.0f) {
    azimuth = sourceX < receiverX ? 90.0f : 270.0f;
  } else {
    azimuth =
        static_cast<float>(std::atan2(static_cast<double>(dX), static_cast<double>(dY)) / static_cast<double>(c.rad));
    if (dX < 0.0f) azimuth += 360.0f;
  }
  if (!(azimuth >= 0.0f && azimuth <= 360.0f)) return 0;  // coordinates that are no numbers
  // an azimuth that rounds to 360 belongs to sector 0
  return static_cast<int>(azimuth / p.zazim) % p.nazim;
}

void moveTraceOut(const Parameters& p, const Constants& c, const float* sloth, float offset, float* trace,
                  Work& scratch) {
  std::fill_n(scratch.trsave.begin(), c.ilen, 0.0f);
  std::copy_n(trace, p.nt, scratch.trsave.begin() + c.ilen);
  std::fill_n(scratch.trsave.begin() + c.ilen + p.nt, c.ilen, 0.0f);
  int first = 1, last = p.nt;
  moveout::a_samvot(scratch.trsave.data(), sloth, scratch.rcoef.data(), trace, scratch.tempTrc1.data(),
                    scratch.tempTrc2.data(), p.nt, c.ilen, first, last, std::abs(offset), first, 0.0f, c.dtt, first,
                    last);
}

bool emitsPrestack(const RunState& run) {
  return run.parameters.iprestack != 0 && run.numiter == run.parameters.niterate;
}

void storeHilbertTransforms(const RunState& run, std::int64_t slot) {
  const Parameters& p = run.parameters;
  const Stores& st = run.stores;
  const std::int64_t row = slot * p.idiff;
  const int one = 1;
  avo::a_mahlbt(st.astore + row, st.ahstore + row, p.idiff, one, p.idiff, run.constants.ihilbt);
  avo::a_mahlbt(st.bstore + row, st.bhstore + row, p.idiff, one, p.idiff, run.constants.ihilbt);
}

int gatherPass(RunState& run) {
  Analyses analyses(run);
  if (run.numiter > 0) announcePass(run);  // of a run that goes on
  for (;;) {
    Work& w = analyses.inHand();
    const int traces = host::stGetEnsemble(w.traces.data(), w.iheads.data());
    if (traces >= 1) {
      if (traces < run.parameters.ifold || takeEnsemble(run, traces, w, analyses)) continue;
    }
    analyses.finish();
    std::swap(run.work, w);
    return traces;
  }
}

Trial tryEnsembles(RunState& run, int most, double seconds) {
  using Clock = std::chrono::steady_clock;
  const auto since = [](Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
  };
  const Clock::time_point begin = Clock::now();
  Work& w = run.work;
  Trial trial;
  run.numiter = 1;
  run.parameters.iprestack = 0;
  for (int analysed = 0; analysed < most && since(begin) < seconds;) {
    const Clock::time_point start = Clock::now();
    const int traces = host::stGetEnsemble(w.traces.data(), w.iheads.data());
    if (traces < 1) break;
    const std::int32_t* live = firstLive(run.constants, w, traces);
    if (traces < run.parameters.ifold || live == nullptr) continue;
    Ensemble ensemble = findCdp(run.parameters, run.constants, w, traces, live);
    if (!gridSlot(run.parameters, run.constants, live, ensemble.cdp)) continue;
    ensemble.kcdp = 0;
    takeInputVelocity(run, ensemble, w);
    analyseEnsemble(run, ensemble, w);
    if (++analysed == 1) continue;
    ++trial.ensembles;
    trial.traces += traces;
    trial.seconds += since(start);
  }
  return trial;
}

}  // namespace korvane
