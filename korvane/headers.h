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

/// Slot in the CDP grid; none outside it. In 2D the crossline is the CDP number, and the inline does not count.
inline std::optional<int> gridSlot(const Parameters& p, int iline, int xline) {
  if (p.is3D == 0) iline = p.minilin;
  if (iline < p.minilin || iline > p.maxilin || xline < p.minxlin || xline > p.maxxlin) return std::nullopt;
  return (iline - p.minilin) * p.xtlines + (xline - p.minxlin);
}

/// The same of an ensemble with this header and CDP number.
inline std::optional<int> gridSlot(const Parameters& p, const Constants& c, const std::int32_t* head, int cdp) {
  return gridSlot(p, standardWord(head, c.hdr.iiline_no), p.is3D != 0 ? standardWord(head, c.hdr.ixline_no) : cdp);
}

}  // namespace korvane
