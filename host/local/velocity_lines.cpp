#include <algorithm>

#include "host/local/velocity_forms.h"

namespace host::local {

namespace {

using std::string_view;

/// NAME=value as it stands in a line.
struct Entry {
  string_view name, value;
};

/// Takes the first NAME= value off a text; the value ends at a blank.
Entry takeEntry(string_view& text) {
  const auto equals = std::min(text.find('='), text.size());
  Entry entry{.name = trimmed(text.substr(0, equals)), .value = {}};
  text = trimmed(text.substr(std::min(equals + 1, text.size())));
  entry.value = text.substr(0, text.find_first_of(" \t"));
  text = trimmed(text.substr(entry.value.size()));
  return entry;
}

}  // namespace

VelocityPoints readVelocityLines(TextLines& lines) {
  VelocityPoints found;
  VelocityPoint point;
  bool inFunction = false, timed = false;
  std::size_t begun = 0, card = 0;  // points there were when the function began, and its line
  const auto endFunction = [&] {
    if (timed) lines.refuse(point.line, "a time without a velocity; expected VEL= after it");
    if (inFunction && found.points.size() == begun)
      lines.refuse(card, "no points follow; expected TIME= and VEL= below each CDP=");
  };
  while (lines.next()) {
    for (string_view text = lines.line(); !text.empty();) {
      const Entry entry = takeEntry(text);
      const VelocityColumn column = velocityColumnNamed(entry.name);
      if (column == VelocityColumn::cdp) {
        endFunction();
        point.cdp = lines.whole(entry.value, "cdp");
        inFunction = true;
        begun = found.points.size();
        card = lines.number();
      } else if (!inFunction && column == VelocityColumn::other) {
        break;  // what stands above the functions
      } else if (inFunction && column == VelocityColumn::time && !timed) {
        point.time = lines.time<double>(entry.value);
        point.line = lines.number();
        found.timeName = entry.name;
        timed = true;
      } else if (column == VelocityColumn::velocity && timed) {
        point.velocity = lines.velocity<double>(entry.value);
        found.velocityName = entry.name;
        found.points.push_back(point);
        timed = false;
      } else {
        lines.refuse(shown(entry.name) + " is out of place; expected CDP=, then TIME= and VEL= in turn");
      }
    }
  }
  endFunction();
  return found;
}

}  // namespace host::local
