#pragma once

#include <bit>
#include <cstdint>
#include <optional>

#include "korvane/run_state.h"

/// What the passes read from and write into trace headers. Standard headers are counted from 1.
namespace korvane {

inline std::int32_t& standardWord(std::int32_t* head, int index) { return head[index - 1]; }
inline std::int32_t standardWord(const std::int32_t* head, int index) { return head[index - 1]; }
inline float standardFloat(const std::int32_t* head, int index) { return std::bit_cast<float>(head[index - 1]); }

inline bool isLive(const std::int32_t* head, int typeIndex) { return standardWord(head, typeIndex) == 1; }

/// Slot in the CDP grid of an ensemble with this header and CDP number; none outside the grid.
inline std::optional<int> gridSlot(const Parameters& p, const Constants& c, const std::int32_t* head, int cdp) {
  const host::StandardHeaders& hdr = c.hdr;
  const int iline = p.is3D != 0 ? standardWord(head, hdr.iiline_no) : p.minilin;
  const int xline = p.is3D != 0 ? standardWord(head, hdr.ixline_no) : cdp;
  if (iline < p.minilin || iline > p.maxilin || xline < p.minxlin || xline > p.maxxlin) return std::nullopt;
  return (iline - p.minilin) * p.xtlines + (xline - p.minxlin);
}

}  // namespace korvane
