#pragma once

#include "korvane/run_state.h"

namespace korvane {

/// Revises the velocities of the whole grid after the analysis pass before run.numiter: per sector and grid position it
/// sums products of A and B over the stored neighbours, correlates them, and turns the correlation into velocity
/// ratios. Positions with fewer than FOLD stored neighbours keep their velocities.
void updatePass(RunState& run);

}  // namespace korvane
