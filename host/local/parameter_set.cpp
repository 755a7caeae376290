#include "host/local/parameter_set.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <sstream>
#include <tuple>
#include <utility>

#include "host/local/numeric.h"

namespace host::local {

namespace {

constexpr double lowest = std::numeric_limits<int>::min();
constexpr double highest = std::numeric_limits<int>::max();
constexpr double mostValues = 250e6;  // of an output function: single precision, in 10^9 bytes as a database has them

ParameterSet::Value parse(const ParameterKey& key, const std::string& text) {
  if (key.type == ParameterType::text) return text;
  float value = 0.0f;
  std::from_chars(text.data(), text.data() + text.size(), value);
  if (key.type == ParameterType::integer) return static_cast<int>(value);
  return value;
}

std::string shown(const ParameterSet::Value& value) {
  std::ostringstream out;
  if (const auto* text = std::get_if<std::string>(&value)) {
    out << '"' << *text << '"';
  } else {
    std::visit([&](const auto& number) { out << number; }, value);
  }
  return out.str();
}

std::string shown(double bound) {
  std::ostringstream out;
  out.precision(10);  // every int
  out << bound;
  return out.str();
}

}  // namespace

const std::vector<ParameterKey>& parameterKeys() {
  using enum ParameterType;
  using enum ReadWhen;
  static const std::vector<ParameterKey> keys{
      {"MINILINE", integer, "inline", "first inline of the grid", nullptr, survey3D, lowest, highest},
      {"MAXILINE", integer, "inline", "last inline of the grid", nullptr, survey3D, lowest, highest},
      {"MINXLINE", integer, "crossline", "first crossline of the grid", nullptr, survey3D, lowest, highest},
      {"MAXXLINE", integer, "crossline", "last crossline of the grid", nullptr, survey3D, lowest, highest},
      {"MINCDP", integer, "CDP", "first CDP of the line", nullptr, survey2D, lowest, highest},
      {"MAXCDP", integer, "CDP", "last CDP of the line", nullptr, survey2D, lowest, highest},
      {"NUMITER", integer, "", "analysis passes, each followed by a revision", "4", always, 0, 10000},
      {"NUMXSUM", integer, "CDPs", "inlines of the neighbourhood (made odd)", "5", always, lowest, highest},
      {"NUMYSUM", integer, "CDPs", "crosslines of the neighbourhood (made odd); along the line in 2D", "7", always,
       lowest, highest},
      {"METHOD", integer, "", "output window: 1 START to END, 2 between two horizons, other: whole trace", "1", always,
       lowest, highest},
      {"START", integer, "ms", "start of the output window", "0", fixedWindow, 0, highest},
      {"END", integer, "ms", "end of the window and of the analysis; 0: end of the trace", "0", fixedWindow, 0,
       highest},
      {"HORNAME", text, "", "autostatics horizon table (AHZ)", nullptr, otherWindow, 0, 0},
      {"VELNAME", text, "", "input velocity table (VEL)", nullptr, always, 0, 0},
      {"VELFILT", integer, "ms", "half-length of the velocity smoothing; 0: none", "100", always, lowest, highest},
      {"FOLD", integer, "traces", "least traces of an ensemble or sector, least stored neighbours of a revision", "4",
       always, 1, highest},
      {"CORRWIN", integer, "ms", "window of the A-B correlation", "200", always, lowest, highest},
      {"THMIN", real, "degrees", "least incidence angle", "0", always, 0, 90},
      {"THMAX", real, "degrees", "largest incidence angle", "40", always, 0, 90},
      {"STATIC", integer, "flag", "1: apply the NA_STAT statics after moveout", "0", always, lowest, highest},
      {"AZIMTH", integer, "flag", "1: one velocity per azimuth sector", "0", always, lowest, highest},
      {"NAZIM", integer, "sectors", "azimuth sectors over 180 degrees", "6", sectors, 1, 18000},
      {"PRESTACK", integer, "flag", "1: moved-out gathers with velocity, A and B of the last pass, no table", "0",
       always, lowest, highest},
      {"OUTPUT", text, "", "output traces: 1 velocity, 2 intercept, 3 gradient, 4 ratio, 5 velocity unrevised",
       "1,2,3,4", stackOutput, 0, 0},
      {"OUTVEL", integer, "flag", "1: write an output velocity table", "1", stackOutput, lowest, highest},
      {"VELMETH", integer, "", "output table: 1 new, other: add to the one that is there", "1", outputTable, lowest,
       highest},
      {"VELSAMP", real, "ms", "interval of the output functions", "20", outputTable, 1e-3, highest},
      {"VAZNAMO", text, "", "output azimuthal velocity table (VAZ)", nullptr, azimuthalTable, 0, 0},
      {"VELNAMO", text, "", "output velocity table (VEL)", nullptr, ordinaryTable, 0, 0},
  };
  return keys;
}

const char* describe(ParameterType type) {
  switch (type) {
    case ParameterType::integer:
      return "int";
    case ParameterType::real:
      return "float";
    case ParameterType::text:
      return "string";
  }
  __builtin_unreachable();
}

const char* describe(ReadWhen when) {
  switch (when) {
    case ReadWhen::always:
      return "always";
    case ReadWhen::survey3D:
      return "survey type 3D";
    case ReadWhen::survey2D:
      return "survey type 2D";
    case ReadWhen::fixedWindow:
      return "METHOD 1";
    case ReadWhen::otherWindow:
      return "METHOD not 1";
    case ReadWhen::sectors:
      return "AZIMTH not 0";
    case ReadWhen::stackOutput:
      return "PRESTACK 0";
    case ReadWhen::outputTable:
      return "PRESTACK 0, OUTVEL not 0";
    case ReadWhen::azimuthalTable:
      return "PRESTACK 0, OUTVEL not 0, AZIMTH not 0";
    case ReadWhen::ordinaryTable:
      return "PRESTACK 0, OUTVEL not 0, AZIMTH 0";
  }
  __builtin_unreachable();
}

ParameterSet::ParameterSet(std::string file, bool is3D, std::map<std::string, Given> given, MessageSink& messages,
                           Problems& problems)
    : file_(std::move(file)), is3D_(is3D), values_(std::move(given)) {
  // the keys that choose a mode come before those that depend on it, AZIMTH and PRESTACK before their dependants
  for (const ParameterKey& key : parameterKeys()) {
    const bool read = isRead(key.when);
    if (values_.contains(key.name)) {
      if (!read) messages.warn(where(key.name) + ": not read by this job (read when: " + describe(key.when) + ")");
    } else if (key.fallback != nullptr) {
      values_.emplace(key.name, Given{.value = parse(key, key.fallback), .place = file_});
    } else if (read) {
      problems.add(file_ + ": [parameters] " + key.name + " is missing: expected " + describe(key.type) + ", " +
                   key.about);
      continue;
    }
    if (read) problems.attempt([&] { checkRange(key); });
  }
  bool isGrid = true;
  for (const auto& [when, least, most] :
       {std::tuple{ReadWhen::survey3D, "MINILINE", "MAXILINE"}, std::tuple{ReadWhen::survey3D, "MINXLINE", "MAXXLINE"},
        std::tuple{ReadWhen::survey2D, "MINCDP", "MAXCDP"}}) {
    if (!isRead(when)) continue;
    const bool complete = values_.contains(least) && values_.contains(most);
    isGrid = complete && problems.attempt([&, low = least, high = most] { checkPair(low, high); }) && isGrid;
  }
  if (isGrid) problems.attempt([&] { checkGridSize(); });
  problems.attempt([&] { emitsTraces(); });  // the list of outputs is one
  if (isGrid) warnOfSmallNeighbourhood(messages);
}

int ParameterSet::integer(const std::string& key) const { return std::get<int>(values_.at(key).value); }
float ParameterSet::real(const std::string& key) const { return std::get<float>(values_.at(key).value); }
std::string ParameterSet::text(const std::string& key) const { return std::get<std::string>(values_.at(key).value); }

bool ParameterSet::isRead(ReadWhen when) const {
  switch (when) {
    case ReadWhen::always:
      return true;
    case ReadWhen::survey3D:
      return is3D_;
    case ReadWhen::survey2D:
      return !is3D_;
    case ReadWhen::fixedWindow:
      return integer("METHOD") == 1;
    case ReadWhen::otherWindow:
      return integer("METHOD") != 1;
    case ReadWhen::sectors:
      return integer("AZIMTH") != 0;
    case ReadWhen::stackOutput:
      return integer("PRESTACK") == 0;
    case ReadWhen::outputTable:
      return isRead(ReadWhen::stackOutput) && integer("OUTVEL") != 0;
    case ReadWhen::azimuthalTable:
      return isRead(ReadWhen::outputTable) && isRead(ReadWhen::sectors);
    case ReadWhen::ordinaryTable:
      return isRead(ReadWhen::outputTable) && !isRead(ReadWhen::sectors);
  }
  __builtin_unreachable();
}

bool ParameterSet::emitsTraces() const {
  if (!isRead(ReadWhen::stackOutput)) return true;
  std::string list = text("OUTPUT");
  if (list.empty()) return false;  // the tool has its own message for it
  const int length = static_cast<int>(list.size());
  list.resize(2 * list.size());
  try {
    std::vector<float> codes(static_cast<std::size_t>(decodePrep(list.data(), length)));
    const int stored = floatDecode(list.data(), static_cast<int>(codes.size()), codes.data(), 0);
    codes.resize(static_cast<std::size_t>(stored));
    for (const float code : codes) {
      if (code >= 1.0f && code < 6.0f) return true;
    }
    return false;
  } catch (const RunError&) {
    throw RunError(where("OUTPUT") + ": expected a list of output codes, such as \"1,2,3\" or \"1-4\"");
  }
}

void ParameterSet::checkAgainst(float traceLength) const {
  if (!isRead(ReadWhen::outputTable)) return;
  const double interval = static_cast<double>(real("VELSAMP")), length = static_cast<double>(traceLength);
  if (interval > length) {
    throw RunError(where("VELSAMP") + ": expected at most the length of a trace, " + shown(length) + " ms");
  }
  const double least = length * (isRead(ReadWhen::sectors) ? integer("NAZIM") : 1) / mostValues;
  if (interval < least) {
    throw RunError(where("VELSAMP") + ": expected at least " + shown(least) +
                   ", as an output function (samples times " + "sectors) has at most " + shown(mostValues) + " values");
  }
}

std::string ParameterSet::where(const std::string& key) const {
  const Given& given = values_.at(key);
  return given.place + ": [parameters] " + key + " = " + shown(given.value);
}

void ParameterSet::checkRange(const ParameterKey& key) const {
  if (key.type == ParameterType::text) return;
  const double value = key.type == ParameterType::integer ? integer(key.name) : static_cast<double>(real(key.name));
  if (value >= key.least && value <= key.most) return;
  const std::string bound = value < key.least ? " at least " + shown(key.least) : " at most " + shown(key.most);
  throw RunError(where(key.name) + ": expected" + bound + " (" + key.about + ")");
}

void ParameterSet::checkPair(const char* least, const char* most) const {
  if (integer(most) >= integer(least)) return;
  throw RunError(where(most) + ": expected at least " + least + ", which is " + std::to_string(integer(least)));
}

void ParameterSet::warnOfSmallNeighbourhood(MessageSink& messages) const {
  const auto width = [&](const char* key, double lines) {
    return std::min(lines, integer(key) < 1 ? 1.0 : integer(key) - (integer(key) % 2 == 0 ? 1.0 : 0.0));
  };
  const double cdps =
      is3D_ ? width("NUMXSUM", span("MINILINE", "MAXILINE")) * width("NUMYSUM", span("MINXLINE", "MAXXLINE"))
            : width("NUMYSUM", span("MINCDP", "MAXCDP"));
  if (integer("FOLD") <= cdps) return;
  messages.warn(where("FOLD") + ": more than the " + shown(cdps) + " CDPs that a neighbourhood (" +
                (is3D_ ? "NUMXSUM times NUMYSUM" : "NUMYSUM") + ") has in the grid, so no velocity will be revised");
}

double ParameterSet::span(const char* least, const char* most) const {
  return static_cast<double>(integer(most)) - integer(least) + 1.0;
}

void ParameterSet::checkGridSize() const {
  const double positions =
      is3D_ ? span("MINILINE", "MAXILINE") * span("MINXLINE", "MAXXLINE") : span("MINCDP", "MAXCDP");
  const double slots = positions * (isRead(ReadWhen::sectors) ? integer("NAZIM") : 1);
  if (slots <= highest) return;
  throw RunError(where(is3D_ ? "MAXXLINE" : "MAXCDP") + ": the grid has " + shown(slots) +
                 " slots (CDPs times sectors), expected at most " + shown(highest) + "; narrow its ranges");
}

}  // namespace host::local
