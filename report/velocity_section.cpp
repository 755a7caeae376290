#include "report/packed_array.h"
#include "report/survey.h"

namespace report {

nlohmann::json velocitySection(const Survey& survey) {
  const korvane::Parameters& p = survey.parameters();
  const LineGrid& grid = survey.grid();
  const Sampling& times = survey.times();
  const int count = times.count, step = thinning(p.nt, count);
  std::vector<float> before, after, function(static_cast<std::size_t>(p.nt));
  const auto put = [&](std::vector<float>& field, bool known, int stride) {
    for (int t = 0; t < count; ++t) field.push_back(known ? function[static_cast<std::size_t>(t * stride)] : noValue);
  };
  for (int s = 0; s < p.nazim; ++s) {
    for (int i = 0; i < grid.inlines.count; ++i) {
      for (int k = 0; k < grid.crosslines.count; ++k) {
        const Place* place = survey.at(grid.slot(p, i, k));
        if (s == 0) put(before, place != nullptr && survey.before(*place, function.data()), step);
        const bool refined =
            place != nullptr && survey.after(*place, s, count, static_cast<float>(times.step), function.data());
        put(after, refined, 1);
      }
    }
  }
  nlohmann::json section = {
      {"times", times.json()},
      {"before", packed(before, {1, grid.inlines.count, grid.crosslines.count, count}, Depth::bits16)}};
  const host::Table* results = survey.results();
  if (results != nullptr && !results->functions().empty()) {
    section["after"] = packed(after, {p.nazim, grid.inlines.count, grid.crosslines.count, count}, Depth::bits16);
  } else {
    section["note"] = p.outvel == 0        ? "The job writes no velocity table (PRESTACK or OUTVEL)."
                      : results == nullptr ? "There is no refined table yet: run the job first."
                                           : "The refined table holds no function: no CDP had results.";
  }
  return section;
}

}  // namespace report
