#pragma once

#include <array>
#include <map>
#include <memory>

#include "host/local/position.h"
#include "host/local/table.h"

namespace host::local {

/// One to three functions of a table and how much of each a place between them takes. The value there is
/// v0 + weight[1] (v1 - v0) + weight[2] (v2 - v0), so that equal values give themselves.
struct Blend {
  int count = 0;
  std::array<const Table::Function*, 3> function{};
  std::array<double, 3> weight{};  ///< weight[0], what the others leave to 1, is not used
};

/// Linear interpolation between functions that stand at scattered map positions.
///
/// Inside the hull of the positions the functions at the corners of the Delaunay triangle (Delaunay, 1934) take part,
/// on an edge those at its ends; outside it those of the nearest edge, or the nearest one. Positions are compared in
/// single precision, that of the trace headers, so that the place of a function gives this function alone.
///
/// Positions on a straight line are rounded to the units of the headers, and so hardly ever exactly on it. Triangles
/// along the hull that are flat within that rounding count as outside; without this a place would take from functions
/// far along the line in place of its neighbours.
///
/// A query remembers where it ended, so that the next one nearby is quick: not for several threads at once.
class PositionInterpolator {
 public:
  /// Keeps pointers to the functions, which must all have a position.
  /// @throws RunError when two functions that differ stand at one position
  explicit PositionInterpolator(const std::map<float, Table::Function>& functions);
  ~PositionInterpolator();

  Blend at(Position place) const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace host::local
