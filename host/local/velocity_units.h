#pragma once

#include <optional>
#include <string>

#include "host/local/velocity_forms.h"

namespace host::local {

enum class TimeUnit { seconds, milliseconds };
enum class VelocityUnit { feet, metres };  ///< per second

inline const char* nameOf(TimeUnit unit) { return unit == TimeUnit::seconds ? "s" : "ms"; }
inline const char* nameOf(VelocityUnit unit) { return unit == VelocityUnit::feet ? "ft/s" : "m/s"; }

/// A unit, and where it was read off.
template <class Unit>
struct KnownUnit {
  Unit unit;
  std::string reason;
};

/// Unit of the times: said by the name of the column, else by a comment, else by the largest time (20 s, or 100 ms and
/// above). @throws RunError naming --times where neither says it, or the words and the largest time disagree
KnownUnit<TimeUnit> timeUnitOf(const VelocityPoints& read, const TextLines& lines);

/// Unit of the velocities, likewise: above 7500 they are feet, all below 4800, or one below 2500, metres a second.
/// @throws RunError naming --velocities where neither says it, or the words and the velocities disagree
KnownUnit<VelocityUnit> velocityUnitOf(const VelocityPoints& read, const TextLines& lines);

}  // namespace host::local
