#include "app/table_summary.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "host/local/job.h"

namespace app {

TableRanges rangesOf(const host::Table& table, bool horizons) {
  const auto zCount = static_cast<std::size_t>(table.zCount());
  TableRanges ranges;
  for (const auto& [x, function] : table.functions()) {
    const std::size_t size = function.y.size();
    if (size == 0) continue;
    if (ranges.points == 0) {
      const TableExtreme first{function.z[horizons ? zCount - 1 : 0], x, function.y.front()};
      ranges = {.fewest = size, .firstX = x, .firstY = first.y, .lastY = first.y, .least = first, .greatest = first};
    }
    ++ranges.functions;
    ranges.points += size;
    ranges.fewest = std::min(ranges.fewest, size);
    ranges.most = std::max(ranges.most, size);
    ranges.lastX = x;
    ranges.firstY = std::min(ranges.firstY, function.y.front());
    ranges.lastY = std::max(ranges.lastY, function.y.back());
    for (std::size_t k = 0; k < function.z.size(); ++k) {
      if (horizons && k % zCount != zCount - 1) continue;
      const TableExtreme here{function.z[k], x, function.y[k / zCount]};
      if (here.value < ranges.least.value) ranges.least = here;
      if (here.value > ranges.greatest.value) ranges.greatest = here;
    }
  }
  if (ranges.points == 0) throw host::local::RunError("table \"" + table.name() + "\" holds no points");
  return ranges;
}

std::string number(float value) {
  std::array<char, 64> digits;
  return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr};
}

std::string counted(const TableRanges& ranges, bool horizons) {
  return std::to_string(ranges.functions) + (horizons ? " horizon" : " function") + (ranges.functions == 1 ? "" : "s") +
         ", " + std::to_string(ranges.points) + (ranges.points == 1 ? " point" : " points");
}

}  // namespace app
