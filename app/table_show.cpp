#include "app/table_show.h"

#include <algorithm>
#include <iterator>
#include <ostream>
#include <set>
#include <vector>

#include "app/character_plot.h"
#include "app/table_summary.h"
#include "host/local/job.h"

namespace app {

namespace {

using host::Table;
using host::local::RunError;

constexpr char marks[] = "0123456789abcdefghijklmnopqrstuvwxyz";

/// The mark of sector, horizon or CDP k.
char markOf(std::size_t k) { return marks[k % (sizeof marks - 1)]; }

std::string at(const TableExtreme& extreme, bool horizons) {
  const std::string x = number(extreme.x), y = number(extreme.y);
  return number(extreme.value) +
         (horizons ? " (horizon " + x + " at CDP " + y + ")" : " (CDP " + x + " at " + y + " ms)");
}

void printRanges(const Table& table, const std::string& type, const TableRanges& ranges, std::ostream& out) {
  const bool horizons = type == "AHZ";
  out << type << " \"" << table.name() << "\": " << counted(ranges, horizons) << ", " << ranges.fewest;
  if (ranges.most != ranges.fewest) out << " to " << ranges.most;
  out << (horizons ? " a horizon" : " a function");
  if (type == "VAZ") out << ", " << table.zCount() << " sectors";
  const std::string x = number(ranges.firstX) + " to " + number(ranges.lastX);
  const std::string y = number(ranges.firstY) + " to " + number(ranges.lastY);
  out << (horizons ? "\nhorizon   " : "\nCDP       ") << x << (horizons ? "\nCDP       " : "\ntime      ") << y
      << (horizons ? "\ntime      " : " ms\nvelocity  ") << at(ranges.least, horizons) << " to "
      << at(ranges.greatest, horizons) << (horizons ? " ms\n\n" : "\n\n");
}

/// The CDPs to draw: the one asked for, else the first, the middle and the last function, or the middle one alone.
std::vector<float> cdpsToDraw(const Table& table, std::optional<float> asked, bool middleOnly) {
  const auto& functions = table.functions();
  const float first = functions.begin()->first, last = functions.rbegin()->first;
  if (asked && !(*asked >= first && *asked <= last))
    throw RunError("table \"" + table.name() + "\" has CDPs " + number(first) + " to " + number(last) + "; CDP " +
                   number(*asked) + " is outside");
  if (asked) return {*asked};
  const float middle = std::next(functions.begin(), static_cast<std::ptrdiff_t>((functions.size() - 1) / 2))->first;
  if (middleOnly) return {middle};
  const std::set<float> cdps{first, middle, last};
  return {cdps.begin(), cdps.end()};
}

void drawVelocities(const Table& table, const TableRanges& ranges, const std::vector<float>& cdps, std::ostream& out) {
  CharacterPlot plot(ranges.least.value, ranges.greatest.value, ranges.firstY, ranges.lastY);
  const auto sectors = static_cast<std::size_t>(table.zCount());
  std::vector<float> values(sectors);
  std::string legend;
  for (std::size_t k = 0; k < cdps.size(); ++k) {
    const bool stored = table.functions().contains(cdps[k]);
    legend += (k == 0 ? "" : "   ") + (sectors > 1 ? "sectors of" : std::string{markOf(k + 1)}) + " CDP " +
              number(cdps[k]) + (stored ? "" : " (between functions)");
    for (int row = 0; row < CharacterPlot::rows; ++row) {
      table.point(cdps[k], plot.timeOf(row), values.data());
      for (std::size_t sector = 0; sector < sectors; ++sector)
        plot.mark(values[sector], plot.timeOf(row), markOf(sectors > 1 ? sector : k + 1));
    }
  }
  plot.print(out);
  out << std::string(10, ' ') << "velocity  " << legend << "   * several\n";
}

void drawHorizons(const Table& table, const TableRanges& ranges, std::ostream& out) {
  CharacterPlot plot(ranges.firstY, ranges.lastY, ranges.least.value, ranges.greatest.value);
  const auto zCount = static_cast<std::size_t>(table.zCount());
  std::vector<float> values(zCount);
  for (const auto& [horizon, function] : table.functions()) {
    const char mark = markOf(static_cast<std::size_t>(horizon));
    for (int column = 0; column < CharacterPlot::columns; ++column) {
      const float cdp = plot.valueOf(column);
      if (cdp < function.y.front() || cdp > function.y.back()) continue;
      table.point(horizon, cdp, values.data());
      plot.mark(cdp, values.back(), mark);
    }
    for (std::size_t k = 0; k < function.y.size(); ++k)  // those between two columns too
      plot.mark(function.y[k], function.z[(k + 1) * zCount - 1], mark);
  }
  plot.print(out);
  const float last = table.functions().rbegin()->first;
  out << std::string(10, ' ') << "CDP  marks: horizons" << (last >= 10.0f ? ", a to z from 10" : "")
      << (last >= 36.0f ? ", 0 to z again from 36" : "") << "   * several\n";
}

}  // namespace

void showTable(const Table& table, const std::string& type, std::optional<float> cdp, std::ostream& out) {
  const bool horizons = type == "AHZ";
  if (horizons && cdp) throw RunError("--cdp is for VEL and VAZ; horizons are drawn along the line");
  const TableRanges ranges = rangesOf(table, horizons);
  const std::vector<float> cdps = horizons ? std::vector<float>{} : cdpsToDraw(table, cdp, type == "VAZ");
  printRanges(table, type, ranges, out);
  if (horizons)
    drawHorizons(table, ranges, out);
  else
    drawVelocities(table, ranges, cdps, out);
}

}  // namespace app
