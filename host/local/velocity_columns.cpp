#include <algorithm>
#include <map>
#include <utility>

#include "host/local/velocity_forms.h"

namespace host::local {

namespace {

using std::string_view;

using Columns = std::vector<VelocityColumn>;

std::vector<string_view> fieldsOfLine(string_view line, char separator) {
  return separator == ' ' ? wordsOf(line) : fieldsOf(line, separator);
}

/// The names in a heading line; a unit that stands behind a name in brackets belongs to it.
std::vector<std::string> namesOf(string_view line, char separator) {
  std::vector<std::string> names;
  for (const string_view field : fieldsOfLine(line, separator)) {
    if (!names.empty() && (field.starts_with('(') || field.starts_with('[')))
      names.back().append(" ").append(field);
    else
      names.emplace_back(field);
  }
  return names;
}

Columns columnsNamed(const std::vector<std::string>& names) {
  Columns columns;
  for (const std::string& name : names) columns.push_back(velocityColumnNamed(name));
  return columns;
}

bool complete(const Columns& columns) {
  using enum VelocityColumn;
  const auto count = [&](VelocityColumn column) { return std::count(columns.begin(), columns.end(), column); };
  return count(cdp) == 1 && count(time) == 1 && count(velocity) == 1 && count(x) == count(y) && count(x) <= 1;
}

bool holdsNumber(string_view field) {
  double value = 0.0;
  const auto [stop, error] = std::from_chars(field.data(), field.data() + field.size(), value);
  return error == std::errc() && stop == field.data() + field.size();
}

class Reader {
 public:
  Reader(TextLines& lines, char separator) : lines_(lines), separator_(separator) {}

  VelocityPoints read(const Columns& given) {
    if (!lines_.next()) lines_.refuseFile("holds no points; lines of cdp, time and velocity were expected");
    const std::vector<string_view> first = fieldsOfLine(lines_.line(), separator_);
    const bool heading = std::none_of(first.begin(), first.end(), holdsNumber);
    if (!given.empty())
      takeGiven(given, heading);
    else if (heading)
      takeHeading();
    else
      takeComment();
    for (bool more = !heading || lines_.next(); more; more = lines_.next()) found_.points.push_back(point());
    return std::move(found_);
  }

 private:
  /// The columns as told; a heading tells their units.
  void takeGiven(const Columns& given, bool heading) {
    columns_ = given;
    if (!heading) return;
    const std::vector<std::string> names = namesOf(lines_.line(), separator_);
    if (names.size() == columns_.size()) takeNames(names);
  }

  void takeHeading() {
    const std::vector<std::string> names = namesOf(lines_.line(), separator_);
    columns_ = columnsNamed(names);
    const auto unknown = std::find(columns_.begin(), columns_.end(), VelocityColumn::other) - columns_.begin();
    const std::string expected =
        "; expected headings such as CDP TIME VEL (and X Y), or tell the columns by --columns cdp,time,velocity, with "
        "- for one to pass over";
    if (static_cast<std::size_t>(unknown) < columns_.size())
      lines_.refuse("the column " + shown(names[static_cast<std::size_t>(unknown)]) + " is not known" + expected);
    if (!complete(columns_)) lines_.refuse("the headings are not one CDP, one time and one velocity" + expected);
    takeNames(names);
  }

  /// Without a heading line: the first comment that is one.
  void takeComment() {
    for (string_view comment : lines_.comments()) {
      comment.remove_prefix(std::min(comment.find_first_not_of('#'), comment.size()));
      const std::vector<std::string> names = namesOf(trimmed(comment), separator_);
      columns_ = columnsNamed(names);
      const bool known = std::find(columns_.begin(), columns_.end(), VelocityColumn::other) == columns_.end();
      if (known && complete(columns_)) return takeNames(names);
    }
    lines_.refuse("no heading names the columns; put one above (CDP TIME VEL), or give --columns cdp,time,velocity");
  }

  void takeNames(const std::vector<std::string>& names) {
    for (std::size_t k = 0; k < names.size(); ++k) {
      if (columns_[k] == VelocityColumn::time) found_.timeName = names[k];
      if (columns_[k] == VelocityColumn::velocity) found_.velocityName = names[k];
    }
  }

  VelocityPoint point() const {
    const std::vector<string_view> fields = fieldsOfLine(lines_.line(), separator_);
    if (fields.size() != columns_.size())
      lines_.refuse(std::to_string(columns_.size()) + " columns expected, " + std::to_string(fields.size()) +
                    " are there");
    VelocityPoint point{.line = lines_.number()};
    Position position;
    bool placed = false;
    for (std::size_t k = 0; k < fields.size(); ++k) {
      switch (columns_[k]) {
        case VelocityColumn::cdp:
          point.cdp = lines_.whole(fields[k], "cdp");
          break;
        case VelocityColumn::time:
          point.time = lines_.time<double>(fields[k]);
          break;
        case VelocityColumn::velocity:
          point.velocity = lines_.velocity<double>(fields[k]);
          break;
        case VelocityColumn::x:
          position.x = lines_.finite<double>(fields[k]);
          placed = true;
          break;
        case VelocityColumn::y:
          position.y = lines_.finite<double>(fields[k]);
          break;
        case VelocityColumn::other:
          break;
      }
    }
    if (!fitsHeaders(position)) lines_.refuse("the map position is beyond single precision");
    if (placed) point.position = position;
    return point;
  }

  TextLines& lines_;
  const char separator_;
  Columns columns_;
  VelocityPoints found_;
};

}  // namespace

std::vector<std::string> partsOf(string_view name) {
  std::vector<std::string> parts(1);
  for (const char c : lowered(name)) {
    if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'))
      parts.back() += c;
    else if (!parts.back().empty())
      parts.emplace_back();
  }
  if (parts.back().empty()) parts.pop_back();
  return parts;
}

VelocityColumn velocityColumnNamed(string_view name) {
  using enum VelocityColumn;
  static const std::map<std::string, VelocityColumn> known{{"cdp", cdp},
                                                           {"cmp", cdp},
                                                           {"time", time},
                                                           {"times", time},
                                                           {"t", time},
                                                           {"t0", time},
                                                           {"twt", time},
                                                           {"tnmo", time},
                                                           {"v", velocity},
                                                           {"vel", velocity},
                                                           {"velocity", velocity},
                                                           {"vrms", velocity},
                                                           {"vnmo", velocity},
                                                           {"vstk", velocity},
                                                           {"vstack", velocity},
                                                           {"x", x},
                                                           {"y", y}};
  const std::vector<std::string> parts = partsOf(name);
  if (parts.empty()) return other;
  for (const char* no : {"int", "interval", "avg", "ave", "average"})
    if (std::find(parts.begin(), parts.end(), no) != parts.end()) return other;
  // CDP_X and CDP_Y are a position
  const bool position = parts[0] == "cdp" && parts.size() == 2 && (parts[1] == "x" || parts[1] == "y");
  const auto found = known.find(position ? parts[1] : parts[0]);
  return found == known.end() ? other : found->second;
}

VelocityPoints readVelocityColumns(TextLines& lines, char separator, const std::vector<VelocityColumn>& given) {
  return Reader(lines, separator).read(given);
}

}  // namespace host::local
