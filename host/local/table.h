#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/local/position.h"

namespace host {

namespace local {
class PositionInterpolator;
}

/// A table in memory: functions by X, each a list of Y values ascending with zCount() Z values per Y.
///
/// Types: VEL (X CDP, Y time in ms, one Z: RMS velocity), VAZ (the same, one Z per azimuth sector), AHZ (X horizon
/// number, Y CDP, three Z of which the third is the time in ms).
class Table {
 public:
  struct Function {
    std::optional<local::Position> position;  ///< where the function stands on the map, when known
    std::vector<float> y;                     ///< ascending
    std::vector<float> z;                     ///< zCount values per y, point by point
  };

  explicit Table(std::string name, int zCount = 0, std::string xName = {}, std::string yName = {},
                 std::string zName = {});
  ~Table();
  Table(Table&&) noexcept;
  Table& operator=(Table&&) noexcept;

  const std::string& name() const { return name_; }
  const std::string& xName() const { return xName_; }
  const std::string& yName() const { return yName_; }
  const std::string& zName() const { return zName_; }
  int zCount() const { return zCount_; }
  const std::map<float, Function>& functions() const { return functions_; }

  /// Adds a point with zCount() values, at least one; a point that stands at (x, y) already is replaced.
  void add(float x, float y, const float* z);
  /// Map position of the function at x, which must exist.
  /// @throws local::RunError when it is not finite in single precision
  void place(float x, local::Position position);
  void clear();
  int countMaxY() const;

  /// Function at X = x: linear between the neighbouring functions, end functions beyond; linear in time between points,
  /// end values beyond. Sample i stands at float(i) * dt + t0. Formed in double, rounded once, exact on a node.
  /// @return false when the table holds no point
  bool alongX(float x, int nt, float t0, float dt, float* out, int zIndex = 0) const;
  /// Function at a map position: linear in the Delaunay triangle of the functions' positions, nearest edge or function
  /// outside their hull, exact where a function stands; in time as alongX.
  /// @return false, with the reason in `why`, when the table is empty, a function has no position, or two functions
  /// that differ stand at one position
  bool atPosition(local::Position at, int nt, int zIndex, float t0, float dt, float* out, std::string& why) const;
  /// Z values at (x, y), linear in X and in Y, end values beyond; zeros from an empty table.
  void point(float x, float y, float* z) const;

 private:
  std::string name_, xName_, yName_, zName_;
  int zCount_ = 0;
  std::map<float, Function> functions_;
  mutable std::unique_ptr<local::PositionInterpolator>
      interpolator_;  ///< built at the first map query, dropped on change
};

}  // namespace host
