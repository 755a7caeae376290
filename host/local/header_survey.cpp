#include "host/local/header_survey.h"

#include <algorithm>
#include <cmath>
#include <sstream>
#include <utility>

#include "host/local/header_columns.h"
#include "host/local/trace_geometry.h"

namespace host::local {

namespace {

constexpr double nearlyAll = 0.95;  // share of traces that makes a rule

std::string figure(double value) {
  std::ostringstream out;
  out.precision(10);
  out << value;
  return out.str();
}

std::string percent(double share) { return figure(std::floor(100.0 * share)) + " %"; }

std::string atByte(HeaderField field) { return "byte " + std::to_string(field.byte); }

/// Judges the places one kind of header after the other; what one rule finds the next one builds on.
class Judge {
 public:
  Judge(const HeaderSample& sample, const HeaderLayout& layout) : sample_(sample), stretches_(sample.stretches()) {
    survey_.traces = sample.traces();
    survey_.layout = layout;
    columns_ = readColumns(sample, survey_.layout);
    if (survey_.layout.fields["OFFSET"] != layout.fields.at("OFFSET")) {
      survey_.moved["OFFSET"] = "beyond reason as whole numbers, of a usual size as floats";
    }
    survey_.zeroWord = findZeroWord(sample, survey_.layout);
  }

  HeaderSurvey survey() {
    readCoordinates();
    judgeOffset();
    judgeCdp();
    judgeOffsetByEnsembles();
    judgeGrid();
    judgePositions();
    judgeOthers();
    return take();
  }

 private:
  // --- the layout ---

  HeaderColumn& at(const std::string& name) {
    const HeaderField field = survey_.layout.fields.at(name);
    return *std::find_if(columns_.begin(), columns_.end(), [&](const HeaderColumn& c) { return c.field == field; });
  }

  void move(const std::string& name, HeaderColumn& to, const std::string& why) {
    survey_.layout.fields[name] = to.field;
    survey_.moved[name] = why;
    to.say(name, why);
  }

  // --- source, receiver, offset ---

  TraceValues coordinates(TraceValues result) {
    const HeaderColumn& scalar = at("COORD_SCALAR");
    for (std::size_t i = 0; i < result.size(); ++i) result[i] = scaled(result[i], wholeNumber(scalar.values[i]));
    return result;
  }

  TracePoints points(const std::string& x, const std::string& y) {
    return {coordinates(at(x).values), coordinates(at(y).values)};
  }

  void readCoordinates() {
    geometry_ = {points("SOU_X", "SOU_Y"), points("REC_X", "REC_Y")};
    const bool sources = at("SOU_X").varies() || at("SOU_Y").varies();
    const bool receivers = at("REC_X").varies() || at("REC_Y").varies();
    const auto filled = [&](const char* x, const char* y) { return !at(x).isZero() || !at(y).isZero(); };
    const bool related = geometry_.agreement(at("OFFSET").values) >= nearlyAll && at("OFFSET").varies();
    surveyed_ = related || (sources && receivers) ||
                (sources != receivers && filled("SOU_X", "SOU_Y") && filled("REC_X", "REC_Y"));
    if (sources != receivers && !surveyed_) {
      survey_.remarks.push_back(std::string("Only the ") + (sources ? "source" : "receiver") +
                                " has coordinates, so offsets cannot be compared with its distance to the other end.");
    }
  }

  void judgeOffset() {
    HeaderColumn& mapped = at("OFFSET");
    const std::string rule = "the distance of source and receiver";
    if (!surveyed_) {
      if (mapped.varies()) findCoordinates();
      return;
    }
    const double share = geometry_.agreement(mapped.values);
    if (mapped.varies() && share >= nearlyAll) {
      mapped.say("offset", "its size is " + rule + " on " + percent(share) + " of the traces");
      sayCoordinates("with the other end at the distance of the offset");
      return;
    }
    sayCoordinates("varies; not confirmed by offsets");
    for (HeaderColumn& other : columns_) {
      if (other.isTaken() || !other.varies() || geometry_.agreement(other.values) < nearlyAll) continue;
      move("OFFSET", other,
           "its size is " + rule + " on " + percent(geometry_.agreement(other.values)) + " of the traces");
      mapped.say(mapped.varies() ? "no offset" : "empty", atByte(other.field) + " has the offsets");
      return;
    }
    if (!mapped.varies()) return;
    const double unit = geometry_.unitOf(mapped.values);
    if (geometry_.agreement(mapped.values, unit) >= nearlyAll && unit > 0.0) {
      mapped.say("offset in another unit", rule + " is " + figure(std::round(unit * 1e4) / 1e4) + " times as large");
      survey_.remarks.push_back("OFFSET and the coordinates differ in their unit: " + rule + " is " +
                                figure(std::round(unit * 1e4) / 1e4) +
                                " times the offset. Check the coordinate scalar and the units of both.");
    } else {
      mapped.say("offset?", rule + " on " + percent(share) + " of the traces only");
      survey_.remarks.push_back("OFFSET is " + rule + " on " + percent(share) +
                                " of the traces only: one of the two is wrong. A run without azimuth sectors uses " +
                                "the offset alone.");
    }
  }

  void sayCoordinates(const std::string& why) {
    for (const auto& [name, looks] :
         {std::pair{"SOU_X", "source"}, {"SOU_Y", "source"}, {"REC_X", "receiver"}, {"REC_Y", "receiver"}}) {
      if (at(name).varies()) at(name).say(looks, why);
    }
  }

  /// Two places whose difference is the offset, along x alone or with y behind x.
  void findCoordinates() {
    for (const bool plane : {true, false}) {
      for (HeaderColumn& source : columns_) {
        for (HeaderColumn& receiver : columns_) {
          if (&source >= &receiver || !canHold(source, plane) || !canHold(receiver, plane)) continue;
          const HeaderField sourceY{source.field.byte + 4}, receiverY{receiver.field.byte + 4};
          const TraceValues line(source.values.size());
          geometry_ = {{coordinates(source.values), plane ? coordinates(sample_.values(sourceY)) : line},
                       {coordinates(receiver.values), plane ? coordinates(sample_.values(receiverY)) : line}};
          if (geometry_.agreement(at("OFFSET").values) < nearlyAll) continue;
          surveyed_ = true;
          const std::string why = "lies at the distance of the offset from ";
          at("OFFSET").say("offset", "the distance of bytes " + std::to_string(source.field.byte) + " and " +
                                         std::to_string(receiver.field.byte));
          move("SOU_X", source, why + atByte(receiver.field) + "; could be the receiver");
          move("REC_X", receiver, why + atByte(source.field) + "; could be the source");
          if (!plane) return;
          moveTo("SOU_Y", sourceY, "behind the x of the source");
          moveTo("REC_Y", receiverY, "behind the x of the receiver");
          return;
        }
      }
    }
  }

  /// Whether a place, and with `plane` the one behind it, can hold coordinates that are not where they should be.
  bool canHold(const HeaderColumn& x, bool plane) const {
    const HeaderField y{x.field.byte + 4};
    if (x.isTaken() || !x.varies() || x.counts() || x.field.format != HeaderFormat::int32) return false;
    return !plane || std::any_of(columns_.begin(), columns_.end(),
                                 [&](const HeaderColumn& c) { return c.field == y && c.varies() && !c.isTaken(); });
  }

  void moveTo(const std::string& name, HeaderField field, const std::string& why) {
    const auto found =
        std::find_if(columns_.begin(), columns_.end(), [&](const HeaderColumn& c) { return c.field == field; });
    if (found != columns_.end()) move(name, *found, why);
  }

  // --- ensembles ---

  /// Midpoints lie close together, sources and receivers do not.
  bool gathersMidpoints(const HeaderColumn& column) const {
    const TraceGroups groups = groupsBy(column.values);
    if (!column.whole || column.distinct < 2 || groups.count > 0.8 * survey_.traces) return false;
    return deviation(groups, geometry_.middle) <
           0.25 * std::min(deviation(groups, geometry_.source), deviation(groups, geometry_.receiver));
  }

  bool gathers(const HeaderColumn& column) const {
    if (surveyed_) return gathersMidpoints(column);
    return column.whole && column.inRuns(stretches_) && column.distinct <= 0.8 * survey_.traces;
  }

  std::string gathersWhy() const {
    return surveyed_ ? "traces of one value share their midpoint, not their source or receiver"
                     : "constant within neighbouring traces, then another value that does not come back";
  }

  void judgeCdp() {
    HeaderColumn& mapped = at("CDP");
    if (gathers(mapped)) {
      mapped.say("CDP", gathersWhy());
      return;
    }
    std::vector<HeaderColumn*> others;
    for (HeaderColumn& other : columns_) {
      if (!other.isTaken() && gathers(other)) others.push_back(&other);
    }
    const std::vector<HeaderColumn*> lines = linesThatGather();
    others.insert(others.end(), lines.begin(), lines.end());
    // numbers in steps of one rather than positions
    const auto dense = [](const HeaderColumn* c) { return (c->greatest - c->least + 1.0) / c->distinct; };
    const auto best = std::min_element(others.begin(), others.end(), [&](const HeaderColumn* a, const HeaderColumn* b) {
      return dense(a) < dense(b);
    });
    // without coordinates a shot behaves like a CDP
    const bool certain = surveyed_ || !mapped.varies();
    if (best != others.end() && certain) {
      mapped.say(mapped.varies() ? "no CDP" : "empty", atByte((*best)->field) + " gathers the traces");
      const std::string doubt = surveyed_ ? "" : "; a shot number would look the same";
      if ((*best)->mapped.empty()) {
        move("CDP", **best, gathersWhy() + doubt);
      } else {
        survey_.layout.fields["CDP"] = (*best)->field;
        survey_.moved["CDP"] = gathersWhy() + doubt;
      }
      return;
    }
    if (!mapped.varies()) {
      if (survey_.traces == 1) return;
      if (isOneGather()) {
        survey_.remarks.push_back("The CDP is the same on every trace: a run takes the whole file as one gather.");
      } else {
        survey_.missing["CDP"] = "no place looks like one";
      }
      return;
    }
    if (mapped.counts()) {
      mapped.say("counter", "goes up by one from trace to trace: ensembles of one trace");
    } else if (mapped.distinct > 0.8 * survey_.traces) {
      mapped.say("CDP?", "nearly every trace has one of its own");
    } else if (surveyed_) {
      mapped.say("no CDP?", "the traces of one value do not share a midpoint");
      survey_.remarks.push_back(
          "The traces of one CDP do not share a midpoint of source and receiver. Check CDP and "
          "the coordinates.");
    }
  }

  /// The standard line numbers may stand in for an empty CDP, unless they number a grid.
  std::vector<HeaderColumn*> linesThatGather() {
    std::vector<HeaderColumn*> lines;
    if (at("ILINE_NO").varies() && at("XLINE_NO").varies()) return lines;
    for (const char* name : {"XLINE_NO", "ILINE_NO"}) {
      if (gathers(at(name))) lines.push_back(&at(name));
    }
    return lines;
  }

  /// A whole file of one ensemble has as many offsets as traces, or nearly.
  bool isOneGather() { return 2 * at("OFFSET").distinct > survey_.traces && at("OFFSET").varies(); }

  void judgeOffsetByEnsembles() {
    HeaderColumn& offset = at("OFFSET");
    if (!offset.varies()) {
      offset.say("empty", "the same on every trace");
      survey_.missing["OFFSET"] = "no place looks like one";
      return;
    }
    if (!offset.looks.empty()) return;
    const TraceGroups groups = groupsBy(at("CDP").values), all = oneGroup(offset.values.size());
    const bool spread = deviation(groups, offset.values) > 0.5 * deviation(all, offset.values);
    offset.say(spread ? "offset" : "offset?", spread ? "spread within the ensembles; no coordinates to compare with"
                                                     : "hardly varies within the ensembles");
  }

  // --- lines ---

  /// Most pairs of the two numbers occur.
  bool isGrid(const HeaderColumn& a, const HeaderColumn& b, TraceGroups& pairs) const {
    if (!a.whole || !b.whole || a.distinct < 2 || b.distinct < 2) return false;
    if (2.0 * std::max(a.distinct, b.distinct) > survey_.traces && survey_.traces > 8) return false;
    pairs = groupsByPair(a.values, b.values);
    const double possible = static_cast<double>(a.distinct) * b.distinct;
    // stretches of a large file may never come twice to one crossline
    const bool plane = pairs.count > std::max(a.distinct, b.distinct) ||
                       (stretches_ > 1 && std::abs(correlation(a.values, b.values)) < 0.9);
    return plane && pairs.count >= 0.5 * possible / stretches_;
  }

  void judgeGrid() {
    HeaderColumn &inlines = at("ILINE_NO"), &crosslines = at("XLINE_NO");
    TraceGroups pairs;
    if (inlines.varies() && crosslines.varies() && isGrid(inlines, crosslines, pairs)) {
      const std::string why = std::to_string(inlines.distinct) + " inlines and " + std::to_string(crosslines.distinct) +
                              " crosslines make " + std::to_string(pairs.count) + " pairs";
      inlines.say("inline", why);
      crosslines.say("crossline", why);
      survey_.grid = true;
      numberGrid(pairs);
      return;
    }
    if (inlines.varies() || crosslines.varies()) {
      for (auto& [line, name] :
           {std::pair<HeaderColumn*, const char*>{&inlines, "inline"}, {&crosslines, "crossline"}}) {
        if (line->values == at("CDP").values) line->say(name, "as the CDP: a 2D line");
      }
      return;
    }
    if (survey_.missing.contains("CDP")) return;
    const TraceGroups cdps = groupsBy(at("CDP").values);
    if (cdps.count == survey_.traces) return;
    std::vector<HeaderColumn*> lines;
    for (HeaderColumn& other : columns_) {
      if (!other.isTaken() && other.varies() && deviation(cdps, other.values) == 0.0) lines.push_back(&other);
    }
    for (std::size_t i = 0; i < lines.size(); ++i) {
      for (std::size_t j = i + 1; j < lines.size(); ++j) {
        HeaderColumn &first = *lines[i], &second = *lines[j];
        if (!isGrid(first, second, pairs) || !isOneToOne(pairs, cdps)) continue;
        const std::string why = "with byte ";
        move("ILINE_NO", first, why + std::to_string(second.field.byte) + " one pair of numbers for each CDP");
        move("XLINE_NO", second, why + std::to_string(first.field.byte) + " one pair of numbers for each CDP");
        survey_.remarks.push_back("Inlines and crosslines could be the other way round.");
        survey_.grid = true;
        return;
      }
    }
  }

  /// In a grid each pair of numbers needs a CDP of its own.
  void numberGrid(const TraceGroups& pairs) {
    HeaderColumn& mapped = at("CDP");
    if (isOneToOne(groupsBy(mapped.values), pairs)) return mapped.say("CDP", "one for each inline and crossline");
    for (HeaderColumn& other : columns_) {
      if (!other.whole || other.isTaken() || !isOneToOne(groupsBy(other.values), pairs)) continue;
      mapped.say("no CDP", "the same number at more than one inline and crossline");
      survey_.missing.erase("CDP");
      move("CDP", other, "one number for each inline and crossline");
      return;
    }
    survey_.missing["CDP"] = "a grid needs a CDP number of its own for each inline and crossline, and no place has one";
  }

  // --- positions ---

  void judgePositions() {
    judgePosition("CDP_X", geometry_.middle.x);
    judgePosition("CDP_Y", geometry_.middle.y);
  }

  void judgePosition(const std::string& name, const TraceValues& middle) {
    HeaderColumn& mapped = at(name);
    const auto isMiddle = [&](const HeaderColumn& c) {
      if (!surveyed_ || !c.varies()) return false;
      const auto [least, greatest] = std::minmax_element(middle.begin(), middle.end());
      if (*least == *greatest) return false;
      const double tolerance = std::max(2.0, 0.02 * (*greatest - *least));
      const TraceValues found = coordinates(c.values);
      int agreeing = 0;
      for (std::size_t i = 0; i < found.size(); ++i) agreeing += std::abs(found[i] - middle[i]) <= tolerance;
      return agreeing >= nearlyAll * survey_.traces;
    };
    if (isMiddle(mapped)) return mapped.say("midpoint", "half way from source to receiver");
    if (mapped.varies()) {
      const bool one = deviation(groupsBy(at("CDP").values), mapped.values) == 0.0;
      return mapped.say(one ? "CDP position" : "position?", one ? "one value for each CDP" : "varies within a CDP");
    }
    for (HeaderColumn& other : columns_) {
      if (!other.isTaken() && isMiddle(other)) return move(name, other, "half way from source to receiver");
    }
  }

  // --- all others ---

  void judgeOthers() {
    const TraceGroups sources = groupsAt(geometry_.source), receivers = groupsAt(geometry_.receiver);
    for (HeaderColumn& column : columns_) {
      if (!column.looks.empty()) continue;
      if (column.isZero()) {
        column.say("empty", "0 on every trace");
      } else if (!column.varies()) {
        column.say("constant", "the same on every trace");
      } else if (const HeaderColumn* twin = twinOf(column)) {
        column.say("copy", "as byte " + std::to_string(twin->field.byte) + ", trace by trace");
      } else if (column.step != 0.0 && column.isMost(column.steady)) {
        const char* way = column.step > 0.0 ? "goes up by " : "goes down by ";
        column.say("counter", way + figure(std::abs(column.step)) + " from trace to trace");
      } else if (isOneForEach(sources, column)) {
        column.say("of the source", "one value for each source");
      } else if (isOneForEach(receivers, column)) {
        column.say("of the receiver", "one value for each receiver");
      } else if (column.inRuns(stretches_)) {
        column.say("steps", "constant within neighbouring traces, " + std::to_string(column.distinct) + " values");
      } else if (column.isMost(column.rising) || column.isMost(column.falling)) {
        column.say("slope", column.isMost(column.rising) ? "rises from trace to trace" : "falls from trace to trace");
      } else if (column.up >= 0.5 * column.neighbours) {
        column.say("counter", "goes up by one, and begins anew");
      } else {
        column.say("?", "no pattern, " + std::to_string(column.distinct) + " values");
      }
    }
  }

  /// Groups of one trace say nothing.
  bool isOneForEach(const TraceGroups& groups, const HeaderColumn& column) const {
    return surveyed_ && 2 * groups.count <= survey_.traces && deviation(groups, column.values) == 0.0;
  }

  const HeaderColumn* twinOf(const HeaderColumn& column) const {
    const auto twin = std::find_if(columns_.begin(), columns_.end(), [&](const HeaderColumn& other) {
      return &other != &column && other.looks != "copy" && other.values == column.values &&
             (&other < &column || !other.looks.empty());
    });
    return twin != columns_.end() ? &*twin : nullptr;
  }

  HeaderSurvey take() {
    for (HeaderColumn& column : columns_) {
      const bool unnamed = column.mapped.empty() && !column.varies();
      (unnamed ? survey_.constants : survey_.findings)
          .push_back({column.field, column.mapped, column.looks, column.why, column.least, column.greatest});
    }
    return std::move(survey_);
  }

  const HeaderSample& sample_;
  HeaderSurvey survey_;
  const int stretches_;
  std::vector<HeaderColumn> columns_;  // by byte
  bool surveyed_ = false;              // sources and receivers are known
  TraceGeometry geometry_;
};

}  // namespace

HeaderSurvey surveyHeaders(const HeaderSample& sample, const HeaderLayout& layout) {
  return Judge(sample, layout).survey();
}

}  // namespace host::local
