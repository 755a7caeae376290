#include "app/table_diff.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include "app/table_summary.h"
#include "host/local/job.h"

namespace app {

namespace {

using host::Table;
using host::local::RunError;

constexpr std::size_t mostLines = 10;
constexpr double rounding = 1e-7;  // relative; times of tables are in single precision

/// In few digits: what double precision adds is rounded off.
std::string shortNumber(double value) { return number(static_cast<float>(value)); }

std::size_t samplesOf(double from, double to, double step) {
  const double steps = (to * (1.0 + rounding) - from) / step;
  if (!(steps >= 0.0 && steps < 1e6)) {
    throw RunError("times from " + shortNumber(from) + " to " + shortNumber(to) + " ms in steps of " +
                   shortNumber(step) + " ms: expected ascending times, less than a million steps apart");
  }
  return static_cast<std::size_t>(steps) + 1;
}

/// "CDPs 1 to 40"
std::string cdpsText(float first, float last) { return "CDPs " + number(first) + " to " + number(last); }

void printLine(const std::string& where, const Difference& difference, std::ostream& out) {
  char text[120];
  std::snprintf(text, sizeof text, "%-22s %+9.2f %9.2f\n", where.c_str(), difference.mean(), difference.rms());
  out << text;
}

}  // namespace

void Difference::add(double percent) {
  sum += percent;
  squares += percent * percent;
  ++count;
}

double Difference::mean() const { return sum / static_cast<double>(count); }

double Difference::rms() const { return std::sqrt(squares / static_cast<double>(count)); }

TableDifference differenceOf(const Table& table, const Table& reference, const DiffRange& range) {
  const TableRanges has = rangesOf(table, false), wants = rangesOf(reference, false);
  const float firstOfBoth = std::max(has.firstY, wants.firstY), lastOfBoth = std::min(has.lastY, wants.lastY);
  const double askedTo = range.to.value_or(std::max(static_cast<double>(lastOfBoth), range.from));
  samplesOf(range.from, askedTo, range.step);  // refuses what makes no range
  const bool tooEarly = static_cast<float>(range.from) < firstOfBoth;
  const bool tooLate = static_cast<float>(askedTo) > lastOfBoth;
  const double from = tooEarly ? firstOfBoth : range.from, to = tooLate ? lastOfBoth : askedTo;
  if (from > to) {
    throw RunError("no time from " + shortNumber(range.from) + " to " + shortNumber(askedTo) + " ms lies in both \"" +
                   table.name() + "\", " + number(has.firstY) + " to " + number(has.lastY) + " ms, and \"" +
                   reference.name() + "\", " + number(wants.firstY) + " to " + number(wants.lastY) + " ms");
  }
  const std::size_t n = samplesOf(from, to, range.step);
  std::vector<float> found(n), wanted(n);
  const auto sample = [&](const Table& each, float cdp, std::vector<float>& out) {
    each.alongX(cdp, static_cast<int>(n), static_cast<float>(from), static_cast<float>(range.step), out.data());
  };
  TableDifference result;
  result.times.resize(std::min(n, mostLines));
  const auto rangeOf = [&](std::size_t k) -> TableDifference::TimeRange& {
    return result.times[k * result.times.size() / n];
  };
  const auto timeOf = [&](std::size_t k) { return static_cast<float>(from + static_cast<double>(k) * range.step); };
  for (std::size_t k = 0; k < n; ++k) rangeOf(k).last = timeOf(k);
  for (std::size_t k = n; k-- > 0;) rangeOf(k).first = timeOf(k);
  std::size_t outside = 0;
  for (const auto& [cdp, function] : reference.functions()) {
    if (!range.cdps.empty() && (cdp < range.cdps.front() || cdp > range.cdps.back())) continue;
    if (cdp < has.firstX || cdp > has.lastX) {
      ++outside;
      continue;
    }
    sample(table, cdp, found);
    sample(reference, cdp, wanted);
    Difference& ofCdp = result.cdps[cdp];
    for (std::size_t k = 0; k < n; ++k) {
      const double percent = 100.0 * (static_cast<double>(found[k]) / static_cast<double>(wanted[k]) - 1.0);
      result.all.add(percent);
      rangeOf(k).difference.add(percent);
      ofCdp.add(percent);
    }
  }
  const std::string whereItIs = cdpsText(has.firstX, has.lastX) + " of \"" + table.name() + "\"";
  if (result.all.count == 0) {
    throw RunError(
        "no function of \"" + reference.name() + "\", " + cdpsText(wants.firstX, wants.lastX) + ", lies in " +
        whereItIs +
        (range.cdps.empty() ? "" : " and in --cdps " + number(range.cdps.front()) + " " + number(range.cdps.back())));
  }
  if (outside > 0)
    result.leftOut.push_back(std::to_string(outside) + (outside == 1 ? " CDP" : " CDPs") + " of \"" + reference.name() +
                             "\" outside " + whereItIs);
  if (tooEarly) result.leftOut.push_back("times before " + number(firstOfBoth) + " ms, the first that both have");
  if (tooLate) result.leftOut.push_back("times after " + number(lastOfBoth) + " ms, the last that both have");
  return result;
}

void printTimes(const TableDifference& difference, std::ostream& out) {
  out << "time, ms                  mean %     RMS %\n";
  for (const TableDifference::TimeRange& range : difference.times)
    printLine(number(range.first) + " to " + number(range.last), range.difference, out);
}

void printLargestCdps(const TableDifference& difference, std::ostream& out) {
  std::vector<std::pair<float, Difference>> cdps(difference.cdps.begin(), difference.cdps.end());
  std::stable_sort(cdps.begin(), cdps.end(),
                   [](const auto& a, const auto& b) { return a.second.rms() > b.second.rms(); });
  if (cdps.size() > mostLines) cdps.resize(mostLines);
  out << "CDP                       mean %     RMS %\n";
  for (const auto& [cdp, ofCdp] : cdps) printLine(number(cdp), ofCdp, out);
}

}  // namespace app
