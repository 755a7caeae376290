#include "host/local/suggested_job.h"

#include <algorithm>
#include <map>
#include <ostream>
#include <set>
#include <sstream>

#include "host/local/big_endian.h"
#include "host/local/parameter_set.h"
#include "host/local/sample_format.h"

namespace host::local {

namespace {

constexpr int measurementByte = 3255;
constexpr const char* unknown = "\"?\"";

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

/// `KEY = value      # remark`
void line(std::ostream& out, const std::string& key, const std::string& value, const std::string& remark = {}) {
  std::string text = key + std::string(std::max<std::size_t>(key.size(), 11) - key.size(), ' ') + " = " + value;
  if (!remark.empty())
    text += std::string(std::max<std::size_t>(text.size() + 1, 34) - text.size(), ' ') + "# " + remark;
  out << text << '\n';
}

/// Length unit as the binary header tells it, and a remark.
std::pair<std::string, std::string> unitOf(const SegyFacts& facts) {
  const unsigned char word[] = {static_cast<unsigned char>(facts.binary[measurementByte - 3201]),
                                static_cast<unsigned char>(facts.binary[measurementByte - 3200])};
  switch (loadBig16(word)) {
    case 1:
      return {"\"metres\"", "of offsets and velocities; from bytes 3255-3256 of the file"};
    case 2:
      return {"\"feet\"", "of offsets and velocities; from bytes 3255-3256 of the file"};
    default:
      return {unknown, "FILL IN \"metres\" or \"feet\": bytes 3255-3256 of the file do not tell"};
  }
}

void dataLines(std::ostream& out, const SegyScan& scan) {
  const std::string stem = scan.input.file.stem().string();
  out << "\n[data]\n";
  line(out, "input", quoted(std::filesystem::absolute(scan.input.file).string()));
  line(out, "output", quoted(stem + "_velocities.sgy"));
  line(out, "primary_key", quoted(scan.input.primaryKey));
  if (scan.facts.strayBytes > 0) line(out, "allow_truncated", "true", "the file ends inside a trace");
  if (const int format = scan.otherFormat(); format != 0) {
    line(out, "format", quoted(sampleFormatKey(format)),
         std::string("the samples look like it; the header says ") + sampleFormatName(scan.facts.statedFormat) +
             ": delete the line to go by the header");
  } else if (scan.input.format != 0) {
    line(out, "format", quoted(sampleFormatKey(scan.input.format)), "as the scan was told");
  }
}

std::string whyOf(const SegyScan& scan, HeaderField field) {
  const auto& findings = scan.survey.findings;
  const auto at = std::find_if(findings.begin(), findings.end(), [&](const auto& f) { return f.field == field; });
  return at != findings.end() ? at->why : "";
}

void headerLines(std::ostream& out, const SegyScan& scan) {
  out << "\n[headers]                         # bytes from 1; the format is the usual one of each header\n";
  const HeaderLayout usual;
  for (const HeaderRange& header : scan.headers) {
    const auto at = usual.fields.find(header.name);
    const auto place = [&](HeaderField field) {
      if (at != usual.fields.end() && at->second.format == field.format) return std::to_string(field.byte);
      return "{ byte = " + std::to_string(field.byte) + ", format = \"" + nameOf(field.format) + "\" }";
    };
    const auto missing = scan.survey.missing.find(header.name), moved = scan.survey.moved.find(header.name);
    if (missing != scan.survey.missing.end()) {
      line(out, header.name, unknown, "FILL IN its byte: " + missing->second);
    } else if (moved != scan.survey.moved.end()) {
      line(out, header.name, place(header.field), "a guess: " + moved->second);
    } else if (header.name == "TRC_TYPE" && scan.isSilenced() && scan.survey.zeroWord != 0) {
      line(out, header.name, place({scan.survey.zeroWord, HeaderFormat::int16}),
           "the trace codes at byte " + std::to_string(header.field.byte) +
               " would make every trace dead; this word is 0, which is live");
    } else if (header.name == "CDP" || at == usual.fields.end() || at->second != header.field) {
      line(out, header.name, place(header.field), whyOf(scan, header.field));
    }
  }
}

struct Suggestion {
  std::string value, remark;
};

/// Values that the file asks for, as they stand in a job file.
std::map<std::string, Suggestion> fittingValues(const SegyScan& scan) {
  std::map<std::string, Suggestion> values{
      {"VELNAME", {"\"initial\"", "to be imported: korvane table import DATABASE VEL initial FILE"}},
      {"VELNAMO", {"\"refined\"", ""}}};
  const auto range = [&](const char* least, const char* greatest, const std::string& name) {
    const HeaderRange& header = scan.header(name);
    const bool missing = scan.survey.missing.contains(name);
    const auto end = [&](double value, const std::string& which) -> Suggestion {
      if (missing) return {unknown, "FILL IN"};
      return {std::to_string(wholeNumber(value)), which + " " + name + " of the file"};
    };
    values[least] = end(header.least, "least");
    values[greatest] = end(header.greatest, "greatest");
  };
  if (scan.survey.grid) {
    range("MINILINE", "MAXILINE", "ILINE_NO");
    range("MINXLINE", "MAXXLINE", "XLINE_NO");
  } else {
    range("MINCDP", "MAXCDP", "CDP");
  }
  // a revision takes as many neighbours as a gather takes traces, and an end of a line has half a neighbourhood
  const int fold = scan.ensembles.usual();
  values["FOLD"] = {std::to_string(std::clamp(fold / 2, 1, 4)),
                    "three quarters of the ensembles have " + std::to_string(fold) + " or more"};
  if (scan.input.layout.fields.contains("NA_STAT")) values["STATIC"] = {"1", "NA_STAT is mapped"};
  return values;
}

/// Every parameter that a run with a fixed window, no sectors and an output table reads.
void parameterLines(std::ostream& out, const SegyScan& scan) {
  const std::set<ReadWhen> read{ReadWhen::always,      scan.survey.grid ? ReadWhen::survey3D : ReadWhen::survey2D,
                                ReadWhen::fixedWindow, ReadWhen::stackOutput,
                                ReadWhen::outputTable, ReadWhen::ordinaryTable};
  const std::map<std::string, Suggestion> fitting = fittingValues(scan);
  out << "\n[parameters]                      # without a remark in brackets: the usual value\n";
  for (const ParameterKey& key : parameterKeys()) {
    if (!read.contains(key.when)) continue;
    const auto at = fitting.find(key.name);
    const bool text = key.type == ParameterType::text;
    const std::string value = at != fitting.end() ? at->second.value : text ? quoted(key.fallback) : key.fallback;
    const std::string unit = *key.unit == '\0' ? "" : std::string(key.unit) + ": ";
    const std::string why = at == fitting.end() || at->second.remark.empty() ? "" : " (" + at->second.remark + ")";
    line(out, key.name, value, unit + key.about + why);
  }
}

}  // namespace

std::string suggestJob(const SegyScan& scan) {
  std::ostringstream out;
  out << "[survey]\n";
  line(out, "type", scan.survey.grid ? "\"3D\"" : "\"2D\"",
       scan.survey.grid ? "inlines and crosslines make a grid" : "inlines and crosslines make no grid");
  const auto [unit, remark] = unitOf(scan.facts);
  line(out, "units", unit, remark);
  dataLines(out, scan);
  headerLines(out, scan);
  out << "\n[database]\n";
  line(out, "file", quoted(scan.input.file.stem().string() + ".db"));
  parameterLines(out, scan);
  return out.str();
}

}  // namespace host::local
