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

/// The latest time of any function; 0 when there is none.
float lastTime(const Table& table) {
  float last = 0.0f;
  for (const auto& [x, function] : table.functions()) last = std::max(last, function.y.back());
  return last;
}

int samplesOf(const DiffRange& range, float to) {
  const float steps = (to - range.from) / range.step;
  if (!(steps >= 0.0f && steps < 1e6f)) {
    throw RunError("--from " + number(range.from) + " --to " + number(to) + " --step " + number(range.step) +
                   ": expected ascending times, less than a million steps apart");
  }
  return static_cast<int>(steps) + 1;
}

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
  for (const Table* each : {&table, &reference}) {
    if (each->functions().empty()) throw RunError("table \"" + each->name() + "\" holds no functions");
  }
  const int samples = samplesOf(range, range.to.value_or(std::min(lastTime(table), lastTime(reference))));
  const auto n = static_cast<std::size_t>(samples);
  std::vector<float> found(n), wanted(n);
  TableDifference result;
  result.times.resize(std::min(n, mostLines));
  const auto rangeOf = [&](std::size_t k) -> TableDifference::TimeRange& {
    return result.times[k * result.times.size() / n];
  };
  for (std::size_t k = 0; k < n; ++k) rangeOf(k).last = static_cast<float>(k) * range.step + range.from;
  for (std::size_t k = n; k-- > 0;) rangeOf(k).first = static_cast<float>(k) * range.step + range.from;
  for (const auto& [cdp, function] : reference.functions()) {
    if (!range.cdps.empty() && (cdp < range.cdps.front() || cdp > range.cdps.back())) continue;
    table.alongX(cdp, samples, range.from, range.step, found.data());
    reference.alongX(cdp, samples, range.from, range.step, wanted.data());
    Difference& ofCdp = result.cdps[cdp];
    for (std::size_t k = 0; k < n; ++k) {
      const double percent = 100.0 * (static_cast<double>(found[k]) / static_cast<double>(wanted[k]) - 1.0);
      result.all.add(percent);
      rangeOf(k).difference.add(percent);
      ofCdp.add(percent);
    }
  }
  if (result.all.count == 0) throw RunError("no function of \"" + reference.name() + "\" lies in the range of CDPs");
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
