#include <algorithm>
#include <sstream>

#include "report/checksum.h"
#include "report/survey.h"

namespace report {

namespace {

using nlohmann::json;

template <class... Parts>
std::string text(const Parts&... parts) {
  std::ostringstream out;
  (out << ... << parts);
  return out.str();
}

template <class... Cells>
json row(const Cells&... cells) {
  return json::array({cells...});
}

json group(const char* heading, json rows) { return {{"heading", heading}, {"rows", std::move(rows)}}; }

json runRows(const Survey& survey, const std::string& version) {
  json rows = json::array({row("Job", std::filesystem::absolute(survey.file().file).string())});
  const auto runs = survey.job().database().runs();
  const auto last =
      std::find_if(runs.rbegin(), runs.rend(), [&](const auto& r) { return r.job == survey.file().text; });
  if (last == runs.rend()) {
    rows.push_back(row("Last run", "none of this job as it stands now"));
  } else {
    rows.push_back(row("Last run", last->result));
    rows.push_back(row("Started", last->started));
    if (!last->ended.empty()) rows.push_back(row("Ended", last->ended));
    rows.push_back(row("Traces analysed", text(last->traces)));
  }
  rows.push_back(row("Program", "korvane " + version));
  return rows;
}

json fileRows(const std::filesystem::path& file) {
  json rows = json::array({row("File", std::filesystem::absolute(file).string())});
  std::error_code error;
  const auto bytes = std::filesystem::file_size(file, error);
  if (error) {
    rows.push_back(row("Size", "not there"));
    return rows;
  }
  rows.push_back(row("Size", text(bytes, " bytes")));
  rows.push_back(row("SHA-256", sha256(file)));
  return rows;
}

json dataRows(const Survey& survey) {
  const korvane::Parameters& p = survey.parameters();
  const host::local::SegyData& data = survey.job().data();
  json rows = fileRows(survey.file().input.file);
  rows.push_back(row("Traces", text(data.traces(), " of ", p.nt, " samples at ", p.dt, " ms")));
  rows.push_back(row("Ensembles", text(survey.places().size(), " in the grid")));
  if (survey.places().empty()) return rows;
  const auto byTraces = [](const Place& a, const Place& b) { return a.traces < b.traces; };
  const auto byCdp = [](const Place& a, const Place& b) { return a.cdp < b.cdp; };
  const auto [least, most] = std::minmax_element(survey.places().begin(), survey.places().end(), byTraces);
  const auto [first, last] = std::minmax_element(survey.places().begin(), survey.places().end(), byCdp);
  const auto full = std::count_if(survey.places().begin(), survey.places().end(),
                                  [&](const Place& place) { return place.traces >= p.ifold; });
  rows.push_back(row("CDPs", text(first->cdp, " to ", last->cdp)));
  rows.push_back(row("Fold", text(least->traces, " to ", most->traces, "; ", full, " gathers reach FOLD ", p.ifold)));
  if (p.is3D != 0) {
    rows.push_back(row("Inlines", text(p.minilin, " to ", p.maxilin)));
    rows.push_back(row("Crosslines", text(p.minxlin, " to ", p.maxxlin)));
  }
  return rows;
}

json parameterRows(const Survey& survey) {
  const host::local::ParameterSet& set = survey.file().parameters;
  json rows = json::array();
  for (const host::local::ParameterKey& key : host::local::parameterKeys()) {
    if (!set.isRead(key.when)) continue;
    std::string value;
    switch (key.type) {
      case host::local::ParameterType::integer:
        value = text(set.integer(key.name));
        break;
      case host::local::ParameterType::real:
        value = text(set.real(key.name));
        break;
      case host::local::ParameterType::text:
        value = set.text(key.name);
        break;
    }
    const std::string unit = key.unit;
    rows.push_back(row(key.name, unit.empty() || unit == "flag" ? value : value + " " + unit, key.about));
  }
  return rows;
}

json resultRows(const Survey& survey) {
  const korvane::Parameters& p = survey.parameters();
  json rows = survey.file().output ? fileRows(*survey.file().output) : json::array();
  rows.push_back(row("Database", std::filesystem::absolute(survey.file().database).string()));
  if (p.outvel == 0) return rows;
  const host::Table* table = survey.results();
  const std::string functions = table == nullptr ? "not there yet" : text(table->functions().size(), " functions");
  rows.push_back(
      row("Refined velocities", text(p.iazimuth != 0 ? "VAZ" : "VEL", " table \"", p.cvelnamo, "\", ", functions)));
  return rows;
}

}  // namespace

json summary(const Survey& survey, const std::string& version) {
  return {group("Run", runRows(survey, version)), group("Input", dataRows(survey)),
          group("Results", resultRows(survey)), group("Parameters", parameterRows(survey))};
}

}  // namespace report
