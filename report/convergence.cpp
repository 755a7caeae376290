#include "report/packed_array.h"
#include "report/survey.h"

namespace report {

namespace {

using host::local::PassRecord;

constexpr const char* reasons[] = {"revised", "no ensemble in the input", "fewer traces than FOLD",
                                   "too few live traces in the sector, or none within the angle limits",
                                   "fewer stored neighbours than FOLD"};

/// Index into the reasons.
int reasonOf(const Survey& survey, int slot, float revision) {
  if (revision >= 0.0f) return 0;
  if (revision == PassRecord::fewNeighbours) return 4;
  const Place* place = survey.at(slot);
  if (place == nullptr) return 1;
  return place->traces < survey.parameters().ifold ? 2 : 3;
}

}  // namespace

nlohmann::json convergence(const Survey& survey) {
  const korvane::Parameters& p = survey.parameters();
  const host::local::Database::Run* run = nullptr;
  const std::vector<host::local::Database::Run> runs = survey.job().database().runs();
  for (const auto& r : runs) {
    if (r.result == "completed" && r.job == survey.file().text) run = &r;
  }
  if (run == nullptr) return {{"note", "The database holds no completed run of this job as it stands now."}};
  const std::vector<PassRecord> passes = survey.job().database().passes(run->id);
  nlohmann::json list = nlohmann::json::array();
  for (const PassRecord& pass : passes) {
    list.push_back({{"pass", pass.pass},
                    {"seconds", pass.seconds},
                    {"traces", pass.traces},
                    {"revised", pass.revised},
                    {"mean", pass.mean},
                    {"rms", pass.rms},
                    {"limited", pass.limited}});
  }
  nlohmann::json result = {{"passes", list}};
  if (passes.empty()) return result;

  const LineGrid& grid = survey.grid();
  std::vector<float> revision, limited, reason;
  for (const PassRecord& pass : passes) {
    const int inlines = (p.itlines - 1) / pass.inlineStep + 1, crosslines = (p.xtlines - 1) / pass.crosslineStep + 1;
    const auto positions = static_cast<std::size_t>(p.nazim) * static_cast<std::size_t>(inlines * crosslines);
    if (pass.revision.size() != positions || pass.atLimit.size() != positions) return result;
    const bool last = &pass == &passes.back();
    for (int s = 0; s < p.nazim; ++s) {
      for (int i = 0; i < grid.inlines.count; ++i) {
        for (int k = 0; k < grid.crosslines.count; ++k) {
          const int line = grid.inlines.at(i) / pass.inlineStep, place = grid.crosslines.at(k) / pass.crosslineStep;
          const auto at = static_cast<std::size_t>((s * inlines + line) * crosslines + place);
          const float value = pass.revision[at];
          revision.push_back(value >= 0.0f ? value : noValue);
          limited.push_back(value >= 0.0f ? 100.0f * pass.atLimit[at] : noValue);
          if (last) reason.push_back(static_cast<float>(reasonOf(survey, grid.slot(p, i, k), value)));
        }
      }
    }
  }
  const int count = static_cast<int>(passes.size());
  const std::vector<int> shape = {count, p.nazim, grid.inlines.count, grid.crosslines.count};
  result["revision"] = packed(revision, shape, Depth::bits16);
  result["limited"] = packed(limited, shape, 0.0f, 100.0f, Depth::bits8);
  result["reason"] = packed(reason, {p.nazim, grid.inlines.count, grid.crosslines.count}, 0.0f, 254.0f, Depth::bits8);
  result["reasons"] = reasons;
  return result;
}

}  // namespace report
