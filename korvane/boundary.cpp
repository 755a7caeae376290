#include "korvane/boundary.h"

#include <tbb/parallel_for.h>

#include <algorithm>

#include "korvane/gather_pass.h"
#include "korvane/storage.h"

namespace korvane {

namespace {

StoreBlock block(const RunState& run, const char* name, void* store, int rowLength) {
  return {name, store, rowsBytes(run.parameters, rowLength)};
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

bool outputComes(const RunState& run) { return run.numiter > 1 && run.numiter == run.parameters.niterate + 1; }

void completeStores(RunState& run) {
  const std::int64_t slots = run.parameters.slots();
  std::fill_n(run.stores.ilsamp, slots, 0);
  tbb::parallel_for(std::int64_t{0}, slots, [&](std::int64_t slot) {
    if (run.stores.istore[slot] != 0) storeHilbertTransforms(run, slot);
  });
}

}  // namespace korvane
