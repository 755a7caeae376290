#include "report/survey.h"

#include <algorithm>

#include "host/framework.h"
#include "host/local/header_words.h"
#include "korvane/headers.h"
#include "korvane/start_up.h"
#include "korvane/tables.h"

namespace report {

namespace {

std::vector<Place> placesOf(const korvane::RunState& run, host::local::SegyData& data) {
  const host::StandardHeaders& hdr = run.constants.hdr;
  std::vector<Place> places;
  std::vector<std::int32_t> head(host::local::headerWords + 1);
  for (int ensemble = 0; ensemble < data.ensembles(); ++ensemble) {
    data.readHead(ensemble, head.data());
    const int cdp = korvane::standardWord(head.data(), hdr.icdp);
    const auto slot = korvane::gridSlot(run.parameters, run.constants, head.data(), cdp);
    if (!slot) continue;
    places.push_back({.ensemble = ensemble,
                      .cdp = cdp,
                      .iline = korvane::standardWord(head.data(), hdr.iiline_no),
                      .xline = korvane::standardWord(head.data(), hdr.ixline_no),
                      .x = korvane::standardFloat(head.data(), hdr.icdp_x),
                      .y = korvane::standardFloat(head.data(), hdr.icdp_y),
                      .slot = *slot,
                      .traces = data.tracesOf(ensemble)});
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
      grid_(run_.parameters,
            std::max<std::int64_t>(mostValues / (std::int64_t{run_.parameters.nazim + 1} * times_.count), 1)),
      places_(placesOf(run_, job.data())) {
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
