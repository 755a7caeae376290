#include "host/local/table_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/local/job.h"
#include "host/local/table_type.h"

namespace host::local {

namespace {

using std::string_view;

/// What a column holds; its values are checked accordingly.
enum class Kind { cdp, horizon, time, velocity, mapX, mapY };

/// Where a column goes in the table.
enum class Role { x, y, value, position };

struct Column {
  Kind kind;
  Role role;
  std::size_t value = 0;  ///< index of the Z value
};

struct Layout {
  std::vector<Column> columns;
  int zCount = 0;
  bool positions = false;
};

/// A point in reading order; its Z values stand at `row` * zCount.
struct Point {
  float x, y;
  std::uint32_t row, line;
};

const char* headings(const std::string& type) {
  if (type == "VEL") return "cdp,x,y,time,velocity (x and y may be left out)";
  if (type == "VAZ") return "cdp,time,velocity_0,velocity_1,... (one velocity for each azimuth sector)";
  return "horizon,cdp,time";
}

std::optional<Column> columnNamed(const std::string& type, const std::string& heading) {
  if (type == "AHZ") {
    if (heading == "horizon") return Column{Kind::horizon, Role::x};
    if (heading == "cdp") return Column{Kind::cdp, Role::y};
    if (heading == "time") return Column{Kind::time, Role::value, 2};
    return std::nullopt;
  }
  if (heading == "cdp") return Column{Kind::cdp, Role::x};
  if (heading == "time") return Column{Kind::time, Role::y};
  if (type == "VEL") {
    if (heading == "x") return Column{Kind::mapX, Role::position};
    if (heading == "y") return Column{Kind::mapY, Role::position};
    if (heading == "velocity") return Column{Kind::velocity, Role::value, 0};
    return std::nullopt;
  }
  const std::string prefix = "velocity_";
  if (!heading.starts_with(prefix)) return std::nullopt;
  unsigned sector = 0;
  std::from_chars(heading.data() + prefix.size(), heading.data() + heading.size(), sector);
  if (heading != prefix + std::to_string(sector)) return std::nullopt;
  return Column{Kind::velocity, Role::value, sector};
}

/// Reads one file: the heading line, then point by point.
class Reader {
 public:
  Reader(TextLines& lines, const std::string& type) : type_(type), lines_(lines) { lines_.rewind(); }

  std::unique_ptr<Table> table(const std::string& name) {
    readHeadings();
    while (lines_.next()) readPoint();
    if (points_.empty()) lines_.refuseFile("holds no points; lines of numbers must follow the headings");
    const auto before = [](const Point& a, const Point& b) { return a.x != b.x ? a.x < b.x : a.y < b.y; };
    if (!std::is_sorted(points_.begin(), points_.end(), before))
      std::stable_sort(points_.begin(), points_.end(), before);
    return filled(name);
  }

 private:
  void readHeadings() {
    const std::string expected = std::string("; the headings of a ") + type_ + " table are " + headings(type_);
    if (!lines_.next()) lines_.refuseFile("is empty" + expected);
    std::set<std::string> seen;
    std::size_t velocities = 0, sectors = 0;
    for (const string_view field : fieldsOf(lines_.line(), ',')) {
      const std::string heading = lowered(field);
      const auto column = columnNamed(type_, heading);
      if (!column) lines_.refuse("there is no column " + shown(heading) + expected);
      if (!seen.insert(heading).second) lines_.refuse("column " + shown(heading) + " stands twice" + expected);
      layout_.columns.push_back(*column);
      if (column->kind != Kind::velocity) continue;
      ++velocities;
      sectors = std::max(sectors, column->value + 1);
    }
    const auto has = [&](Kind kind) {
      return std::any_of(layout_.columns.begin(), layout_.columns.end(),
                         [=](const Column& column) { return column.kind == kind; });
    };
    const bool horizons = type_ == "AHZ";
    if (horizons && !has(Kind::horizon)) lines_.refuse("column \"horizon\" is missing" + expected);
    if (!has(Kind::cdp)) lines_.refuse("column \"cdp\" is missing" + expected);
    if (!has(Kind::time)) lines_.refuse("column \"time\" is missing" + expected);
    if (!horizons && velocities == 0) lines_.refuse("the velocity column is missing" + expected);
    if (velocities != sectors)
      lines_.refuse("the velocity columns are not numbered from 0 to " + std::to_string(velocities - 1) + expected);
    layout_.positions = has(Kind::mapX);
    if (layout_.positions != has(Kind::mapY)) lines_.refuse("columns \"x\" and \"y\" go together" + expected);
    layout_.zCount = horizons ? 3 : static_cast<int>(velocities);
  }

  float checked(Kind kind, string_view field) const {
    if (kind == Kind::cdp) return lines_.whole(field, "cdp");
    if (kind == Kind::time) return lines_.time<float>(field);
    if (kind == Kind::velocity) return lines_.velocity<float>(field);
    const float horizon = lines_.whole(field, "horizon");
    if (horizon < 1.0f) lines_.refuse("horizon " + shown(field) + " is below 1");
    return horizon;
  }

  void readPoint() {
    const std::vector<string_view> fields = fieldsOf(lines_.line(), ',');
    if (fields.size() != layout_.columns.size())
      lines_.refuse(std::to_string(layout_.columns.size()) + " columns expected, " + std::to_string(fields.size()) +
                    " are there");
    Point point{.x = 0.0f,
                .y = 0.0f,
                .row = static_cast<std::uint32_t>(points_.size()),
                .line = static_cast<std::uint32_t>(lines_.number())};
    Position position;
    const std::size_t values = values_.size();
    values_.resize(values + static_cast<std::size_t>(layout_.zCount), 0.0f);
    for (std::size_t k = 0; k < fields.size(); ++k) {
      const Column& column = layout_.columns[k];
      switch (column.role) {
        case Role::x:
          point.x = checked(column.kind, fields[k]);
          break;
        case Role::y:
          point.y = checked(column.kind, fields[k]);
          break;
        case Role::value:
          values_[values + column.value] = checked(column.kind, fields[k]);
          break;
        case Role::position:
          (column.kind == Kind::mapX ? position.x : position.y) = lines_.finite<double>(fields[k]);
          break;
      }
    }
    if (!fitsHeaders(position)) lines_.refuse("the map position is beyond single precision");
    points_.push_back(point);
    if (layout_.positions) positions_.push_back(position);
  }

  std::unique_ptr<Table> filled(const std::string& name) const {
    const TableType& type = tableType(type_);
    auto table = std::make_unique<Table>(name, layout_.zCount, type.xName, type.yName, type.zName);
    for (std::size_t k = 0; k < points_.size(); ++k) {
      const Point& point = points_[k];
      const Point* const before = k > 0 && points_[k - 1].x == point.x ? &points_[k - 1] : nullptr;
      if (before != nullptr && before->y == point.y)
        lines_.refuse(point.line, "the point of line " + std::to_string(before->line) + " again");
      table->add(point.x, point.y, values_.data() + static_cast<std::size_t>(point.row) * layout_.zCount);
      if (!layout_.positions) continue;
      if (before == nullptr)
        table->place(point.x, positions_[point.row]);
      else if (positions_[before->row] != positions_[point.row])
        lines_.refuse(point.line, "another map position of this cdp than in line " + std::to_string(before->line));
    }
    return table;
  }

  const std::string type_;
  TextLines& lines_;
  Layout layout_;
  std::vector<Point> points_;
  std::vector<float> values_;
  std::vector<Position> positions_;
};

void append(std::string& text, float value) {
  std::array<char, 32> digits;
  const auto end = std::to_chars(digits.begin(), digits.end(), value, std::chars_format::general, 9).ptr;
  text.append(digits.begin(), end);
}

/// The shortest digits that come back to the same position.
void append(std::string& text, double value) {
  std::array<char, 400> digits;
  const auto end = std::to_chars(digits.begin(), digits.end(), value, std::chars_format::fixed).ptr;
  text.append(digits.begin(), end);
}

}  // namespace

std::unique_ptr<Table> readTableCsv(const std::filesystem::path& file, const std::string& type,
                                    const std::string& name) {
  TextLines lines(file);
  return readTableCsv(lines, type, name);
}

std::unique_ptr<Table> readTableCsv(TextLines& lines, const std::string& type, const std::string& name) {
  return Reader(lines, tableType(type).name).table(name);
}

void writeTableCsv(const Table& table, const std::string& type, std::ostream& out) {
  tableType(type);
  const auto& functions = table.functions();
  const bool horizons = type == "AHZ", sectors = type == "VAZ";
  const bool positions = type == "VEL" && !functions.empty() &&
                         std::all_of(functions.begin(), functions.end(),
                                     [](const auto& function) { return function.second.position.has_value(); });
  const int zCount = table.zCount();
  if (!functions.empty() && !sectors && zCount != (horizons ? 3 : 1))
    throw RunError("table " + type + " \"" + table.name() + "\" has " + std::to_string(zCount) +
                   " values a point and cannot be written as " + headings(type) + "; import it again");

  std::string text = horizons ? "horizon,cdp,time" : positions ? "cdp,x,y,time" : "cdp,time";
  if (type == "VEL") text += ",velocity";
  for (int k = 0; sectors && k < zCount; ++k) text += ",velocity_" + std::to_string(k);
  text += '\n';

  const std::size_t first = horizons ? 2 : 0, count = static_cast<std::size_t>(zCount);
  for (const auto& [x, function] : functions) {
    for (std::size_t k = 0; k < function.y.size(); ++k) {
      append(text, x);
      if (positions) {
        append(text += ',', function.position->x);
        append(text += ',', function.position->y);
      }
      append(text += ',', function.y[k]);
      for (std::size_t z = first; z < count; ++z) append(text += ',', function.z[k * count + z]);
      text += '\n';
    }
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    text.clear();
  }
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

}  // namespace host::local
