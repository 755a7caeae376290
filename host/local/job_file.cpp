#include "host/local/job_file.h"

#include <toml++/toml.h>

#include <algorithm>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <numeric>
#include <sstream>
#include <utility>

#include "host/local/sample_format.h"

namespace host::local {

namespace {

namespace fs = std::filesystem;

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

/// One table of the job file: hands out its values and refuses what it does not know.
class Section {
 public:
  Section(const std::string& file, const toml::table& job, std::string name, std::vector<std::string> keys)
      : file_(file), name_(std::move(name)), table_(job[name_].as_table()) {
    if (const toml::node* node = job.get(name_); node != nullptr && table_ == nullptr) {
      throw RunError(file_ + ":" + std::to_string(lineOf(*node)) + ": " + name_ + ": expected a table, [" + name_ +
                     "]");
    }
    for (const auto& [key, value] : entries()) {
      const std::string found(key.str());
      if (std::find(keys.begin(), keys.end(), found) != keys.end()) continue;
      throw RunError(where(found, value) + ": unknown key; the nearest one known is " + nearestName(found, keys));
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
    const std::string found = *valueOf<std::string>(node, key, expected);
    if (found.empty()) fail(key, node, expected);
    return found;
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
    const std::string found = *valueOf<std::string>(node, key, expected);
    if (std::find(words.begin(), words.end(), found) == words.end()) fail(key, node, expected);
    return found;
  }

  int integer(const std::string& key, int fallback, int least) const {
    if (!has(key)) return fallback;
    const toml::node& node = *entries().get(key);
    const std::string expected = "a whole number of at least " + std::to_string(least);
    const auto value = valueOf<std::int64_t>(node, key, expected);
    if (*value < least || *value > std::numeric_limits<int>::max()) fail(key, node, expected);
    return static_cast<int>(*value);
  }

  bool flag(const std::string& key) const {
    return has(key) && *valueOf<bool>(*entries().get(key), key, "true or false");
  }

  [[noreturn]] void fail(const std::string& key, const toml::node& node, const std::string& expected) const {
    throw RunError(where(key, node) + ": expected " + expected);
  }
  [[noreturn]] void fail(const std::string& key, const std::string& expected) const {
    fail(key, *entries().get(key), expected);
  }

 private:
  std::string where(const std::string& key, const toml::node& node) const {
    return file_ + ":" + std::to_string(lineOf(node)) + ": [" + name_ + "] " + key + " = " + shown(node);
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

HeaderLayout headerLayout(const Section& headers) {
  HeaderLayout layout;
  for (const auto& [key, node] : headers.entries()) {
    const std::string name(key.str());
    HeaderField& field = layout.fields[name];
    field = headerField(headers, name, node, field);
  }
  return layout;
}

std::map<std::string, ParameterSet::Given> parameterValues(const Section& section) {
  std::map<std::string, ParameterSet::Given> given;
  for (const ParameterKey& key : parameterKeys()) {
    if (!section.has(key.name)) continue;
    const toml::node& node = *section.entries().get(key.name);
    ParameterSet::Value value;
    switch (key.type) {
      case ParameterType::integer: {
        constexpr const char* expected = "int, a whole number of at most 32 bits";
        const auto found = node.value_exact<std::int64_t>();
        if (!found || !std::in_range<int>(*found)) section.fail(key.name, node, expected);
        value = static_cast<int>(*found);
        break;
      }
      case ParameterType::real: {
        if (!node.is_number()) section.fail(key.name, node, "float, a number");
        value = static_cast<float>(*node.value<double>());
        break;
      }
      case ParameterType::text: {
        const auto found = node.value_exact<std::string>();
        if (!found) section.fail(key.name, node, "string, text in quotes");
        value = *found;
        break;
      }
    }
    given.emplace(key.name, ParameterSet::Given{.value = value, .line = lineOf(node)});
  }
  return given;
}

std::vector<std::string> parameterNames() {
  std::vector<std::string> names;
  for (const ParameterKey& key : parameterKeys()) names.emplace_back(key.name);
  return names;
}

std::string readText(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in || fs::is_directory(file)) throw RunError(file.string() + ": cannot read the job file");
  return {std::istreambuf_iterator<char>(in), {}};
}

toml::table parse(const std::string& name, const std::string& text) {
  try {
    return toml::parse(text, name);
  } catch (const toml::parse_error& error) {
    throw RunError(name + ":" + std::to_string(error.source().begin.line) + ": " + std::string(error.description()));
  }
}

void checkSections(const std::string& name, const toml::table& job) {
  const std::vector<std::string> sections{"survey", "data", "headers", "database", "run", "parameters"};
  for (const auto& [key, node] : job) {
    const std::string found(key.str());
    if (std::find(sections.begin(), sections.end(), found) != sections.end()) continue;
    throw RunError(name + ":" + std::to_string(lineOf(node)) + ": unknown key " + found +
                   "; the nearest table known is [" + nearestName(found, sections) + "]");
  }
}

/// The output takes its name at the end of a good run: no file of the job may have that name.
void checkOutput(const JobFile& job, const Section& data) {
  if (!job.output) {
    if (!job.parameters.emitsTraces()) return;
    throw RunError(job.file.string() +
                   ": [data] output is missing: this job emits traces, so expected the SEG-Y file to write");
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

JobFile readJobFile(const fs::path& file, MessageSink& messages) {
  const std::string name = file.string();
  const std::string text = readText(file);
  const toml::table job = parse(name, text);
  checkSections(name, job);

  const Section survey(name, job, "survey", {"type", "units"});
  const Section data(name, job, "data", {"input", "output", "primary_key", "allow_truncated", "format"});
  const Section headers(name, job, "headers", HeaderLayout::knownNames());
  const Section database(name, job, "database", {"file"});
  const Section run(name, job, "run", {"threads", "scratch"});
  const Section parameters(name, job, "parameters", parameterNames());

  const fs::path folder = file.parent_path();
  const bool is3D = survey.choice("type", "2D", {"2D", "3D"}) == "3D";
  JobFile result{
      .file = file,
      .text = text,
      .is3D = is3D,
      .feet = survey.choice("units", "metres", {"metres", "feet"}) == "feet",
      .input = {.file = folder / data.path("input"),
                .layout = headerLayout(headers),
                .primaryKey = data.choice("primary_key", "CDP", {"CDP", "SG_CDP"}),
                .allowTruncated = data.flag("allow_truncated"),
                .format = sampleFormatCode(data.choice("format", "", {"ibm", "ieee", "int32", "int16", "int8"}))},
      .output = {},
      .database = folder / database.path("file"),
      .threads = run.integer("threads", 0, 0),
      .scratch = {},
      .parameters = ParameterSet(name, is3D, parameterValues(parameters), messages)};
  result.scratch = run.has("scratch") ? folder / run.path("scratch") : result.database.parent_path();
  if (data.has("output")) result.output = folder / data.path("output");

  checkPrimaryKey(result.input, data, headers);
  checkOutput(result, data);
  return result;
}

}  // namespace host::local
