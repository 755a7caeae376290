#include "host/local/velocity_text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <sstream>

#include "host/local/table_text.h"
#include "host/local/table_type.h"

namespace host::local {

namespace {

using std::string_view;

constexpr double metresPerFoot = 0.3048;

/// The names in front of the signs '=' of a line, in lower case.
std::vector<std::string> namesIn(string_view line) {
  std::vector<std::string> names;
  for (auto equals = line.find('='); equals != string_view::npos; equals = line.find('=')) {
    const std::vector<string_view> words = wordsOf(line.substr(0, equals));
    if (!words.empty()) names.push_back(lowered(words.back()));
    line.remove_prefix(equals + 1);
  }
  return names;
}

/// The form by the first line that tells: a HANDVEL card, times under a name with '=', else commas or none in the
/// first.
VelocityForm formOf(TextLines& lines, bool columnsTold) {
  lines.rewind();
  if (!lines.next()) return VelocityForm::csv;
  const VelocityForm byFirstLine =
      lines.line().find(',') == string_view::npos ? VelocityForm::columns : VelocityForm::csv;
  if (columnsTold) return byFirstLine;
  do {
    if (lowered(lines.line()).starts_with("handvel")) return VelocityForm::handvel;
    for (const std::string& name : namesIn(lines.line())) {
      if (name == "tnmo" || name == "vnmo") return VelocityForm::parameters;
      if (velocityColumnNamed(name) == VelocityColumn::time) return VelocityForm::lines;
    }
  } while (lines.next());
  return byFirstLine;
}

/// Whether the first line is a heading of our own CSV, or there is none.
bool hasOwnHeadings(TextLines& lines) {
  static constexpr std::array own{"cdp", "time", "velocity", "x", "y"};
  lines.rewind();
  if (!lines.next()) return true;
  const std::vector<string_view> fields = fieldsOf(lines.line(), ',');
  return std::all_of(fields.begin(), fields.end(),
                     [](string_view field) { return std::find(own.begin(), own.end(), lowered(field)) != own.end(); });
}

VelocityPoints read(VelocityForm form, TextLines& lines, const std::vector<VelocityColumn>& columns) {
  lines.rewind();
  switch (form) {
    case VelocityForm::csv:
      return readVelocityColumns(lines, ',', columns);
    case VelocityForm::columns:
      return readVelocityColumns(lines, ' ', columns);
    case VelocityForm::parameters:
      return readVelocityParameters(lines);
    case VelocityForm::handvel:
      return readHandvelCards(lines);
    case VelocityForm::lines:
      return readVelocityLines(lines);
  }
  throw std::logic_error("a form of velocity text without a reader");
}

/// A velocity of the other unit in this one.
double inUnit(VelocityUnit unit, double velocity) {
  return unit == VelocityUnit::metres ? velocity * metresPerFoot : velocity / metresPerFoot;
}

std::string shortText(float value) {
  std::ostringstream out;
  out << value;
  return out.str();
}

/// Adds a point whose time has to come after that of the last point of its CDP, which stands in `lastLine`.
void add(const VelocityPoint& point, float time, float velocity, std::map<float, std::size_t>& lastLine,
         const TextLines& lines, Table& table) {
  if (!std::isfinite(time) || !std::isfinite(velocity) || !(velocity > 0.0f))
    lines.refuse(point.line, "a time or velocity is beyond single precision once it is converted");
  const auto [last, fresh] = lastLine.try_emplace(point.cdp, point.line);
  if (!fresh) {
    const Table::Function& function = table.functions().at(point.cdp);
    const std::string before = " of CDP " + shortText(point.cdp) + " in line " + std::to_string(last->second);
    if (!(time > function.y.back()))
      lines.refuse(point.line, "time " + shortText(time) + " ms does not come after " + shortText(function.y.back()) +
                                   " ms" + before + "; expected ascending times, each once");
    if (function.position != point.position) lines.refuse(point.line, "another map position than" + before);
    last->second = point.line;
  }
  table.add(point.cdp, time, &velocity);
  if (fresh && point.position) table.place(point.cdp, *point.position);
}

template <class Unit>
std::string inWords(const char* what, const KnownUnit<Unit>& known) {
  return std::string(what) + " in " + nameOf(known.unit) + " (" + known.reason + ")";
}

}  // namespace

VelocityText readVelocities(const std::filesystem::path& file, const std::string& name,
                            const VelocityTextOptions& options) {
  TextLines lines(file);
  const bool ownHeadings = options.columns.empty() && hasOwnHeadings(lines);
  const VelocityForm form = options.form  ? *options.form
                            : ownHeadings ? VelocityForm::csv
                                          : formOf(lines, !options.columns.empty());
  const bool own = ownHeadings && form == VelocityForm::csv;
  if (own && options.to && !options.velocities)
    lines.refuseFile("its headings do not say the unit of the velocities; give --velocities ft/s or --velocities m/s");
  const bool asItIs = options.times != TimeUnit::seconds && (!options.to || options.to == options.velocities);
  if (own && asItIs) return {.table = readTableCsv(lines, "VEL", name), .form = form, .unit = options.velocities};

  const VelocityPoints points = read(form, lines, options.columns);
  if (points.points.empty()) lines.refuseFile("holds no points; expected CDPs with times and velocities");
  const KnownUnit<TimeUnit> times = options.times ? KnownUnit<TimeUnit>{*options.times, "as told"}
                                    : own         ? KnownUnit<TimeUnit>{TimeUnit::milliseconds, "by its headings"}
                                                  : timeUnitOf(points, lines);
  std::optional<KnownUnit<VelocityUnit>> velocities;
  if (options.velocities)
    velocities = {*options.velocities, "as told"};
  else if (!own)
    velocities = velocityUnitOf(points, lines);
  const bool converts = options.to && options.to != velocities->unit;

  const TableType& type = tableType("VEL");
  auto table = std::make_unique<Table>(name, 1, type.xName, type.yName, type.zName);
  std::map<float, std::size_t> lastLine;
  for (const VelocityPoint& point : points.points) {
    const double time = times.unit == TimeUnit::seconds ? 1000.0 * point.time : point.time;
    const double velocity = converts ? inUnit(*options.to, point.velocity) : point.velocity;
    add(point, static_cast<float>(time), static_cast<float>(velocity), lastLine, lines, *table);
  }
  VelocityText text{.table = std::move(table), .form = form, .unit = options.to, .units = inWords("times", times)};
  if (velocities) {
    text.units += ", " + inWords("velocities", *velocities);
    if (!text.unit) text.unit = velocities->unit;
  }
  if (converts) text.units += std::string(" converted to ") + nameOf(*options.to);
  return text;
}

}  // namespace host::local
