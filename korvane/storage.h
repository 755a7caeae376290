#pragma once

#include "korvane/run_state.h"

namespace korvane {

/// Makes every array of the run: the work arrays on the heap, the per-CDP stores through host::mapMemory; prints the
/// memory that the work arrays take. Fatal: a store cannot be made, or the heap is exhausted.
void makeStorage(RunState& run);

/// Makes the work arrays of one flow. @throws std::bad_alloc
void makeWork(const Parameters& p, const Constants& c, Work& w);

}  // namespace korvane
