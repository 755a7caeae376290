#pragma once

#include <cstdint>
#include <vector>

#include "korvane/run_state.h"

namespace korvane {

/// Makes every array of the run: the work arrays on the heap, the per-CDP stores through host::mapMemory; prints the
/// memory that the work arrays take. Fatal: a store cannot be made, or the heap is exhausted.
void makeStorage(RunState& run);

/// Makes the work arrays of one flow. @throws std::bad_alloc
void makeWork(const Parameters& p, const Constants& c, Work& w);

/// Bytes of a store whose rows hold that many values.
std::int64_t rowsBytes(const Parameters& p, int rowLength);
/// Bytes of the stores, one after the other, in the order in which they are made.
std::vector<std::int64_t> storeBytes(const Parameters& p);
/// Bytes that the work arrays take, by the count that makeStorage prints, for the ensembles under way.
std::int64_t workBytes(const RunState& run);

/// Makes arrays for one flow of control, and stores for a grid of one CDP, which the run then has. Prints nothing.
void makeTrialStorage(RunState& run);

}  // namespace korvane
