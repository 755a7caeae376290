#include "host/local/segy_scan.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <sstream>

#include "host/local/big_endian.h"
#include "host/local/parameter_set.h"
#include "host/local/trace_stream.h"

namespace host::local {

namespace {

constexpr int measurementByte = 3255;
constexpr int feet = 2;

void extend(HeaderRange& range, double value) {
  // std::fmin and std::fmax pass over values that are no number.
  range.least = std::fmin(range.least, value);
  range.greatest = std::fmax(range.greatest, value);
  range.zeros += value == 0.0;
}

std::vector<HeaderRange> emptyRanges(const HeaderLayout& layout) {
  std::vector<HeaderRange> ranges;
  for (const auto& [name, field] : layout.fields) {
    constexpr double nothing = std::numeric_limits<double>::quiet_NaN();
    ranges.push_back({name, field, nothing, nothing});
  }
  std::stable_sort(ranges.begin(), ranges.end(),
                   [](const HeaderRange& a, const HeaderRange& b) { return a.field.byte < b.field.byte; });
  return ranges;
}

void countEnsembles(const std::map<int, int>& tracesOfKey, SegyScan& scan) {
  scan.ensembles = static_cast<int>(tracesOfKey.size());
  scan.firstKey = tracesOfKey.begin()->first;
  scan.lastKey = tracesOfKey.rbegin()->first;
  int most = 0;
  for (const auto& [key, traces] : tracesOfKey) {
    ++scan.folds[traces];
    if (traces > most) {
      most = traces;
      scan.largestKey = key;
    }
  }
}

/// A basic TOML string.
std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    const unsigned char code = static_cast<unsigned char>(c);
    if (code < 0x20 || code == 0x7f) {
      constexpr char digits[] = "0123456789abcdef";
      result += "\\u00";
      result += digits[code >> 4];
      result += digits[code & 15];
    } else {
      if (c == '"' || c == '\\') result += '\\';
      result += c;
    }
  }
  return result + "\"";
}

bool isFeet(const SegyFacts& facts) {
  const unsigned char word[] = {static_cast<unsigned char>(facts.binary[measurementByte - 3201]),
                                static_cast<unsigned char>(facts.binary[measurementByte - 3200])};
  return loadBig16(word) == feet;
}

bool varies(const SegyScan& scan, const std::string& name) { return !scan.header(name).constant(); }

/// The fold that three quarters of the ensembles reach.
int usualFold(const SegyScan& scan) {
  int below = 0;
  for (const auto& [fold, ensembles] : scan.folds) {
    below += ensembles;
    if (4 * below > scan.ensembles) return fold;
  }
  return 1;
}

/// `KEY = value      # remark`
void line(std::ostream& out, const std::string& key, const std::string& value, const std::string& remark = {}) {
  std::string text = key + std::string(std::max<std::size_t>(key.size(), 11) - key.size(), ' ') + " = " + value;
  if (!remark.empty())
    text += std::string(std::max<std::size_t>(text.size() + 1, 34) - text.size(), ' ') + "# " + remark;
  out << text << '\n';
}

void headerLines(std::ostream& out, const SegyScan& scan) {
  out << "\n[headers]                         # bytes from 1; int32 unless a table says otherwise\n";
  const HeaderLayout usual;
  for (const HeaderRange& header : scan.headers) {
    const auto at = usual.fields.find(header.name);
    if (at != usual.fields.end() && at->second == header.field && header.name != "CDP") continue;
    line(out, header.name,
         "{ byte = " + std::to_string(header.field.byte) + ", format = \"" + nameOf(header.field.format) + "\" }");
  }
}

/// Values that the file asks for, as they stand in a job file.
std::map<std::string, std::string> fittingValues(const SegyScan& scan, bool threeD) {
  std::map<std::string, std::string> values{{"VELNAME", "\"initial\""}, {"VELNAMO", "\"refined\""}};
  const auto range = [&](const char* least, const char* greatest, const char* name) {
    values[least] = std::to_string(wholeNumber(scan.header(name).least));
    values[greatest] = std::to_string(wholeNumber(scan.header(name).greatest));
  };
  if (threeD) {
    range("MINILINE", "MAXILINE", "ILINE_NO");
    range("MINXLINE", "MAXXLINE", "XLINE_NO");
  } else {
    range("MINCDP", "MAXCDP", "CDP");
  }
  // a revision takes as many neighbours as a gather takes traces, and an end of a line has half a neighbourhood
  values["FOLD"] = std::to_string(std::clamp(usualFold(scan) / 2, 1, 4));
  if (scan.input.layout.fields.contains("NA_STAT")) values["STATIC"] = "1";
  return values;
}

/// Every parameter that a run with a fixed window, no sectors and an output table reads.
void parameterLines(std::ostream& out, const SegyScan& scan, bool threeD) {
  const std::set<ReadWhen> read{ReadWhen::always,      threeD ? ReadWhen::survey3D : ReadWhen::survey2D,
                                ReadWhen::fixedWindow, ReadWhen::stackOutput,
                                ReadWhen::outputTable, ReadWhen::ordinaryTable};
  const std::map<std::string, std::string> fitting = fittingValues(scan, threeD);
  for (const ParameterKey& key : parameterKeys()) {
    if (!read.contains(key.when)) continue;
    const auto at = fitting.find(key.name);
    const bool text = key.type == ParameterType::text;
    const std::string value = at != fitting.end() ? at->second : text ? quoted(key.fallback) : key.fallback;
    const std::string unit = *key.unit == '\0' ? "" : std::string(key.unit) + ": ";
    line(out, key.name, value, unit + key.about);
  }
}

}  // namespace

const HeaderRange& SegyScan::header(const std::string& name) const {
  const auto at = std::find_if(headers.begin(), headers.end(), [&](const HeaderRange& h) { return h.name == name; });
  if (at == headers.end()) throw RunError(input.file.string() + ": there is no trace header " + name + ".");
  return *at;
}

SegyScan scanSegy(const SegyInput& input, MessageSink& messages) {
  SegyScan scan;
  scan.input = input;
  scan.input.allowTruncated = true;
  scan.headers = emptyRanges(input.layout);
  const HeaderField key = scan.header(input.primaryKey).field;
  const HeaderField code = scan.header("TRC_TYPE").field;

  SegyFile file(scan.input, messages);
  scan.facts = file.facts();
  std::vector<float> samples(static_cast<std::size_t>(scan.facts.samples));
  std::map<int, int> tracesOfKey;
  const TraceRun whole{0, 1, file.traces()};
  TraceStream stream(file, {&whole, 1});
  int previousKey = std::numeric_limits<int>::min();
  for (int trace = 0; trace < file.traces(); ++trace) {
    const unsigned char* bytes = stream.next();
    const TraceHeader header = file.header(bytes);
    const bool finite = file.samples(bytes, samples.data());
    for (HeaderRange& range : scan.headers) extend(range, readField(header, range.field));

    const int keyValue = wholeNumber(readField(header, key));
    const int codeValue = wholeNumber(readField(header, code));
    ++tracesOfKey[keyValue];
    ++scan.traceCodes[codeValue];
    scan.inOrder = scan.inOrder && keyValue >= previousKey;
    previousKey = keyValue;
    scan.liveTraces += finite && isLive(codeValue);
    if (!finite && scan.notFiniteTraces++ == 0) scan.firstNotFinite = trace + 1;
  }
  countEnsembles(tracesOfKey, scan);
  return scan;
}

std::string suggestJob(const SegyScan& scan) {
  const bool threeD = varies(scan, "ILINE_NO") && varies(scan, "XLINE_NO");
  std::ostringstream out;
  out << "[survey]\n";
  line(out, "type", threeD ? "\"3D\"" : "\"2D\"");
  line(out, "units", isFeet(scan.facts) ? "\"feet\"" : "\"metres\"", "length unit of offsets and velocities");

  out << "\n[data]\n";
  line(out, "input", quoted(std::filesystem::absolute(scan.input.file).string()));
  line(out, "output", quoted(scan.input.file.stem().string() + "_velocities.sgy"));
  line(out, "primary_key", quoted(scan.input.primaryKey));
  if (scan.facts.strayBytes > 0) line(out, "allow_truncated", "true", "the file ends inside a trace");

  headerLines(out, scan);
  if (!threeD && !varies(scan, "CDP")) out << "# CDP is the same on every trace: give the byte where it stands\n";

  out << "\n[database]\n";
  line(out, "file", quoted(scan.input.file.stem().string() + ".db"));

  out << "\n[parameters]\n";
  parameterLines(out, scan, threeD);
  return out.str();
}

}  // namespace host::local
