#include "korvane/storage.h"

#include <tbb/task_arena.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <new>

#include "korvane/neighbourhood_sums.h"

namespace korvane {

namespace {

/// Sizes as std::size_t, so that products of them do not overflow.
struct Sizes {
  std::size_t nt, nx, nth, nazim, idiff, ilen, isrun, iout, ntt;

  Sizes(const Parameters& p, const Constants& c)
      : nt(size(p.nt)),
        nx(size(p.nx)),
        nth(size(p.nth)),
        nazim(size(p.nazim)),
        idiff(size(p.idiff)),
        ilen(size(c.ilen)),
        isrun(size(c.isrun)),
        iout(size(c.iout)),
        ntt(size(p.ntt)) {}

 private:
  static std::size_t size(int n) { return static_cast<std::size_t>(n); }
};

/// Words of four bytes that the work arrays take, by the report's own count.
std::size_t reportedWords(const Sizes& n) {
  return 2 * n.nx + n.nx * (n.nth + n.nt)        // traces and headers
         + (n.nt + n.nx) * n.nazim + 2 * n.nt    //
         + 2 * n.nt * (n.ilen + 1)               //
         + 3 * n.nt * (n.nazim + 1)              //
         + 29 * n.idiff                          //
         + n.nt * (n.isrun * n.nazim + n.iout);  //
}

double reportedMegabytes(const Sizes& n) {
  const float bytes = static_cast<float>(reportedWords(n)) * 4.0f;
  return static_cast<double>(bytes) * (1.0 / 1048576.0);
}

void makeEnsembleBuffers(const Sizes& n, Work& w) {
  w.samples.resize(n.nx * n.nt);
  w.words.resize(n.nx * (n.nth + 1));
  w.traces.resize(n.nx);
  w.iheads.resize(n.nx);
  for (std::size_t j = 0; j < n.nx; ++j) {
    w.traces[j] = w.samples.data() + j * n.nt;
    w.iheads[j] = w.words.data() + j * (n.nth + 1);
  }
}

/// Ensembles that the gather pass has under way: one that each thread is at, and one that waits for it (see SideWork).
std::size_t flowsOfGatherPass() {
  const int threads = tbb::this_task_arena::max_concurrency();
  return threads > 1 ? static_cast<std::size_t>(2 * threads) : 1;
}

/// Calls visit(store, rowLength) for every store, in the order in which they are made.
template <class Visit>
void forEachStore(const Parameters& p, Stores& s, Visit visit) {
  visit(s.vstore, p.nt);
  visit(s.vastore, p.nt);
  visit(s.istore, 1);
  visit(s.ilsamp, 1);
  visit(s.cdpstore, 1);
  visit(s.astore, p.idiff);
  visit(s.bstore, p.idiff);
  visit(s.ahstore, p.idiff);
  visit(s.bhstore, p.idiff);
}

/// @return false when there is no room for one
bool mapStores(const Parameters& p, Stores& s) {
  bool complete = true;
  forEachStore(p, s, [&]<class Value>(Value*& store, int rowLength) {
    static_assert(sizeof(Value) == 4);
    store = static_cast<Value*>(host::mapMemory(rowsBytes(p, rowLength)));
    complete = complete && store != nullptr;
  });
  return complete;
}

}  // namespace

void makeWork(const Parameters& p, const Constants& c, Work& w) {
  const Sizes n(p, c);
  makeEnsembleBuffers(n, w);
  w.rcoef = c.rcoef;
  w.sloth.resize((n.nt + 2) * n.nazim);
  w.slothi.resize((n.nt + 2) * n.nazim);
  w.trsave.resize(std::max(2 * n.nt, n.nt + 2 * n.ilen));
  w.tnmo.resize(n.ntt * n.nazim);
  // the output pass lays three rounds of sectors, or an output function, into the scratch traces
  const std::size_t scratch = std::max({n.nt, n.ntt, 4 * n.nazim});
  w.tempTrc1.resize(std::max(2 * n.nt * n.ilen, scratch));
  w.tempTrc2.resize(scratch);
  w.tempTrc3.resize(scratch);
  w.sectors.resize(n.nx);
  w.sin2.resize(n.nt);
  w.tro.resize(2 * n.nt);
  w.vels.resize(n.nt * n.nazim);
  w.vint.resize(std::max(n.nt, std::size_t{3}) * n.nazim);
  w.num.resize(n.nazim + 1);
  w.sumrun.resize(n.nt * n.nazim * n.isrun);
  w.outcom.resize(n.iout * n.nt);
}

void makeStorage(RunState& run) {
  const Parameters& p = run.parameters;
  const Sizes n(p, run.constants);
  const std::size_t flows = flowsOfGatherPass();
  try {
    makeWork(p, run.constants, run.work);
    run.flows.resize(flows);
    for (Work& flow : run.flows) makeWork(p, run.constants, flow);
    run.neighbourhoods = std::make_shared<NeighbourhoodSums>(p);
  } catch (const std::bad_alloc&) {
    host::stErrFatal(
        "%s: Not enough memory for the work arrays: about %.0f MB for the gathers, and what sums over "
        "%d by %d CDPs take. Fewer threads or a smaller neighbourhood (NUMXSUM, NUMYSUM) take less.",
        toolName, reportedMegabytes(n) * static_cast<double>(flows + 1), p.numxsum, p.numysum);
  }

  Stores& s = run.stores;
  const bool complete = mapStores(p, s);
  std::printf("\n%s: Memory Used: %10f MB\n\n", toolName, reportedMegabytes(n));
  if (!complete) host::stErrFatal("\n%s: Error during memory malloc.\n\n", toolName);

  // a CDP without data of its own is revised and read back when its neighbours suffice
  std::fill_n(s.vstore, p.slots() * p.nt, 0.0f);
}

std::int64_t rowsBytes(const Parameters& p, int rowLength) {
  return 4 * static_cast<std::int64_t>(rowLength) * p.slots();
}

std::vector<std::int64_t> storeBytes(const Parameters& p) {
  Stores none;
  std::vector<std::int64_t> bytes;
  forEachStore(p, none, [&](auto* /*store*/, int rowLength) { bytes.push_back(rowsBytes(p, rowLength)); });
  return bytes;
}

std::int64_t workBytes(const RunState& run) {
  return 4 * static_cast<std::int64_t>(reportedWords(Sizes(run.parameters, run.constants)) * (flowsOfGatherPass() + 1));
}

void makeTrialStorage(RunState& run) {
  run.parameters.maxens = 1;
  makeWork(run.parameters, run.constants, run.work);
  mapStores(run.parameters, run.stores);
}

}  // namespace korvane
