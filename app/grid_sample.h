#pragma once

#include <cstdint>

#include "korvane/run_state.h"

namespace app {

/// Every so many inlines and crosslines of the CDP grid, from the first ones.
struct GridSample {
  int inlineStep = 1, crosslineStep = 1;
  int inlines = 0, crosslines = 0;  ///< of the sample

  /// As dense as `cells` positions allow.
  GridSample(const korvane::Parameters& p, std::int64_t cells) {
    const auto count = [](int lines, int step) { return (lines - 1) / step + 1; };
    for (;;) {
      inlines = count(p.itlines, inlineStep);
      crosslines = count(p.xtlines, crosslineStep);
      if (std::int64_t{inlines} * crosslines <= cells) return;
      ++(inlines > crosslines ? inlineStep : crosslineStep);
    }
  }

  /// Slot of a position of the sample in the CDP grid.
  int slot(const korvane::Parameters& p, int inlineIndex, int crosslineIndex) const {
    return inlineIndex * inlineStep * p.xtlines + crosslineIndex * crosslineStep;
  }
};

}  // namespace app
