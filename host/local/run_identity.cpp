#include "host/local/run_identity.h"

#include <xxhash.h>

#include <array>
#include <charconv>

namespace host::local {

namespace {

/// The shortest text that gives the number back.
template <class Number>
std::string text(Number value, int base = 10) {
  std::array<char, 32> digits;
  std::to_chars_result end;
  if constexpr (std::is_floating_point_v<Number>) {
    end = std::to_chars(digits.data(), digits.data() + digits.size(), value);
  } else {
    end = std::to_chars(digits.data(), digits.data() + digits.size(), value, base);
  }
  return {digits.data(), end.ptr};
}

std::string valueOf(const ParameterSet& parameters, const ParameterKey& key) {
  switch (key.type) {
    case ParameterType::integer:
      return text(parameters.integer(key.name));
    case ParameterType::real:
      return text(parameters.real(key.name));
    case ParameterType::text:
      return parameters.text(key.name);
  }
  return {};
}

std::string contentOf(const Database& database, const std::string& type, const std::string& name) {
  const std::unique_ptr<Table> table = database.load(type, name);
  if (table == nullptr) return "not there";
  std::uint64_t hash = static_cast<std::uint64_t>(table->zCount());
  const auto add = [&](const void* data, std::size_t bytes) { hash = XXH3_64bits_withSeed(data, bytes, hash); };
  for (const auto& [x, function] : table->functions()) {
    add(&x, sizeof x);
    if (function.position) add(&*function.position, sizeof *function.position);
    add(function.y.data(), function.y.size() * sizeof(float));
    add(function.z.data(), function.z.size() * sizeof(float));
  }
  return "of content " + text(hash, 16);
}

std::string wholePath(const std::filesystem::path& file) {
  std::error_code ignored;
  return std::filesystem::absolute(file, ignored).lexically_normal().string();
}

}  // namespace

RunIdentity runIdentity(const JobFile& file, const SegyData& data, const Database& database,
                        const std::string& version) {
  RunIdentity identity = {{"the program", "korvane " + version},
                          {"the job", wholePath(file.file)},
                          {"type in [survey]", file.is3D ? "3D" : "2D"},
                          {"units in [survey]", file.feet ? "feet" : "metres"},
                          {"input in [data]", wholePath(file.input.file)},
                          {"primary_key in [data]", file.input.primaryKey},
                          {"output in [data]", file.output ? wholePath(*file.output) : "none"},
                          {"file in [database]", wholePath(file.database)}};
  const SegyFile::State state = data.fileState();
  identity.emplace_back("the size of the input", text(state.bytes) + " bytes");
  identity.emplace_back("the time of change of the input", text(state.modified) + " ns since 1970");
  identity.emplace_back("the hash of the headers of the input", text(data.headerHash(), 16));
  identity.emplace_back("the sampling of the input",
                        text(data.samples()) + " samples at " + text(data.interval()) + " ms");
  for (const auto& [name, field] : file.input.layout.fields) {
    identity.emplace_back(name + " in [headers]", "byte " + text(field.byte) + ", " + nameOf(field.format));
  }
  for (const ParameterKey& key : parameterKeys()) {
    if (file.parameters.isRead(key.when)) identity.emplace_back(key.name, valueOf(file.parameters, key));
  }
  const std::string start = file.parameters.text("VELNAME");
  identity.emplace_back("table VEL \"" + start + "\"", contentOf(database, "VEL", start));
  if (file.parameters.isRead(ReadWhen::otherWindow)) {
    const std::string horizons = file.parameters.text("HORNAME");
    identity.emplace_back("table AHZ \"" + horizons + "\"", contentOf(database, "AHZ", horizons));
  }
  return identity;
}

}  // namespace host::local
