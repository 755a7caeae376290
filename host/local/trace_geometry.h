#pragma once

#include "host/local/trace_groups.h"

namespace host::local {

/// A map position for each trace.
struct TracePoints {
  TraceValues x, y;
};

TraceGroups groupsAt(const TracePoints& points);
/// RMS distance from the middle of the group.
double deviation(const TraceGroups& groups, const TracePoints& points);

/// Sources and receivers, and what follows from them.
struct TraceGeometry {
  TracePoints source, receiver, middle;
  TraceValues distances;  ///< from source to receiver

  TraceGeometry() = default;
  TraceGeometry(TracePoints sources, TracePoints receivers);

  /// Share of the traces whose distance is the offset times the factor, as near as rounded numbers can say.
  double agreement(const TraceValues& offsets, double factor = 1.0) const;
  /// Median of the distance over the offset; 1 where every offset is 0.
  double unitOf(const TraceValues& offsets) const;
};

}  // namespace host::local
