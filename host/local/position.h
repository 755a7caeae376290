#pragma once

#include <cfloat>
#include <cmath>
#include <optional>

namespace host::local {

/// A map position in the survey's length unit.
struct Position {
  double x = 0.0;
  double y = 0.0;
  bool operator==(const Position&) const = default;
};

/// Whether both coordinates are numbers that single precision, in which the trace headers have them, can hold.
inline bool fitsHeaders(const Position& p) { return std::abs(p.x) <= FLT_MAX && std::abs(p.y) <= FLT_MAX; }

/// Map positions of CDPs by number.
class CdpPositions {
 public:
  virtual ~CdpPositions() = default;
  virtual std::optional<Position> find(int cdp) const = 0;
};

}  // namespace host::local
