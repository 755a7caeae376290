#include "report/survey.h"

#include <algorithm>
#include <numeric>

#include "korvane/headers.h"
#include "korvane/start_up.h"
#include "korvane/tables.h"

namespace report {

namespace {

std::vector<Place> placesOf(const korvane::Parameters& p, const host::local::SegyData& data) {
  std::vector<Place> places;
  int number = -1;
  for (const host::local::EnsembleFacts& ensemble : data.ensembles()) {
    ++number;
    const auto slot = korvane::gridSlot(p, ensemble.iline, p.is3D != 0 ? ensemble.xline : ensemble.cdp);
    if (!ensemble.live || !slot) continue;
    const host::local::Position position = data.find(ensemble.cdp).value_or(host::local::Position{});
    places.push_back({.ensemble = number,
                      .cdp = ensemble.cdp,
                      .iline = ensemble.iline,
                      .xline = ensemble.xline,
                      .x = static_cast<float>(position.x),
                      .y = static_cast<float>(position.y),
                      .slot = *slot,
                      .traces = ensemble.traces});
  }
  return places;
}

constexpr std::int64_t mostValues = 5'000'000;  // of the starting and the refined field
constexpr int mostTimes = 250;

korvane::RunState runOf() {
  korvane::RunState run;
  korvane::readJob(run);
  return run;
}

/// At the distance of the lines that hold an ensemble. @param total  lines of the grid
template <class LineOf>
Lines linesOf(const std::vector<Place>& places, int total, LineOf lineOf) {
  Lines lines;
  int distance = 0;
  for (const Place& place : places) distance = std::gcd(distance, lineOf(place) - lineOf(places.front()));
  lines.step = std::max(distance, 1);
  lines.first = places.empty() ? 0 : lineOf(places.front()) % lines.step;
  lines.count = (total - 1 - lines.first) / lines.step + 1;
  return lines;
}

LineGrid dataGridOf(const korvane::Parameters& p, const std::vector<Place>& places) {
  return {.inlines = linesOf(places, p.itlines, [&](const Place& place) { return place.slot / p.xtlines; }),
          .crosslines = linesOf(places, p.xtlines, [&](const Place& place) { return place.slot % p.xtlines; })};
}

/// Evenly thinned out. @param cells  positions at most
LineGrid thinned(const LineGrid& all, std::int64_t cells) {
  int inlineStep = 1, crosslineStep = 1;
  for (;;) {
    const LineGrid grid{all.inlines.every(inlineStep), all.crosslines.every(crosslineStep)};
    if (std::int64_t{grid.inlines.count} * grid.crosslines.count <= cells) return grid;
    ++(grid.inlines.count > grid.crosslines.count ? inlineStep : crosslineStep);
  }
}

Sampling shownTimes(const korvane::Parameters& p) {
  const int step = thinning(p.nt, mostTimes);
  return {.step = static_cast<double>(p.dt) * step, .count = (p.nt - 1) / step + 1};
}

}  // namespace

Survey::Survey(const host::local::JobFile& file, host::local::LocalJob& job)
    : file_(file),
      job_(job),
      run_(runOf()),
      times_(shownTimes(run_.parameters)),
      places_(placesOf(run_.parameters, job.data())),
      dataGrid_(dataGridOf(run_.parameters, places_)),
      grid_(thinned(dataGrid_,
                    std::max<std::int64_t>(mostValues / (std::int64_t{run_.parameters.nazim + 1} * times_.count), 1))) {
  for (std::size_t i = 0; i < places_.size(); ++i) {
    bySlot_.emplace(places_[i].slot, i);
    byCdp_.emplace(places_[i].cdp, i);
  }
  const korvane::Parameters& p = run_.parameters;
  if (p.outvel != 0) results_ = job.database().load(p.iazimuth != 0 ? "VAZ" : "VEL", p.cvelnamo);
}

const Place* Survey::at(int slot) const {
  const auto found = bySlot_.find(slot);
  return found == bySlot_.end() ? nullptr : &places_[found->second];
}

const Place* Survey::ofCdp(int cdp) const {
  const auto found = byCdp_.find(cdp);
  return found == byCdp_.end() ? nullptr : &places_[found->second];
}

bool Survey::before(const Place& place, float* function) const {
  return korvane::inputVelocity(run_.parameters, run_.tables, place.cdp, place.x, place.y, function) == 0;
}

bool Survey::after(const Place& place, int sector, int count, float interval, float* function) const {
  const float x = static_cast<float>(place.cdp);
  if (results_ == nullptr || !results_->functions().contains(x) || sector >= results_->zCount()) return false;
  return results_->alongX(x, count, 0.0f, interval, function, sector);
}

}  // namespace report
