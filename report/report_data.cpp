#include <chrono>
#include <cmath>
#include <ctime>
#include <sstream>

#include "report/survey.h"

namespace report {

namespace {

std::string now() {
  const std::time_t time = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M UTC", std::gmtime(&time));
  return text;
}

nlohmann::json gridOf(const Survey& survey) {
  const korvane::Parameters& p = survey.parameters();
  const LineGrid& grid = survey.grid();
  std::vector<int> inlines, crosslines;
  for (int i = 0; i < grid.inlines.count; ++i) inlines.push_back(p.minilin + grid.inlines.at(i));
  for (int k = 0; k < grid.crosslines.count; ++k) crosslines.push_back(p.minxlin + grid.crosslines.at(k));
  return {{"kind", p.is3D != 0 ? "3D" : "2D"}, {"inlines", inlines}, {"crosslines", crosslines}};
}

/// Bounds of the sectors in degrees, to a hundredth, which the narrowest need to differ.
std::vector<std::string> sectorNames(const korvane::Parameters& p) {
  if (p.iazimuth == 0) return {""};
  std::vector<std::string> names;
  const auto degrees = [&](int s) { return std::round(100.0 * s * static_cast<double>(p.zazim)) / 100.0; };
  for (int s = 0; s < p.nazim; ++s) {
    std::ostringstream name;
    name << degrees(s) << " to " << degrees(s + 1);
    names.push_back(name.str());
  }
  return names;
}

}  // namespace

std::string reportData(const Survey& survey, const std::vector<int>& cdps, const std::string& version,
                       const std::vector<std::string>& warnings) {
  GatherParts parts = gathers(survey, cdps);
  nlohmann::json data = {
      {"title", survey.file().file.filename().string()},
      {"generated", now()},
      {"version", version},
      {"units", {{"length", survey.file().feet ? "ft" : "m"}, {"velocity", survey.file().feet ? "ft/s" : "m/s"}}},
      {"summary", summary(survey, version)},
      {"warnings", warnings},
      {"grid", gridOf(survey)},
      {"sectors", sectorNames(survey.parameters())},
      {"velocity", velocitySection(survey)},
      {"gathers", std::move(parts.gathers)},
      {"attributes", attributes(survey)},
      {"convergence", convergence(survey)}};
  data["convergence"]["flatness"] = std::move(parts.flatness);
  return data.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace report
