#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "host/local/table.h"

namespace app {

/// Where two velocity tables are compared. Times in ms.
struct DiffRange {
  double from = 0.0, step = 20.0;
  std::optional<double> to;  ///< the end of the table that ends first when left out
  std::vector<float> cdps;   ///< first and last; all when empty
};

/// Differences in percent, as they come.
struct Difference {
  double sum = 0.0, squares = 0.0;
  std::size_t count = 0;

  void add(double percent);
  double mean() const;
  double rms() const;
};

/// Difference of a velocity table to a reference, in percent of the reference, at the CDPs of the reference that lie
/// in the range of the table, from the first time that both have.
struct TableDifference {
  struct TimeRange {
    float first = 0.0f, last = 0.0f;  ///< of its samples, ms
    Difference difference;
  };
  Difference all;
  std::vector<TimeRange> times;  ///< ten equal ranges, or one a sample where there are fewer
  std::map<float, Difference> cdps;
  std::vector<std::string> leftOut;  ///< of what was asked for, a line each
};

/// @throws host::local::RunError when a table holds no points, or no time or CDP lies in the range
TableDifference differenceOf(const host::Table& table, const host::Table& reference, const DiffRange& range);

void printTimes(const TableDifference& difference, std::ostream& out);
/// The ten CDPs with the largest RMS difference, largest first.
void printLargestCdps(const TableDifference& difference, std::ostream& out);

}  // namespace app
