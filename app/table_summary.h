#pragma once

#include <cstddef>
#include <string>

#include "host/local/table.h"

namespace app {

/// A value of a table and the point that has it.
struct TableExtreme {
  float value, x, y;
};

/// What a table spans. The value is a velocity, of any sector, or the time of a horizon.
struct TableRanges {
  std::size_t functions = 0, points = 0;
  std::size_t fewest = 0, most = 0;  ///< points of a function
  float firstX = 0.0f, lastX = 0.0f;
  float firstY = 0.0f, lastY = 0.0f;
  TableExtreme least{}, greatest{};  ///< the first points that have them
};

/// @throws host::local::RunError when the table holds no points
TableRanges rangesOf(const host::Table& table, bool horizons);

/// The shortest digits that come back to the same value.
std::string number(float value);

/// "9 functions, 90 points"
std::string counted(const TableRanges& ranges, bool horizons);

}  // namespace app
