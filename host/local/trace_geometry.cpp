#include "host/local/trace_geometry.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

namespace host::local {

TraceGroups groupsAt(const TracePoints& points) { return groupsByPair(points.x, points.y); }

double deviation(const TraceGroups& groups, const TracePoints& points) {
  return std::hypot(deviation(groups, points.x), deviation(groups, points.y));
}

TraceGeometry::TraceGeometry(TracePoints sources, TracePoints receivers)
    : source(std::move(sources)), receiver(std::move(receivers)), middle(source) {
  for (std::size_t i = 0; i < source.x.size(); ++i) {
    distances.push_back(std::hypot(source.x[i] - receiver.x[i], source.y[i] - receiver.y[i]));
    middle.x[i] = 0.5 * (source.x[i] + receiver.x[i]);
    middle.y[i] = 0.5 * (source.y[i] + receiver.y[i]);
  }
}

double TraceGeometry::agreement(const TraceValues& offsets, double factor) const {
  const double largest = *std::max_element(distances.begin(), distances.end());
  const double rounding = std::min(2.0, 0.02 * largest);
  int agreeing = 0;
  for (std::size_t i = 0; i < offsets.size(); ++i) {
    agreeing += std::abs(factor * std::abs(offsets[i]) - distances[i]) <= rounding + 0.01 * distances[i];
  }
  return agreeing / static_cast<double>(offsets.size());
}

double TraceGeometry::unitOf(const TraceValues& offsets) const {
  TraceValues ratios;
  for (std::size_t i = 0; i < offsets.size(); ++i) {
    if (offsets[i] != 0.0) ratios.push_back(distances[i] / std::abs(offsets[i]));
  }
  if (ratios.empty()) return 1.0;
  std::nth_element(ratios.begin(), ratios.begin() + std::ssize(ratios) / 2, ratios.end());
  return ratios[ratios.size() / 2];
}

}  // namespace host::local
