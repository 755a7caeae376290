#pragma once

#include <cstddef>
#include <map>
#include <vector>

namespace host::local {

/// A value for each trace.
using TraceValues = std::vector<double>;

/// Traces with one value, or one pair of values, form a group.
struct TraceGroups {
  std::vector<int> of;  ///< group of each trace, from 0
  int count = 0;
};

template <class Key>
TraceGroups groupsBy(const std::vector<Key>& keys) {
  std::map<Key, int> numbers;
  TraceGroups groups;
  for (const Key& key : keys) {
    groups.of.push_back(numbers.try_emplace(key, static_cast<int>(numbers.size())).first->second);
  }
  groups.count = static_cast<int>(numbers.size());
  return groups;
}

/// All traces in one group.
TraceGroups oneGroup(std::size_t traces);
/// Groups of traces whose values are the same in both.
TraceGroups groupsByPair(const TraceValues& a, const TraceValues& b);
/// Whether every group of one kind is one of the other.
bool isOneToOne(const TraceGroups& a, const TraceGroups& b);

/// RMS deviation of values from the mean of their group.
double deviation(const TraceGroups& groups, const TraceValues& values);
/// Correlation coefficient; no number where one of them does not vary.
double correlation(const TraceValues& a, const TraceValues& b);

}  // namespace host::local
