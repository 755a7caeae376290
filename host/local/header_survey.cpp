#include "host/local/header_survey.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>
#include <optional>
#include <sstream>

namespace host::local {

namespace {

constexpr int headerBytes = 240;
constexpr double nearlyAll = 0.95;  // share of traces that makes a rule

using Values = std::vector<double>;

std::size_t index(int i) { return static_cast<std::size_t>(i); }

std::string figure(double value) {
  std::ostringstream out;
  out.precision(10);
  out << value;
  return out.str();
}

std::string percent(double share) { return figure(std::floor(100.0 * share)) + " %"; }

std::string atByte(HeaderField field) { return "byte " + std::to_string(field.byte); }

/// Traces with one value, or one pair of values, form a group.
struct Groups {
  std::vector<int> of;  // by trace
  int count = 0;
};

template <class Key>
Groups groupsBy(const std::vector<Key>& keys) {
  std::map<Key, int> numbers;
  Groups groups;
  for (const Key& key : keys) {
    groups.of.push_back(numbers.try_emplace(key, static_cast<int>(numbers.size())).first->second);
  }
  groups.count = static_cast<int>(numbers.size());
  return groups;
}

/// RMS deviation of values from the mean of their group.
double deviation(const Groups& groups, const Values& values) {
  Values sums(index(groups.count)), counts(index(groups.count));
  for (std::size_t i = 0; i < values.size(); ++i) {
    sums[index(groups.of[i])] += values[i];
    counts[index(groups.of[i])] += 1.0;
  }
  double squares = 0.0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const std::size_t group = index(groups.of[i]);
    squares += std::pow(values[i] - sums[group] / counts[group], 2);
  }
  return std::sqrt(squares / static_cast<double>(values.size()));
}

double correlation(const Values& a, const Values& b) {
  const Groups all{std::vector<int>(a.size()), 1};
  const double n = static_cast<double>(a.size());
  const double products = std::inner_product(a.begin(), a.end(), b.begin(), 0.0) / n;
  const double means = std::accumulate(a.begin(), a.end(), 0.0) / n * (std::accumulate(b.begin(), b.end(), 0.0) / n);
  return (products - means) / (deviation(all, a) * deviation(all, b));
}

struct Point {
  Values x, y;
};

double deviation(const Groups& groups, const Point& points) {
  return std::hypot(deviation(groups, points.x), deviation(groups, points.y));
}

/// The values of a field over the sample.
struct Column {
  HeaderField field;
  Values values;
  double least = 0.0, greatest = 0.0;
  int distinct = 0;
  int neighbours = 0, same = 0, up = 0;     // pairs of neighbours; of equal values; of values that go up by one
  int rising = 0, falling = 0, steady = 0;  // pairs with a greater, a lesser value; with the difference of the first
  double step = 0.0;                        // that difference
  bool whole = true;                        // numbers without a fraction
  std::string mapped, looks, why;

  bool varies() const { return distinct > 1; }
  bool isZero() const { return distinct == 1 && least == 0.0; }
  bool isMost(int pairs) const { return neighbours > 0 && pairs >= 0.98 * neighbours; }
  bool counts() const { return isMost(up); }
  /// Neighbouring traces share a value, which does not come back once it is over.
  bool inRuns(int stretches) const {
    const int runs = neighbours - same + stretches;
    return distinct > 1 && same > 0 && runs <= 1.02 * distinct + stretches - 1;
  }
};

/// Standard headers have 32 bits at these places, and 16 elsewhere up to byte 180.
bool isWide(int byte) { return byte < 29 || (byte >= 37 && byte < 69) || (byte >= 73 && byte < 89) || byte >= 181; }

class Judge {
 public:
  Judge(const HeaderSample& sample, const HeaderLayout& layout) : sample_(sample) {
    survey_.traces = sample.traces();
    survey_.layout = layout;
    for (int i = 0; i < sample.traces(); ++i) stretches_ += sample.follows(i) ? 0 : 1;
    for (const auto& [name, field] : layout.fields) {
      columns_.push_back(column(field, name));
      if (name == "OFFSET") readOffsetAsReal();
    }
    for (int byte = 1; byte <= headerBytes; byte += 4) readPlace(byte);
    std::stable_sort(columns_.begin(), columns_.end(),
                     [](const Column& a, const Column& b) { return a.field.byte < b.field.byte; });
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
  // --- the places ---

  Column column(HeaderField field, const std::string& mapped = {}) const {
    Column result{.field = field, .values = sample_.values(field), .mapped = mapped, .looks = {}, .why = {}};
    for (double& value : result.values) {
      if (!std::isfinite(value)) value = 0.0;  // as the headers of a run
    }
    const Values& v = result.values;
    const auto [least, greatest] = std::minmax_element(v.begin(), v.end());
    result.least = *least;
    result.greatest = *greatest;
    for (int i = 0; i < sample_.traces(); ++i) {
      result.whole = result.whole && v[index(i)] == std::round(v[index(i)]);
      if (!sample_.follows(i)) continue;
      const double step = v[index(i)] - v[index(i - 1)];
      if (result.neighbours++ == 0) result.step = step;
      result.same += step == 0.0;
      result.up += step == 1.0;
      result.rising += step > 0.0;
      result.falling += step < 0.0;
      result.steady += step == result.step;
    }
    Values sorted = v;
    std::sort(sorted.begin(), sorted.end());
    result.distinct = static_cast<int>(std::unique(sorted.begin(), sorted.end()) - sorted.begin());
    return result;
  }

  bool isMapped(HeaderField field) const {
    return std::any_of(survey_.layout.fields.begin(), survey_.layout.fields.end(), [&](const auto& named) {
      const HeaderField& other = named.second;
      return field.byte < other.byte + bytesOf(other.format) && other.byte < field.byte + bytesOf(field.format);
    });
  }

  void add(const Column& column) {
    if (!column.isZero() && !isMapped(column.field)) columns_.push_back(column);
  }

  /// Four bytes that nothing maps are one number or two, whichever makes sense of them.
  void readPlace(int byte) {
    const Column both = column({byte, HeaderFormat::int32});
    const Column real = column({byte, HeaderFormat::float32});
    const Column high = column({byte, HeaderFormat::int16}), low = column({byte + 2, HeaderFormat::int16});
    const double size = std::max(std::abs(both.least), std::abs(both.greatest));
    const bool large = size > 32768.0;
    const bool filled = low.greatest - low.least > 16384.0 && low.distinct >= high.distinct;
    if (!isWide(byte)) {
      const bool one = large && filled && high.varies();
      add(one ? both : high);
      if (!one) add(low);
      for (const Column* half : {&high, &low}) {
        if (survey_.zeroWord == 0 && half->isZero() && byte >= 121 && !isMapped(half->field)) {
          survey_.zeroWord = half->field.byte;
        }
      }
    } else if (byte >= 181 && isReal(real)) {
      add(real);
    } else if (byte >= 201 && large && !filled) {
      add(high);
      add(low);
    } else {
      add(both);
    }
  }

  /// The usual bytes may hold a float.
  void readOffsetAsReal() {
    Column& whole = columns_.back();
    const Column real = column({whole.field.byte, HeaderFormat::float32}, "OFFSET");
    if (whole.field.format != HeaderFormat::int32 || !isReal(real)) return;
    survey_.layout.fields["OFFSET"] = real.field;
    survey_.moved["OFFSET"] = "beyond reason as whole numbers, of a usual size as floats";
    whole = real;
  }

  /// Numbers of a usual size; whole numbers read as floats are next to nothing.
  static bool isReal(const Column& column) {
    constexpr double least = 1e-3, most = 1e8;
    return column.varies() && std::all_of(column.values.begin(), column.values.end(), [](double value) {
             return value == 0.0 || (std::abs(value) >= least && std::abs(value) <= most);
           });
  }

  // --- the layout ---

  Column& at(const std::string& name) {
    const HeaderField field = survey_.layout.fields.at(name);
    return *std::find_if(columns_.begin(), columns_.end(), [&](const Column& c) { return c.field == field; });
  }

  static void say(Column& column, const std::string& looks, const std::string& why) {
    if (!column.looks.empty()) return;
    column.looks = looks;
    column.why = why;
  }

  void move(const std::string& name, Column& to, const std::string& why) {
    survey_.layout.fields[name] = to.field;
    survey_.moved[name] = why;
    say(to, name, why);
  }

  bool isTaken(const Column& column) const { return !column.mapped.empty() || !column.looks.empty(); }

  // --- source, receiver, offset ---

  Values coordinates(Values result) {
    const Column& scalar = at("COORD_SCALAR");
    for (std::size_t i = 0; i < result.size(); ++i) result[i] = scaled(result[i], wholeNumber(scalar.values[i]));
    return result;
  }

  Point points(const std::string& x, const std::string& y) {
    return {coordinates(at(x).values), coordinates(at(y).values)};
  }

  void readCoordinates() {
    source_ = points("SOU_X", "SOU_Y");
    receiver_ = points("REC_X", "REC_Y");
    const bool sources = at("SOU_X").varies() || at("SOU_Y").varies();
    const bool receivers = at("REC_X").varies() || at("REC_Y").varies();
    const auto filled = [&](const char* x, const char* y) { return !at(x).isZero() || !at(y).isZero(); };
    measureDistances();
    const bool related = agreement(at("OFFSET").values) >= nearlyAll && at("OFFSET").varies();
    surveyed_ = related || (sources && receivers) ||
                (sources != receivers && filled("SOU_X", "SOU_Y") && filled("REC_X", "REC_Y"));
    if (sources != receivers && !surveyed_) {
      survey_.remarks.push_back(std::string("Only the ") + (sources ? "source" : "receiver") +
                                " has coordinates: nothing can be held against the distance to the other end.");
    }
  }

  void measureDistances() {
    distances_.clear();
    middle_ = source_;
    for (std::size_t i = 0; i < source_.x.size(); ++i) {
      distances_.push_back(std::hypot(source_.x[i] - receiver_.x[i], source_.y[i] - receiver_.y[i]));
      middle_.x[i] = 0.5 * (source_.x[i] + receiver_.x[i]);
      middle_.y[i] = 0.5 * (source_.y[i] + receiver_.y[i]);
    }
  }

  /// Share of the traces whose distance of source and receiver is the offset, as near as rounded numbers can say.
  double agreement(const Values& offsets, double factor = 1.0) const {
    const double largest = *std::max_element(distances_.begin(), distances_.end());
    const double rounding = std::min(2.0, 0.02 * largest);
    int agreeing = 0;
    for (std::size_t i = 0; i < offsets.size(); ++i) {
      agreeing += std::abs(factor * std::abs(offsets[i]) - distances_[i]) <= rounding + 0.01 * distances_[i];
    }
    return agreeing / static_cast<double>(offsets.size());
  }

  /// Median of the distance over the offset.
  double unitOf(const Values& offsets) const {
    Values ratios;
    for (std::size_t i = 0; i < offsets.size(); ++i) {
      if (offsets[i] != 0.0) ratios.push_back(distances_[i] / std::abs(offsets[i]));
    }
    if (ratios.empty()) return 1.0;
    std::nth_element(ratios.begin(), ratios.begin() + std::ssize(ratios) / 2, ratios.end());
    return ratios[ratios.size() / 2];
  }

  void judgeOffset() {
    Column& mapped = at("OFFSET");
    const std::string rule = "the distance of source and receiver";
    if (!surveyed_) {
      if (mapped.varies()) findCoordinates();
      return;
    }
    const double share = agreement(mapped.values);
    if (mapped.varies() && share >= nearlyAll) {
      say(mapped, "offset", "its size is " + rule + " on " + percent(share) + " of the traces");
      sayCoordinates("with the other end at the distance of the offset");
      return;
    }
    sayCoordinates("varies; not confirmed by offsets");
    for (Column& other : columns_) {
      if (isTaken(other) || !other.varies() || agreement(other.values) < nearlyAll) continue;
      move("OFFSET", other, "its size is " + rule + " on " + percent(agreement(other.values)) + " of the traces");
      say(mapped, mapped.varies() ? "no offset" : "empty", atByte(other.field) + " has the offsets");
      return;
    }
    if (!mapped.varies()) return;
    const double unit = unitOf(mapped.values);
    if (agreement(mapped.values, unit) >= nearlyAll && unit > 0.0) {
      say(mapped, "offset in another unit", rule + " is " + figure(std::round(unit * 1e4) / 1e4) + " times as large");
      survey_.remarks.push_back("OFFSET and the coordinates differ in their unit: " + rule + " is " +
                                figure(std::round(unit * 1e4) / 1e4) +
                                " times the offset. Check the coordinate scalar and the units of both.");
    } else {
      say(mapped, "offset?", rule + " on " + percent(share) + " of the traces only");
      survey_.remarks.push_back("OFFSET is " + rule + " on " + percent(share) +
                                " of the traces only: one of the two is wrong. A run without azimuth sectors uses " +
                                "the offset alone.");
    }
  }

  void sayCoordinates(const std::string& why) {
    for (const auto& [name, looks] :
         {std::pair{"SOU_X", "source"}, {"SOU_Y", "source"}, {"REC_X", "receiver"}, {"REC_Y", "receiver"}}) {
      if (at(name).varies()) say(at(name), looks, why);
    }
  }

  /// Two places whose difference is the offset, along x alone or with y behind x.
  void findCoordinates() {
    for (const bool plane : {true, false}) {
      for (Column& source : columns_) {
        for (Column& receiver : columns_) {
          if (&source >= &receiver || !canHold(source, plane) || !canHold(receiver, plane)) continue;
          const HeaderField sourceY{source.field.byte + 4}, receiverY{receiver.field.byte + 4};
          const Values line(source.values.size());
          source_ = {coordinates(source.values), plane ? coordinates(sample_.values(sourceY)) : line};
          receiver_ = {coordinates(receiver.values), plane ? coordinates(sample_.values(receiverY)) : line};
          measureDistances();
          if (agreement(at("OFFSET").values) < nearlyAll) continue;
          surveyed_ = true;
          const std::string why = "lies at the distance of the offset from ";
          say(at("OFFSET"), "offset",
              "the distance of bytes " + std::to_string(source.field.byte) + " and " +
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
  bool canHold(const Column& x, bool plane) const {
    const HeaderField y{x.field.byte + 4};
    if (isTaken(x) || !x.varies() || x.counts() || x.field.format != HeaderFormat::int32) return false;
    return !plane || std::any_of(columns_.begin(), columns_.end(),
                                 [&](const Column& c) { return c.field == y && c.varies() && !isTaken(c); });
  }

  void moveTo(const std::string& name, HeaderField field, const std::string& why) {
    const auto found =
        std::find_if(columns_.begin(), columns_.end(), [&](const Column& c) { return c.field == field; });
    if (found != columns_.end()) move(name, *found, why);
  }

  // --- ensembles ---

  /// Midpoints lie close together, sources and receivers do not.
  bool gathersMidpoints(const Column& column) const {
    const Groups groups = groupsBy(column.values);
    if (!column.whole || column.distinct < 2 || groups.count > 0.8 * survey_.traces) return false;
    return deviation(groups, middle_) < 0.25 * std::min(deviation(groups, source_), deviation(groups, receiver_));
  }

  bool gathers(const Column& column) const {
    if (surveyed_) return gathersMidpoints(column);
    return column.whole && column.inRuns(stretches_) && column.distinct <= 0.8 * survey_.traces;
  }

  std::string gathersWhy() const {
    return surveyed_ ? "traces of one value share their midpoint, not their source or receiver"
                     : "constant within neighbouring traces, then another value that does not come back";
  }

  void judgeCdp() {
    Column& mapped = at("CDP");
    if (gathers(mapped)) {
      say(mapped, "CDP", gathersWhy());
      return;
    }
    std::vector<Column*> others;
    for (Column& other : columns_) {
      if (!isTaken(other) && gathers(other)) others.push_back(&other);
    }
    const std::vector<Column*> lines = linesThatGather();
    others.insert(others.end(), lines.begin(), lines.end());
    // numbers in steps of one rather than positions
    const auto dense = [](const Column* c) { return (c->greatest - c->least + 1.0) / c->distinct; };
    const auto best = std::min_element(others.begin(), others.end(),
                                       [&](const Column* a, const Column* b) { return dense(a) < dense(b); });
    // without coordinates a shot behaves like a CDP
    const bool certain = surveyed_ || !mapped.varies();
    if (best != others.end() && certain) {
      say(mapped, mapped.varies() ? "no CDP" : "empty", atByte((*best)->field) + " gathers the traces");
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
      say(mapped, "counter", "goes up by one from trace to trace: ensembles of one trace");
    } else if (mapped.distinct > 0.8 * survey_.traces) {
      say(mapped, "CDP?", "nearly every trace has one of its own");
    } else if (surveyed_) {
      say(mapped, "no CDP?", "the traces of one value do not share a midpoint");
      survey_.remarks.push_back(
          "The traces of one CDP do not share a midpoint of source and receiver. Check CDP and "
          "the coordinates.");
    }
  }

  /// The standard line numbers may stand in for an empty CDP, unless they number a grid.
  std::vector<Column*> linesThatGather() {
    std::vector<Column*> lines;
    if (at("ILINE_NO").varies() && at("XLINE_NO").varies()) return lines;
    for (const char* name : {"XLINE_NO", "ILINE_NO"}) {
      if (gathers(at(name))) lines.push_back(&at(name));
    }
    return lines;
  }

  /// A whole file of one ensemble has as many offsets as traces, or nearly.
  bool isOneGather() { return 2 * at("OFFSET").distinct > survey_.traces && at("OFFSET").varies(); }

  void judgeOffsetByEnsembles() {
    Column& offset = at("OFFSET");
    if (!offset.varies()) {
      say(offset, "empty", "the same on every trace");
      survey_.missing["OFFSET"] = "no place looks like one";
      return;
    }
    if (!offset.looks.empty()) return;
    const Groups groups = groupsBy(at("CDP").values), all{std::vector<int>(index(survey_.traces)), 1};
    const bool spread = deviation(groups, offset.values) > 0.5 * deviation(all, offset.values);
    say(offset, spread ? "offset" : "offset?",
        spread ? "spread within the ensembles; no coordinates to compare with" : "hardly varies within the ensembles");
  }

  // --- lines ---

  struct Pair {
    Column *inlines, *crosslines;
  };

  /// Most pairs of the two numbers occur.
  bool isGrid(const Column& a, const Column& b, Groups& pairs) const {
    if (!a.whole || !b.whole || a.distinct < 2 || b.distinct < 2) return false;
    if (2.0 * std::max(a.distinct, b.distinct) > survey_.traces && survey_.traces > 8) return false;
    std::vector<std::pair<double, double>> keys;
    for (std::size_t i = 0; i < a.values.size(); ++i) keys.emplace_back(a.values[i], b.values[i]);
    pairs = groupsBy(keys);
    const double possible = static_cast<double>(a.distinct) * b.distinct;
    // stretches of a large file may never come twice to one crossline
    const bool plane = pairs.count > std::max(a.distinct, b.distinct) ||
                       (stretches_ > 1 && std::abs(correlation(a.values, b.values)) < 0.9);
    return plane && pairs.count >= 0.5 * possible / stretches_;
  }

  /// Every group of one kind is one of the other.
  static bool isOneToOne(const Groups& a, const Groups& b) {
    std::vector<std::pair<int, int>> both;
    for (std::size_t i = 0; i < a.of.size(); ++i) both.emplace_back(a.of[i], b.of[i]);
    const int count = groupsBy(both).count;
    return count == a.count && count == b.count;
  }

  void judgeGrid() {
    Column &inlines = at("ILINE_NO"), &crosslines = at("XLINE_NO");
    Groups pairs;
    if (inlines.varies() && crosslines.varies() && isGrid(inlines, crosslines, pairs)) {
      const std::string why = std::to_string(inlines.distinct) + " inlines and " + std::to_string(crosslines.distinct) +
                              " crosslines make " + std::to_string(pairs.count) + " pairs";
      say(inlines, "inline", why);
      say(crosslines, "crossline", why);
      survey_.grid = true;
      numberGrid(pairs);
      return;
    }
    if (inlines.varies() || crosslines.varies()) {
      for (auto& [line, name] : {std::pair<Column*, const char*>{&inlines, "inline"}, {&crosslines, "crossline"}}) {
        if (line->values == at("CDP").values) say(*line, name, "as the CDP: a 2D line");
      }
      return;
    }
    if (survey_.missing.contains("CDP")) return;
    const Groups cdps = groupsBy(at("CDP").values);
    if (cdps.count == survey_.traces) return;
    std::vector<Column*> lines;
    for (Column& other : columns_) {
      if (!isTaken(other) && other.varies() && deviation(cdps, other.values) == 0.0) lines.push_back(&other);
    }
    for (std::size_t i = 0; i < lines.size(); ++i) {
      for (std::size_t j = i + 1; j < lines.size(); ++j) {
        Column &first = *lines[i], &second = *lines[j];
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
  void numberGrid(const Groups& pairs) {
    Column& mapped = at("CDP");
    if (isOneToOne(groupsBy(mapped.values), pairs)) return say(mapped, "CDP", "one for each inline and crossline");
    for (Column& other : columns_) {
      if (!other.whole || isTaken(other) || !isOneToOne(groupsBy(other.values), pairs)) continue;
      say(mapped, "no CDP", "the same number at more than one inline and crossline");
      survey_.missing.erase("CDP");
      move("CDP", other, "one number for each inline and crossline");
      return;
    }
    survey_.missing["CDP"] = "a grid needs a CDP number of its own for each inline and crossline, and no place has one";
  }

  // --- positions ---

  void judgePositions() {
    judgePosition("CDP_X", middle_.x);
    judgePosition("CDP_Y", middle_.y);
  }

  void judgePosition(const std::string& name, const Values& middle) {
    Column& mapped = at(name);
    const auto isMiddle = [&](const Column& c) {
      if (!surveyed_ || !c.varies()) return false;
      const auto [least, greatest] = std::minmax_element(middle.begin(), middle.end());
      if (*least == *greatest) return false;
      const double tolerance = std::max(2.0, 0.02 * (*greatest - *least));
      const Values found = coordinates(c.values);
      int agreeing = 0;
      for (std::size_t i = 0; i < found.size(); ++i) agreeing += std::abs(found[i] - middle[i]) <= tolerance;
      return agreeing >= nearlyAll * survey_.traces;
    };
    if (isMiddle(mapped)) return say(mapped, "midpoint", "half way from source to receiver");
    if (mapped.varies()) {
      const bool one = deviation(groupsBy(at("CDP").values), mapped.values) == 0.0;
      return say(mapped, one ? "CDP position" : "position?", one ? "one value for each CDP" : "varies within a CDP");
    }
    for (Column& other : columns_) {
      if (!isTaken(other) && isMiddle(other)) return move(name, other, "half way from source to receiver");
    }
  }

  // --- all others ---

  void judgeOthers() {
    const Groups sources = groupsAt(source_), receivers = groupsAt(receiver_);
    for (Column& column : columns_) {
      if (!column.looks.empty()) continue;
      if (column.isZero()) {
        say(column, "empty", "0 on every trace");
      } else if (!column.varies()) {
        say(column, "constant", "the same on every trace");
      } else if (const Column* twin = twinOf(column)) {
        say(column, "copy", "as byte " + std::to_string(twin->field.byte) + ", trace by trace");
      } else if (column.isMost(column.steady)) {
        const char* way = column.step > 0.0 ? "goes up by " : "goes down by ";
        say(column, "counter", way + figure(std::abs(column.step)) + " from trace to trace");
      } else if (isOneForEach(sources, column)) {
        say(column, "of the source", "one value for each source");
      } else if (isOneForEach(receivers, column)) {
        say(column, "of the receiver", "one value for each receiver");
      } else if (column.inRuns(stretches_)) {
        say(column, "steps", "constant within neighbouring traces, " + std::to_string(column.distinct) + " values");
      } else if (column.isMost(column.rising) || column.isMost(column.falling)) {
        say(column, "slope", column.rising > 0 ? "rises from trace to trace" : "falls from trace to trace");
      } else if (column.up >= 0.5 * column.neighbours) {
        say(column, "counter", "goes up by one, and begins anew");
      } else {
        say(column, "?", "no pattern, " + std::to_string(column.distinct) + " values");
      }
    }
  }

  /// Groups of one trace say nothing.
  bool isOneForEach(const Groups& groups, const Column& column) const {
    return surveyed_ && 2 * groups.count <= survey_.traces && deviation(groups, column.values) == 0.0;
  }

  static Groups groupsAt(const Point& points) {
    std::vector<std::pair<double, double>> keys;
    for (std::size_t i = 0; i < points.x.size(); ++i) keys.emplace_back(points.x[i], points.y[i]);
    return groupsBy(keys);
  }

  const Column* twinOf(const Column& column) const {
    const auto twin = std::find_if(columns_.begin(), columns_.end(), [&](const Column& other) {
      return &other != &column && other.looks != "copy" && other.values == column.values &&
             (&other < &column || !other.looks.empty());
    });
    return twin != columns_.end() ? &*twin : nullptr;
  }

  HeaderSurvey take() {
    for (Column& column : columns_) {
      const bool unnamed = column.mapped.empty() && !column.varies();
      (unnamed ? survey_.constants : survey_.findings)
          .push_back({column.field, column.mapped, column.looks, column.why, column.least, column.greatest});
    }
    return std::move(survey_);
  }

  const HeaderSample& sample_;
  HeaderSurvey survey_;
  int stretches_ = 0;
  std::vector<Column> columns_;  // by byte
  bool surveyed_ = false;        // sources and receivers are known
  Point source_, receiver_, middle_;
  Values distances_;
};

}  // namespace

HeaderSample::HeaderSample(const SegyFile& file, int most) : file_(file) {
  constexpr int stretch = 512;
  const int traces = file.traces();
  const int stretches = traces <= most ? 1 : std::max(1, most / stretch);
  const int length = traces <= most ? traces : std::min(stretch, most);
  std::vector<unsigned char> trace(file.traceBytes());
  for (int s = 0; s < stretches; ++s) {
    const std::int64_t first = stretches == 1 ? 0 : std::int64_t{traces - length} * s / (stretches - 1);
    for (int i = 0; i < length; ++i) {
      file.read(static_cast<int>(first) + i, 1, trace.data());
      headers_.insert(headers_.end(), trace.begin(), trace.begin() + headerBytes);
      follows_.push_back(i > 0);
    }
  }
}

std::vector<double> HeaderSample::values(HeaderField field) const {
  std::vector<double> result;
  result.reserve(follows_.size());
  for (std::size_t i = 0; i < follows_.size(); ++i) result.push_back(file_.value(&headers_[i * headerBytes], field));
  return result;
}

HeaderSurvey surveyHeaders(const HeaderSample& sample, const HeaderLayout& layout) {
  return Judge(sample, layout).survey();
}

}  // namespace host::local
