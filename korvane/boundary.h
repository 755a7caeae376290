#pragma once

#include <cstdint>
#include <vector>

#include "korvane/run_state.h"

/// What a run carries over the boundary between two passes, beside numiter and numTraces.
namespace korvane {

/// A store.
struct StoreBlock {
  const char* name;
  void* data;
  std::int64_t bytes;
};

/// Stores that the gather pass has filled and the revision leaves alone: A and B.
std::vector<StoreBlock> attributeBlocks(const RunState& run);
/// The other ones: the revised velocities, and which rows hold data; before the output pass also the velocity ratios.
std::vector<StoreBlock> velocityBlocks(const RunState& run);
/// The pass to come is the output pass.
bool outputComes(const RunState& run);

/// Forms again what the blocks do not hold: the Hilbert transforms of A and B.
// reads: parameters, constants, stores   writes: stores.ahstore, bhstore, ilsamp
void completeStores(RunState& run);

}  // namespace korvane
