#include "host/local/trace_groups.h"

#include <cmath>
#include <numeric>
#include <utility>

namespace host::local {

namespace {

std::size_t index(int i) { return static_cast<std::size_t>(i); }

}  // namespace

TraceGroups oneGroup(std::size_t traces) { return {std::vector<int>(traces), traces > 0 ? 1 : 0}; }

TraceGroups groupsByPair(const TraceValues& a, const TraceValues& b) {
  std::vector<std::pair<double, double>> keys;
  for (std::size_t i = 0; i < a.size(); ++i) keys.emplace_back(a[i], b[i]);
  return groupsBy(keys);
}

bool isOneToOne(const TraceGroups& a, const TraceGroups& b) {
  std::vector<std::pair<int, int>> both;
  for (std::size_t i = 0; i < a.of.size(); ++i) both.emplace_back(a.of[i], b.of[i]);
  const int count = groupsBy(both).count;
  return count == a.count && count == b.count;
}

double deviation(const TraceGroups& groups, const TraceValues& values) {
  TraceValues sums(index(groups.count)), counts(index(groups.count));
  for (std::size_t i = 0; i < values.size(); ++i) {
    sums[index(groups.of[i])] += values[i];
    counts[index(groups.of[i])] += 1.0;
  }
  double squares = 0.0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const std::size_t group = index(groups.of[i]);
    squares += std::pow(values[i] - sums[group] / counts[group], 2);
  }
  return std::sqrt(squares / static_cast<double>(values.size()));
}

double correlation(const TraceValues& a, const TraceValues& b) {
  const TraceGroups all = oneGroup(a.size());
  const double n = static_cast<double>(a.size());
  const double products = std::inner_product(a.begin(), a.end(), b.begin(), 0.0) / n;
  const double means = std::accumulate(a.begin(), a.end(), 0.0) / n * (std::accumulate(b.begin(), b.end(), 0.0) / n);
  return (products - means) / (deviation(all, a) * deviation(all, b));
}

}  // namespace host::local
