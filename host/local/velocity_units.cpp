#include "host/local/velocity_units.h"

#include <algorithm>
#include <sstream>

namespace host::local {

namespace {

using std::string_view;
using Parts = std::vector<std::string>;

bool oneOf(const std::string& part, std::initializer_list<const char*> words) {
  return std::find(words.begin(), words.end(), part) != words.end();
}

bool isSecond(const std::string& part) { return oneOf(part, {"s", "sec", "second", "seconds"}); }

/// ft/s, M_S, fps: the unit that a name ends with or holds.
std::optional<VelocityUnit> velocityUnitIn(const Parts& parts) {
  for (std::size_t k = 0; k < parts.size(); ++k) {
    if (parts[k] == "fps") return VelocityUnit::feet;
    if (parts[k] == "mps") return VelocityUnit::metres;
    if (k + 1 == parts.size() || !isSecond(parts[k + 1])) continue;
    if (oneOf(parts[k], {"ft", "feet", "foot"})) return VelocityUnit::feet;
    if (oneOf(parts[k], {"m", "metre", "metres", "meter", "meters"})) return VelocityUnit::metres;
  }
  return std::nullopt;
}

std::optional<TimeUnit> timeUnitIn(const Parts& parts) {
  for (const std::string& part : parts) {
    if (oneOf(part, {"ms", "msec", "millisecond", "milliseconds"})) return TimeUnit::milliseconds;
    if (isSecond(part)) return TimeUnit::seconds;
  }
  return std::nullopt;
}

/// The words of the comments that can hold a unit, in parts: "feet per second" is one word, and a word behind a number
/// tells of that number alone.
std::vector<Parts> unitWords(const TextLines& lines) {
  std::vector<Parts> found;
  for (const string_view comment : lines.comments()) {
    std::string text = lowered(comment);
    for (auto per = text.find(" per "); per != std::string::npos; per = text.find(" per ", per)) {
      text.replace(per, 5, "/");
    }
    bool afterNumber = false;
    for (const string_view word : wordsOf(text)) {
      if (!afterNumber) found.push_back(partsOf(word));
      afterNumber = word.find_first_not_of("0123456789.-") == string_view::npos;
    }
  }
  return found;
}

/// The unit that the comments name, if it is one.
template <class Unit, class UnitIn>
std::optional<Unit> unitInComments(const TextLines& lines, UnitIn unitIn) {
  std::optional<Unit> unit;
  for (const Parts& parts : unitWords(lines)) {
    const std::optional<Unit> named = unitIn(parts);
    if (named && unit && *named != *unit) return std::nullopt;
    if (named) unit = named;
  }
  return unit;
}

std::optional<TimeUnit> timeUnitInComment(const Parts& parts) {
  if (velocityUnitIn(parts) || parts == Parts{"s"}) return std::nullopt;
  return timeUnitIn(parts);
}

std::string text(double value) {
  std::ostringstream out;
  out << value;
  return out.str();
}

/// Words before numbers; where both speak they have to agree.
template <class Unit>
KnownUnit<Unit> decided(const TextLines& lines, const std::string& name, std::optional<Unit> inName,
                        std::optional<Unit> inComments, const std::optional<KnownUnit<Unit>>& byValues,
                        const std::string& range, const std::string& flag) {
  const std::string advice = "; give " + flag;
  const std::optional<Unit> named = inName ? inName : inComments;
  if (!named && !byValues) lines.refuseFile(range + ", and no heading or comment says their unit" + advice);
  if (!named) return *byValues;
  const std::string where = inName ? "heading " + shown(name) : std::string("a comment");
  if (byValues && byValues->unit != *named)
    lines.refuseFile(where + " says " + nameOf(*named) + ", but " + byValues->reason + " looks like " +
                     nameOf(byValues->unit) + advice);
  return {*named, where};
}

}  // namespace

KnownUnit<TimeUnit> timeUnitOf(const VelocityPoints& read, const TextLines& lines) {
  double last = 0.0;
  for (const VelocityPoint& point : read.points) last = std::max(last, point.time);
  std::optional<KnownUnit<TimeUnit>> byValues;
  if (last > 0.0 && last <= 20.0) byValues = {TimeUnit::seconds, "the last time " + text(last)};
  if (last >= 100.0) byValues = {TimeUnit::milliseconds, "the last time " + text(last)};
  const std::optional<TimeUnit> inName = timeUnitIn(partsOf(read.timeName));
  const auto inComments = unitInComments<TimeUnit>(lines, timeUnitInComment);
  if (last == 0.0) return {inName.value_or(inComments.value_or(TimeUnit::milliseconds)), "all times 0"};
  return decided(lines, read.timeName, inName, inComments, byValues, "the last time is " + text(last),
                 "--times s or --times ms");
}

KnownUnit<VelocityUnit> velocityUnitOf(const VelocityPoints& read, const TextLines& lines) {
  const auto slower = [](const VelocityPoint& a, const VelocityPoint& b) { return a.velocity < b.velocity; };
  const auto [least, most] = std::minmax_element(read.points.begin(), read.points.end(), slower);
  const double smallest = least->velocity, largest = most->velocity;
  // Water is 4800 ft/s; RMS velocities stay below 7500 m/s, and below 2500 ft/s lies little but weathered rock.
  std::optional<KnownUnit<VelocityUnit>> byValues;
  if (largest > 7500.0)
    byValues = {VelocityUnit::feet, "the largest velocity " + text(largest)};
  else if (smallest >= 200.0 && largest < 4800.0)
    byValues = {VelocityUnit::metres, "the largest velocity " + text(largest)};
  else if (smallest >= 200.0 && smallest < 2500.0)
    byValues = {VelocityUnit::metres, "the smallest velocity " + text(smallest)};
  return decided(lines, read.velocityName, velocityUnitIn(partsOf(read.velocityName)),
                 unitInComments<VelocityUnit>(lines, velocityUnitIn), byValues,
                 "the velocities are " + text(smallest) + " to " + text(largest),
                 "--velocities ft/s or --velocities m/s");
}

}  // namespace host::local
