#pragma once

#include <algorithm>
#include <cstdint>

#include "korvane/run_state.h"

namespace app {

/// Blocks of inlines x crosslines of the CDP grid, from the first ones.
struct GridSample {
  int inlineStep = 1, crosslineStep = 1;  ///< of a block
  int inlines = 0, crosslines = 0;        ///< blocks

  /// As many as `cells` allow.
  GridSample(const korvane::Parameters& p, std::int64_t cells) {
    const auto count = [](int lines, int step) { return (lines - 1) / step + 1; };
    for (;;) {
      inlines = count(p.itlines, inlineStep);
      crosslines = count(p.xtlines, crosslineStep);
      if (std::int64_t{inlines} * crosslines <= cells) return;
      ++(inlines > crosslines ? inlineStep : crosslineStep);
    }
  }

  /// Every position of the grid is looked at.
  bool whole() const { return inlineStep == 1 && crosslineStep == 1; }

  /// Slot in the CDP grid that stands for a block: the first one that is taken, or the first of all.
  template <class IsTaken>
  int slot(const korvane::Parameters& p, int i, int k, IsTaken isTaken) const {
    const int firstInline = i * inlineStep, firstCrossline = k * crosslineStep;
    for (int iline = firstInline; iline < std::min(firstInline + inlineStep, p.itlines); ++iline) {
      for (int xline = firstCrossline; xline < std::min(firstCrossline + crosslineStep, p.xtlines); ++xline) {
        if (isTaken(iline * p.xtlines + xline)) return iline * p.xtlines + xline;
      }
    }
    return firstInline * p.xtlines + firstCrossline;
  }
};

}  // namespace app
