#include "host/local/job_file.h"

#include <toml++/toml.h>

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <numeric>
#include <sstream>
#include <system_error>
#include <utility>

#include "host/local/sample_format.h"
#include "host/local/text_lines.h"

namespace host::local {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t longestLine = 10'000;

/// As it would stand in a job file.
std::string shown(const toml::node& node) {
  if (const toml::table* table = node.as_table(); table != nullptr && !table->is_inline()) return "{ ... }";
  std::ostringstream out;
  node.visit([&](const auto& value) {
    out << toml::toml_formatter(value,
                                toml::toml_formatter::default_flags & ~toml::format_flags::allow_literal_strings);
  });
  return out.str();
}

int lineOf(const toml::node& node) { return static_cast<int>(node.source().begin.line); }

/// The tables of a job file and the keys that each may have.
const std::vector<std::pair<std::string, std::vector<std::string>>>& knownTables() {
  static const std::vector<std::pair<std::string, std::vector<std::string>>> tables = [] {
    std::vector<std::string> parameters;
    for (const ParameterKey& key : parameterKeys()) parameters.emplace_back(key.name);
    return std::vector<std::pair<std::string, std::vector<std::string>>>{
        {"survey", {"type", "units"}},
        {"data", {"input", "output", "primary_key", "allow_truncated", "format"}},
        {"headers", HeaderLayout::knownNames()},
        {"database", {"file"}},
        {"run", {"threads", "scratch", "checkpoint"}},
        {"parameters", parameters}};
  }();
  return tables;
}

const std::vector<std::string>& knownKeys(const std::string& table) {
  const auto& tables = knownTables();
  return std::find_if(tables.begin(), tables.end(), [&](const auto& known) { return known.first == table; })->second;
}

/// The settings of the command line: values as they were written, by "table.key"; the last one of a key counts.
using Settings = std::map<std::string, std::string>;

Settings readSettings(const JobSettings& settings, Problems& problems) {
  std::vector<std::string> known;
  for (const auto& [table, keys] : knownTables()) {
    for (const std::string& key : keys) known.push_back(table == "parameters" ? key : table + "." + key);
  }
  Settings read;
  for (const std::string& setting : settings) {
    const std::size_t equals = setting.find('=');
    std::string key = setting.substr(0, equals);
    if (key.starts_with("parameters.")) key.erase(0, std::string("parameters.").size());
    if (setting.size() > longestLine) {
      problems.add("--set " + key.substr(0, 40) + ": expected at most " + std::to_string(longestLine) + " characters");
    } else if (equals == std::string::npos) {
      problems.add("--set " + setting + ": expected KEY=VALUE, such as NUMITER=6 or data.output=other.sgy");
    } else if (std::find(known.begin(), known.end(), key) == known.end()) {
      const auto whole =
          std::find_if(known.begin(), known.end(), [&](const auto& k) { return k.ends_with("." + key); });
      problems.add("--set " + setting + ": unknown key; the nearest one known is " +
                   (whole != known.end() ? *whole : nearestName(key, known)));
    } else {
      read[key.find('.') == std::string::npos ? "parameters." + key : key] = setting.substr(equals + 1);
    }
  }
  return read;
}

/// Puts a value into a table: as TOML reads it or, when it is none, as text.
void put(toml::table& table, const std::string& key, const std::string& text) {
  try {
    toml::table read = toml::parse("value = " + text);
    if (read.size() == 1) {
      table.insert_or_assign(key, std::move(*read.get("value")));
      return;
    }
  } catch (const toml::parse_error&) {
  }
  table.insert_or_assign(key, text);
}

/// Puts the settings in place of what the job has.
void apply(const Settings& settings, toml::table& job) {
  for (const auto& [name, text] : settings) {
    const std::size_t dot = name.find('.');
    const std::string table = name.substr(0, dot);
    if (!job.contains(table)) job.insert(table, toml::table{});
    // what stands there in place of a table is refused with its line
    if (toml::table* entries = job.get(table)->as_table()) put(*entries, name.substr(dot + 1), text);
  }
}

/// One table of the job file: hands out its values and refuses what it does not know.
class Section {
 public:
  Section(const std::string& file, const toml::table& job, std::string name, const Settings& settings,
          Problems& problems)
      : file_(file), name_(std::move(name)), table_(job[name_].as_table()), settings_(settings) {
    if (const toml::node* node = job.get(name_); node != nullptr && table_ == nullptr) {
      problems.add(file_ + ":" + std::to_string(lineOf(*node)) + ": " + name_ + ": expected a table, [" + name_ + "]");
    }
    const std::vector<std::string>& keys = knownKeys(name_);
    for (const auto& [key, value] : entries()) {
      const std::string found(key.str());
      if (std::find(keys.begin(), keys.end(), found) != keys.end()) continue;
      problems.add(where(found, value) + ": unknown key; the nearest one known is " + nearestName(found, keys));
    }
  }

  const toml::table& entries() const {
    static const toml::table none;
    return table_ != nullptr ? *table_ : none;
  }

  bool has(const std::string& key) const { return entries().contains(key); }

  fs::path path(const std::string& key) const {
    constexpr const char* expected = "a file or folder name in quotes";
    const toml::node& node = required(key, expected);
    const std::string found = text(key, node, expected);
    if (found.empty()) fail(key, node, expected);
    return found;
  }

  /// Text; a setting may stand without quotes even where it reads as a number.
  std::string text(const std::string& key, const toml::node& node, const std::string& expected) const {
    if (const auto value = node.value_exact<std::string>()) return *value;
    const auto setting = settings_.find(name_ + "." + key);
    if (setting == settings_.end()) fail(key, node, expected);
    return setting->second;
  }

  /// One of the given words.
  std::string choice(const std::string& key, const std::string& fallback,
                     std::initializer_list<const char*> words) const {
    if (!has(key)) return fallback;
    std::string expected;
    for (const char* word : words) {
      if (!expected.empty()) expected += " or ";
      expected = expected + '"' + word + '"';
    }
    const toml::node& node = *entries().get(key);
    const std::string found = text(key, node, expected);
    if (std::find(words.begin(), words.end(), found) == words.end()) fail(key, node, expected);
    return found;
  }

  int integer(const std::string& key, int fallback, int least, int most) const {
    if (!has(key)) return fallback;
    const toml::node& node = *entries().get(key);
    const std::string expected = "a whole number from " + std::to_string(least) + " to " + std::to_string(most);
    const auto value = valueOf<std::int64_t>(node, key, expected);
    if (*value < least || *value > most) fail(key, node, expected);
    return static_cast<int>(*value);
  }

  bool flag(const std::string& key) const {
    return has(key) && *valueOf<bool>(*entries().get(key), key, "true or false");
  }

  /// Where a value comes from: "file:line", or "--set".
  std::string place(const std::string& key, const toml::node& node) const {
    return settings_.contains(name_ + "." + key) ? "--set" : file_ + ":" + std::to_string(lineOf(node));
  }

  [[noreturn]] void fail(const std::string& key, const toml::node& node, const std::string& expected) const {
    throw RunError(where(key, node) + ": expected " + expected);
  }
  [[noreturn]] void fail(const std::string& key, const std::string& expected) const {
    fail(key, *entries().get(key), expected);
  }

 private:
  std::string where(const std::string& key, const toml::node& node) const {
    return place(key, node) + ": [" + name_ + "] " + key + " = " + shown(node);
  }

  const toml::node& required(const std::string& key, const std::string& expected) const {
    if (!has(key)) throw RunError(file_ + ": [" + name_ + "] " + key + " is missing: expected " + expected);
    return *entries().get(key);
  }

  template <class Value>
  std::optional<Value> valueOf(const toml::node& node, const std::string& key, const std::string& expected) const {
    std::optional<Value> value = node.value_exact<Value>();
    if (!value) fail(key, node, expected);
    return value;
  }

  std::string file_;
  std::string name_;
  const toml::table* table_;
  const Settings& settings_;
};

HeaderFormat headerFormat(const Section& headers, const std::string& name, const toml::node& node) {
  static const std::map<std::string, HeaderFormat> formats{
      {"int16", HeaderFormat::int16}, {"int32", HeaderFormat::int32}, {"float32", HeaderFormat::float32}};
  const auto word = node.value_exact<std::string>();
  const auto found = word ? formats.find(*word) : formats.end();
  if (found == formats.end()) headers.fail(name, node, "format \"int16\", \"int32\" or \"float32\"");
  return found->second;
}

/// A header is a byte, which keeps the header's usual format, or a table of byte and format.
HeaderField headerField(const Section& headers, const std::string& name, const toml::node& node, HeaderField usual) {
  HeaderField field{.byte = 0, .format = usual.format};
  const toml::node* byte = &node;
  if (const toml::table* table = node.as_table()) {
    for (const auto& [key, value] : *table) {
      if (key.str() == "format") {
        field.format = headerFormat(headers, name, value);
      } else if (key.str() != "byte") {
        headers.fail(name, node, "the keys byte and format");
      }
    }
    byte = table->get("byte");
  }
  const int width = field.format == HeaderFormat::int16 ? 2 : 4;
  const std::optional<std::int64_t> value = byte != nullptr ? byte->value_exact<std::int64_t>() : std::nullopt;
  if (!value || *value < 1 || *value > 240 - width + 1) {
    headers.fail(name, node, "a byte from 1 to " + std::to_string(240 - width + 1));
  }
  field.byte = static_cast<int>(*value);
  return field;
}

HeaderLayout headerLayout(const Section& headers, Problems& problems) {
  HeaderLayout layout;
  for (const std::string& name : HeaderLayout::knownNames()) {
    if (!headers.has(name)) continue;
    problems.attempt([&] {
      HeaderField& field = layout.fields[name];
      field = headerField(headers, name, *headers.entries().get(name), field);
    });
  }
  return layout;
}

ParameterSet::Value parameterValue(const Section& section, const ParameterKey& key, const toml::node& node) {
  switch (key.type) {
    case ParameterType::integer: {
      constexpr const char* expected = "int, a whole number of at most 32 bits";
      const auto found = node.value_exact<std::int64_t>();
      if (!found || !std::in_range<int>(*found)) section.fail(key.name, node, expected);
      return static_cast<int>(*found);
    }
    case ParameterType::real:
      if (!node.is_number()) section.fail(key.name, node, "float, a number");
      return static_cast<float>(*node.value<double>());
    case ParameterType::text:
      break;
  }
  return section.text(key.name, node, "string, text in quotes");
}

std::map<std::string, ParameterSet::Given> parameterValues(const Section& section, Problems& problems) {
  std::map<std::string, ParameterSet::Given> given;
  for (const ParameterKey& key : parameterKeys()) {
    const toml::node* node = section.entries().get(key.name);
    if (node == nullptr) continue;
    problems.attempt([&] {
      given.emplace(key.name, ParameterSet::Given{.value = parameterValue(section, key, *node),
                                                  .place = section.place(key.name, *node)});
    });
  }
  return given;
}

/// Every part of a dotted key nests a table in another, and tables within tables are left one call each.
void checkLines(const std::string& name, const std::string& text) {
  std::istringstream lines(text);
  std::size_t number = 1;
  for (std::string line; std::getline(lines, line); ++number) {
    if (line.size() <= longestLine) continue;
    throw RunError(name + ":" + std::to_string(number) + ": the line has " + std::to_string(line.size()) +
                   " characters, expected at most " + std::to_string(longestLine));
  }
}

toml::table parse(const std::string& name, const std::string& text) {
  checkLines(name, text);
  try {
    return toml::parse(text, name);
  } catch (const toml::parse_error& error) {
    throw RunError(name + ":" + std::to_string(error.source().begin.line) +
                   ": cannot be read as TOML: " + std::string(error.description()));
  }
}

void checkTables(const std::string& name, const toml::table& job, Problems& problems) {
  std::vector<std::string> tables;
  for (const auto& [table, keys] : knownTables()) tables.push_back(table);
  for (const auto& [key, node] : job) {
    const std::string found(key.str());
    if (std::find(tables.begin(), tables.end(), found) != tables.end()) continue;
    problems.add(name + ":" + std::to_string(lineOf(node)) + ": unknown key " + found +
                 "; the nearest table known is [" + nearestName(found, tables) + "]");
  }
}

/// The output takes its name at the end of a good run: no file of the job may have that name.
void checkOutput(const JobFile& job, const Section& data) {
  if (!job.output) {
    if (!job.parameters.emitsTraces()) return;
    throw RunError(job.file.string() +
                   ": [data] output is missing: this job emits traces, so expected the SEG-Y file to write");
  }
  std::error_code error;
  if (fs::exists(*job.output, error) && !fs::is_regular_file(*job.output, error) &&
      !fs::is_directory(*job.output, error)) {
    data.fail("output", "a file, no device or pipe; for a run without traces OUTPUT = \"0\" in [parameters]");
  }
  for (const auto& [role, file] :
       {std::pair{"input", job.input.file}, std::pair{"database", job.database}, std::pair{"job file", job.file}}) {
    std::error_code ignored;
    if (fs::equivalent(*job.output, file, ignored)) data.fail("output", "a file other than the " + std::string(role));
  }
}

/// Ensembles are formed by a header that is there and is a whole number.
void checkPrimaryKey(const SegyInput& input, const Section& data, const Section& headers) {
  const auto field = input.layout.fields.find(input.primaryKey);
  if (field == input.layout.fields.end()) {
    data.fail("primary_key", "a header whose byte is known; [headers] gives none for " + input.primaryKey);
  }
  if (field->second.format == HeaderFormat::float32) {
    headers.fail(input.primaryKey, "format \"int16\" or \"int32\" for the primary key");
  }
}

}  // namespace

std::string nearestName(const std::string& found, const std::vector<std::string>& known) {
  const auto distance = [&](const std::string& name) {
    std::vector<std::size_t> row(name.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= found.size(); ++i) {
      std::size_t diagonal = std::exchange(row[0], i);
      for (std::size_t j = 1; j <= name.size(); ++j) {
        const std::size_t exchanged = diagonal + (found[i - 1] == name[j - 1] ? 0 : 1);
        diagonal = std::exchange(row[j], std::min({row[j] + 1, row[j - 1] + 1, exchanged}));
      }
    }
    return row.back();
  };
  return *std::min_element(known.begin(), known.end(),
                           [&](const auto& a, const auto& b) { return distance(a) < distance(b); });
}

JobFile readJobFile(const fs::path& file, const JobSettings& jobSettings, MessageSink& messages, Problems& problems) {
  const std::string name = file.string();
  JobFile result;
  result.file = file;
  result.text = contentOf(file);
  toml::table job = parse(name, result.text);
  const Settings settings = readSettings(jobSettings, problems);
  for (const auto& [key, value] : settings) result.text += "\n# --set " + key + "=" + value;
  apply(settings, job);
  checkTables(name, job, problems);

  const auto section = [&](const char* table) { return Section(name, job, table, settings, problems); };
  const Section survey = section("survey"), data = section("data"), headers = section("headers"),
                database = section("database"), run = section("run");
  const fs::path folder = file.parent_path();
  const auto take = [&](auto read) { return problems.attempt(read); };
  const bool isSurvey = take([&] { result.is3D = survey.choice("type", "2D", {"2D", "3D"}) == "3D"; });
  take([&] { result.feet = survey.choice("units", "metres", {"metres", "feet"}) == "feet"; });
  take([&] { result.input.file = folder / data.path("input"); });
  take([&] { result.input.primaryKey = data.choice("primary_key", "CDP", {"CDP", "SG_CDP"}); });
  take([&] { result.input.allowTruncated = data.flag("allow_truncated"); });
  take([&] {
    result.input.format = sampleFormatCode(data.choice("format", "", {"ibm", "ieee", "int32", "int16", "int8"}));
  });
  take([&] {
    if (data.has("output")) result.output = folder / data.path("output");
  });
  result.input.layout = headerLayout(headers, problems);
  if (problems.none()) take([&] { checkPrimaryKey(result.input, data, headers); });
  take([&] { result.database = folder / database.path("file"); });
  take([&] { result.threads = run.integer("threads", 0, 0, 1024); });
  take([&] { result.checkpoint = run.flag("checkpoint"); });
  take([&] { result.scratch = run.has("scratch") ? folder / run.path("scratch") : result.database.parent_path(); });

  Problems ofParameters;
  const Section parameters(name, job, "parameters", settings, ofParameters);
  auto given = parameterValues(parameters, ofParameters);
  if (isSurvey && ofParameters.none()) {  // a set with gaps would say the same in other words
    result.parameters = ParameterSet(name, result.is3D, std::move(given), messages, ofParameters);
  }
  problems.add(ofParameters);
  if (problems.none()) take([&] { checkOutput(result, data); });
  return result;
}

JobFile readJobFile(const fs::path& file, MessageSink& messages, const JobSettings& settings) {
  Problems problems;
  JobFile job = readJobFile(file, settings, messages, problems);
  problems.raise();
  return job;
}

}  // namespace host::local
