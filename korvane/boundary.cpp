#include "korvane/boundary.h"

#include <tbb/parallel_for.h>

#include <algorithm>

#include "avo/avo.h"

namespace korvane {

namespace {

StoreBlock block(const RunState& run, const char* name, void* store, int rowLength) {
  return {name, store, 4 * static_cast<std::int64_t>(rowLength) * run.parameters.slots()};
}

}  // namespace

std::vector<StoreBlock> attributeBlocks(const RunState& run) {
  const int idiff = run.parameters.idiff;
  return {block(run, "intercept", run.stores.astore, idiff), block(run, "gradient", run.stores.bstore, idiff)};
}

std::vector<StoreBlock> velocityBlocks(const RunState& run) {
  const int nt = run.parameters.nt;
  std::vector<StoreBlock> blocks = {block(run, "velocity", run.stores.vstore, nt),
                                    block(run, "holds data", run.stores.istore, 1),
                                    block(run, "CDP", run.stores.cdpstore, 1)};
  // before an analysis pass they are about to be cleared or overwritten
  if (outputComes(run)) blocks.push_back(block(run, "velocity ratio", run.stores.vastore, nt));
  return blocks;
}

bool outputComes(const RunState& run) { return run.numiter == run.parameters.niterate + 1; }

void completeStores(RunState& run) {
  const Parameters& p = run.parameters;
  const Stores& st = run.stores;
  std::fill_n(st.ilsamp, p.slots(), 0);
  tbb::parallel_for(std::int64_t{0}, p.slots(), [&](std::int64_t slot) {
    if (st.istore[slot] == 0) return;
    const std::int64_t row = slot * p.idiff;
    const int one = 1;
    avo::a_mahlbt(st.astore + row, st.ahstore + row, p.idiff, one, p.idiff, run.constants.ihilbt);
    avo::a_mahlbt(st.bstore + row, st.bhstore + row, p.idiff, one, p.idiff, run.constants.ihilbt);
  });
}

}  // namespace korvane
