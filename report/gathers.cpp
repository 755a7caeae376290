#include <algorithm>
#include <cmath>
#include <numbers>
#include <set>
#include <string>

#include "host/framework.h"
#include "korvane/gather_pass.h"
#include "korvane/headers.h"
#include "korvane/storage.h"
#include "moveout/moveout.h"
#include "report/packed_array.h"
#include "report/survey.h"

namespace report {

namespace {

constexpr std::size_t mostSampled = 240;  // gathers whose flatness is measured
constexpr int spread = 5;                 // gathers shown at even distances
constexpr int extremes = 2;               // best and worst ones shown
constexpr int mostTraces = 120;           // of a gather shown
constexpr int angleTimes = 60, semblanceTimes = 125, semblanceVelocities = 60;
constexpr float semblanceWindow = 20.0f;  // half-length, ms

std::size_t index(int i) { return static_cast<std::size_t>(i); }

/// Amplitudes of a gather, trace by trace, nt samples each.
struct Gather {
  std::vector<float> amplitudes, offsets;
  std::vector<int> sectors;
  int traces() const { return static_cast<int>(offsets.size()); }
};

/// Velocity functions of a gather, for every sector.
struct Functions {
  std::vector<float> velocity;        ///< sectors x nt
  std::vector<float> sloth, scratch;  ///< sectors x (nt + 2)
};

/// Sums over the traces of a moved-out gather, sample by sample (Neidell and Taner, 1971).
struct Coherence {
  std::vector<double> squaredStack, energy;  ///< energy times the live traces

  /// Semblance from first to last, both included; 0 where nothing is live.
  double over(int first, int last) const {
    double stack = 0.0, all = 0.0;
    for (int i = first; i <= last; ++i) {
      stack += squaredStack[index(i)];
      all += energy[index(i)];
    }
    return all > 0.0 ? stack / all : 0.0;
  }
};

class Analyst {
 public:
  explicit Analyst(const Survey& survey)
      : survey_(survey), p_(survey.parameters()), c_(survey.run().constants), nt_(p_.nt) {
    korvane::makeWork(p_, c_, work_);
  }

  /// The live traces of an ensemble.
  Gather read(const Place& place) {
    host::local::SegyData& data = survey_.job().data();
    data.deliverFrom(place.ensemble, 1);
    const int count = data.next(work_.traces.data(), work_.iheads.data());
    Gather gather;
    for (int j = 0; j < count; ++j) {
      std::int32_t* head = work_.iheads[index(j)];
      if (!korvane::isLive(head, c_.hdr.itrc_type)) continue;
      float* trace = work_.traces[index(j)];
      const float shift = p_.istatic != 0 ? korvane::standardFloat(head, c_.hdr.ina_stat) : 0.0f;
      shifts_.resize(gather.offsets.size() + 1);
      shifts_.back() = shift;
      gather.amplitudes.insert(gather.amplitudes.end(), trace, trace + nt_);
      gather.offsets.push_back(korvane::standardFloat(head, c_.hdr.ioffset));
      gather.sectors.push_back(korvane::azimuthSector(p_, c_, head));
    }
    return gather;
  }

  /// Starting (or refined) functions; sectors without a refined one keep the starting one.
  bool functions(const Place& place, bool refined, Functions& f) const {
    const std::size_t nt = index(nt_), guarded = nt + 2;
    f.velocity.resize(nt * index(p_.nazim));
    f.sloth.resize(guarded * index(p_.nazim));
    f.scratch.resize(f.sloth.size());
    for (int s = 0; s < p_.nazim; ++s) {
      float* velocity = &f.velocity[nt * index(s)];
      if (!survey_.before(place, velocity)) return false;
      if (refined) survey_.after(place, s, nt_, p_.dt, velocity);
      int ier = 0;
      moveout::a_savelc(velocity, &f.sloth[guarded * index(s)], &f.scratch[guarded * index(s)], nt_, p_.ivelfilt, 0.0f,
                        ier);
      if (ier != 0) return false;
    }
    return true;
  }

  /// The gather moved out, each trace with the function of its sector.
  Gather movedOut(const Gather& gather, const Functions& f) {
    Gather moved = gather;
    for (int j = 0; j < gather.traces(); ++j) {
      const float* sloth = &f.sloth[(index(nt_) + 2) * index(gather.sectors[index(j)])];
      moveOut(moved, j, sloth);
    }
    return moved;
  }

  /// Semblance of the gather for constant velocities.
  nlohmann::json semblance(const Gather& gather, const Functions& before, const Functions& after) {
    const auto [least, largest] = std::minmax_element(before.velocity.begin(), before.velocity.end());
    const auto [leastAfter, largestAfter] = std::minmax_element(after.velocity.begin(), after.velocity.end());
    const float from = 0.8f * std::min(*least, *leastAfter), to = 1.2f * std::max(*largest, *largestAfter);
    const int step = thinning(nt_, semblanceTimes), count = (nt_ - 1) / step + 1;
    const int half = std::max(static_cast<int>(semblanceWindow / p_.dt), 1);
    std::vector<float> velocities, values, constant(index(nt_) + 2);
    for (int v = 0; v < semblanceVelocities; ++v) {
      velocities.push_back(from + (to - from) * static_cast<float>(v) / static_cast<float>(semblanceVelocities - 1));
      std::fill(constant.begin(), constant.end(), 1.0f / (velocities.back() * velocities.back()));
      Gather moved = gather;
      for (int j = 0; j < moved.traces(); ++j) moveOut(moved, j, constant.data());
      const Coherence sums = coherence(moved);
      for (int t = 0; t < count; ++t) {
        const int at = t * step;
        values.push_back(static_cast<float>(sums.over(std::max(at - half, 0), std::min(at + half, nt_ - 1))));
      }
    }
    return {{"times", Sampling{.step = static_cast<double>(p_.dt) * step, .count = count}.json()},
            {"velocities", velocities},
            {"values", packed(values, {semblanceVelocities, count}, 0.0f, 1.0f, Depth::bits8)}};
  }

  /// Semblance of the whole moved-out gather.
  double flatness(const Gather& moved) const { return coherence(moved).over(0, nt_ - 1); }

  /// Incidence angles of straight rays in degrees, traces x angleTimes.
  nlohmann::json angles(const Gather& gather, const Functions& f) const {
    const int step = thinning(nt_, angleTimes), count = (nt_ - 1) / step + 1;
    std::vector<float> degrees;
    for (int j = 0; j < gather.traces(); ++j) {
      const float* sloth = &f.sloth[(index(nt_) + 2) * index(gather.sectors[index(j)])];
      for (int t = 0; t < count; ++t) {
        const int i = t * step;
        const double reach =
            static_cast<double>(std::abs(gather.offsets[index(j)])) * std::sqrt(static_cast<double>(sloth[i + 1]));
        degrees.push_back(static_cast<float>(std::atan2(reach, static_cast<double>(i) * static_cast<double>(c_.dtt)) *
                                             180.0 / std::numbers::pi));
      }
    }
    return packed(degrees, {gather.traces(), count}, 0.0f, 90.0f, Depth::bits16);
  }

 private:
  void moveOut(Gather& gather, int trace, const float* sloth) {
    float* samples = &gather.amplitudes[index(trace) * index(nt_)];
    korvane::moveTraceOut(p_, c_, sloth, gather.offsets[index(trace)], samples, work_);
    const float shift = shifts_[index(trace)];
    if (shift != 0.0f) host::applyStatic2(samples, work_.tempTrc3.data(), nt_, p_.dt, shift);
  }

  Coherence coherence(const Gather& gather) const {
    Coherence sums{std::vector<double>(index(nt_)), std::vector<double>(index(nt_))};
    for (int i = 0; i < nt_; ++i) {
      double stack = 0.0, energy = 0.0;
      int live = 0;
      for (int j = 0; j < gather.traces(); ++j) {
        const double a = static_cast<double>(gather.amplitudes[index(j) * index(nt_) + index(i)]);
        stack += a;
        energy += a * a;
        live += a != 0.0;
      }
      if (live < 2) continue;
      sums.squaredStack[index(i)] = stack * stack;
      sums.energy[index(i)] = energy * live;
    }
    return sums;
  }

  const Survey& survey_;
  const korvane::Parameters& p_;
  const korvane::Constants& c_;
  int nt_;
  korvane::Work work_;
  std::vector<float> shifts_;  // statics of the gather that was read, ms
};

/// Traces in the order of their absolute offsets, as many as are shown.
Gather forShow(const Gather& gather, int nt) {
  std::vector<int> order(index(gather.traces()));
  for (int j = 0; j < gather.traces(); ++j) order[index(j)] = j;
  std::stable_sort(order.begin(), order.end(), [&](int a, int b) {
    return std::abs(gather.offsets[index(a)]) < std::abs(gather.offsets[index(b)]);
  });
  const int step = thinning(gather.traces(), mostTraces);
  Gather shown;
  for (int k = 0; k < gather.traces(); k += step) {
    const int j = order[index(k)];
    const float* trace = &gather.amplitudes[index(j) * index(nt)];
    shown.amplitudes.insert(shown.amplitudes.end(), trace, trace + nt);
    shown.offsets.push_back(gather.offsets[index(j)]);
    shown.sectors.push_back(gather.sectors[index(j)]);
  }
  return shown;
}

/// The amplitude that one sample in two hundred exceeds.
float clip(const Gather& gather) {
  std::vector<float> magnitudes;
  for (const float a : gather.amplitudes) {
    if (a != 0.0f) magnitudes.push_back(std::abs(a));
  }
  if (magnitudes.empty()) return 1.0f;
  const auto at = magnitudes.begin() + static_cast<std::ptrdiff_t>(magnitudes.size() - 1 - magnitudes.size() / 200);
  std::nth_element(magnitudes.begin(), at, magnitudes.end());
  return *at;
}

nlohmann::json amplitudes(Gather gather, int nt, float largest) {
  for (float& a : gather.amplitudes) a = a == 0.0f ? noValue : a;
  return packed(gather.amplitudes, {gather.traces(), nt}, -largest, largest, Depth::bits8);
}

/// The sector that most traces are in.
int fullestSector(const Gather& gather, int sectors) {
  std::vector<int> count(index(sectors));
  for (const int s : gather.sectors) ++count[index(s)];
  return static_cast<int>(std::max_element(count.begin(), count.end()) - count.begin());
}

std::vector<float> functionOf(const Functions& f, int sector, int nt) {
  const auto from = f.velocity.begin() + std::ptrdiff_t{sector} * nt;
  return {from, from + nt};
}

/// One gather as the page shows it; nothing when it has no live trace or no velocity.
nlohmann::json view(const Survey& survey, Analyst& analyst, const Place& place, const std::string& label) {
  const korvane::Parameters& p = survey.parameters();
  Functions before, after;
  const Gather gather = analyst.read(place);
  if (gather.traces() == 0 || !analyst.functions(place, false, before) || !analyst.functions(place, true, after)) {
    return nullptr;
  }
  const Gather with = analyst.movedOut(gather, after), without = analyst.movedOut(gather, before);
  const Gather shownBefore = forShow(without, p.nt), shownAfter = forShow(with, p.nt);
  const int sector = fullestSector(gather, p.nazim);
  const float largest = clip(without);
  const Sampling times{.step = static_cast<double>(p.dt), .count = p.nt};
  const int angleStep = thinning(p.nt, angleTimes);
  const auto degrees = [](float sin2) {
    return std::asin(std::sqrt(std::clamp(sin2, 0.0f, 1.0f))) * 180.0f / std::numbers::pi_v<float>;
  };
  return {{"cdp", place.cdp},
          {"inline", place.iline},
          {"crossline", place.xline},
          {"sector", sector},
          {"label", label},
          {"offsets", shownBefore.offsets},
          {"times", times.json()},
          {"before", amplitudes(shownBefore, p.nt, largest)},
          {"after", amplitudes(shownAfter, p.nt, largest)},
          {"angles", {{"before", analyst.angles(shownBefore, before)}, {"after", analyst.angles(shownAfter, after)}}},
          {"angleTimes",
           Sampling{.step = static_cast<double>(p.dt) * angleStep, .count = (p.nt - 1) / angleStep + 1}.json()},
          {"angleLimits", {degrees(p.thetamin), degrees(p.thetamax)}},
          {"functions",
           {{"times", times.json()},
            {"before", functionOf(before, sector, p.nt)},
            {"after", functionOf(after, sector, p.nt)}}},
          {"semblance", analyst.semblance(gather, before, after)},
          {"flatness", {{"before", analyst.flatness(without)}, {"after", analyst.flatness(with)}}}};
}

struct Measured {
  const Place* place;
  double before, after;
  double gain() const { return after - before; }
};

/// Up to `most` of `count` places, ascending: steps of the golden section, which fall in with no regular grid.
std::set<std::size_t> spreadOver(std::size_t count, std::size_t most) {
  std::set<std::size_t> chosen;
  double whole = 0.0;
  for (std::size_t k = 0; k < most; ++k) {
    const double place = std::modf(static_cast<double>(k) / std::numbers::phi, &whole);
    chosen.insert(count <= most ? std::min(k, count - 1)
                                : static_cast<std::size_t>(place * static_cast<double>(count)));
  }
  if (count == 0) chosen.clear();
  return chosen;
}

std::vector<Measured> measure(const Survey& survey, Analyst& analyst) {
  std::vector<const Place*> candidates;
  for (const Place& place : survey.places()) {
    if (place.traces >= survey.parameters().ifold) candidates.push_back(&place);
  }
  std::vector<Measured> measured;
  for (const std::size_t k : spreadOver(candidates.size(), mostSampled)) {
    const Place& place = *candidates[k];
    Functions before, after;
    const Gather gather = analyst.read(place);
    if (gather.traces() < 2 || !analyst.functions(place, false, before) || !analyst.functions(place, true, after))
      continue;
    measured.push_back({&place, analyst.flatness(analyst.movedOut(gather, before)),
                        analyst.flatness(analyst.movedOut(gather, after))});
  }
  return measured;
}

}  // namespace

GatherParts gathers(const Survey& survey, const std::vector<int>& cdps) {
  Analyst analyst(survey);
  const std::vector<Measured> measured = measure(survey, analyst);
  GatherParts parts{nlohmann::json::array(), nlohmann::json::array()};
  for (const Measured& m : measured) {
    parts.flatness.push_back({{"cdp", m.place->cdp},
                              {"inline", m.place->iline},
                              {"crossline", m.place->xline},
                              {"before", m.before},
                              {"after", m.after}});
  }

  std::set<int> shown;
  const auto show = [&](const Place& place, const std::string& label) {
    if (!shown.insert(place.cdp).second) return;
    nlohmann::json gather = view(survey, analyst, place, label);
    if (!gather.is_null()) parts.gathers.push_back(std::move(gather));
  };
  for (const int cdp : cdps) {
    const Place* place = survey.ofCdp(cdp);
    if (place == nullptr) {
      throw host::local::RunError("--cdp " + std::to_string(cdp) + ": the grid of " + survey.file().file.string() +
                                  " holds no gather of that CDP; 'korvane scan' tells which the file has");
    }
    show(*place, "asked for");
  }
  std::vector<Measured> ranked = measured;
  std::stable_sort(ranked.begin(), ranked.end(),
                   [](const Measured& a, const Measured& b) { return a.gain() > b.gain(); });
  const std::size_t count = std::min(ranked.size(), index(extremes));
  if (survey.results() != nullptr) {
    for (std::size_t k = 0; k < count; ++k) show(*ranked[k].place, "gained most flatness");
    for (std::size_t k = 0; k < count; ++k)
      show(*ranked[ranked.size() - 1 - k].place, "lost most flatness, or gained least");
  }
  for (std::size_t k = 0; k < std::min(measured.size(), index(spread)); ++k) {
    show(*measured[(2 * k + 1) * measured.size() / (2 * std::min(measured.size(), index(spread)))].place,
         "along the survey");
  }
  return parts;
}

}  // namespace report
