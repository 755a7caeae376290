#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/local/position.h"
#include "host/local/text_lines.h"

/// The forms in which velocity functions come as text, one reader a form: each gives the points as they stand in the
/// file, in its units and its order. A line that is not of the form is a RunError with file, line number and content.
namespace host::local {

/// One point of a velocity function.
struct VelocityPoint {
  float cdp = 0.0f;
  double time = 0.0;      ///< in the unit of the file, at least 0
  double velocity = 0.0;  ///< in the unit of the file, above 0
  std::optional<Position> position = {};
  std::size_t line = 0;
};

/// What a file of velocities holds.
struct VelocityPoints {
  std::vector<VelocityPoint> points;
  std::string timeName, velocityName;  ///< what the file calls them; empty where it does not say
};

/// What a column of a file holds.
enum class VelocityColumn { cdp, time, velocity, x, y, other };

/// The column that goes under a name such as CDP, TIME_MS or VRMS_FT_S; `other` for any that is not known, interval and
/// average velocities among them.
VelocityColumn velocityColumnNamed(std::string_view name);

/// The lower-case runs of letters and digits in a name: VRMS_FT_S is vrms, ft, s.
std::vector<std::string> partsOf(std::string_view name);

/// A line a point, fields kept apart by `separator` (a blank stands for any number of blanks). The columns are those
/// given, or named by a heading line, which may be a comment.
VelocityPoints readVelocityColumns(TextLines& lines, char separator, const std::vector<VelocityColumn>& given);

/// cdp=1,2,3 and for each CDP, in that order, tnmo=times and vnmo=velocities. A trailing backslash or comma leads on to
/// the next line.
VelocityPoints readVelocityParameters(TextLines& lines);

/// Cards HANDVEL cdp, each followed by lines of pairs of time and velocity.
VelocityPoints readHandvelCards(TextLines& lines);

/// NAME=value, blanks between: CDP= begins a function, TIME= and VEL= a point of it. Other names may stand before the
/// first CDP.
VelocityPoints readVelocityLines(TextLines& lines);

}  // namespace host::local
