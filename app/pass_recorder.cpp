#include "app/pass_recorder.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <utility>

#include "app/grid_sample.h"

namespace app {

namespace {

using host::local::PassRecord;

constexpr std::int64_t mostPositions = 60000;  // of a record, in all sectors

/// Sums over the revised samples.
struct Sums {
  double change = 0.0, squares = 0.0;  // of the velocity, fraction
  std::int64_t samples = 0;

  double mean() const { return 100.0 * change / atLeastOne(); }  ///< percent
  double rms() const { return 100.0 * std::sqrt(squares / atLeastOne()); }
  double atLeastOne() const { return static_cast<double>(std::max<std::int64_t>(samples, 1)); }

  void operator+=(const Sums& other) {
    change += other.change;
    squares += other.squares;
    samples += other.samples;
  }
};

/// @param ratio  revised velocity over the one before, 0 where nothing was revised
Sums sumsOf(std::span<const float> ratio) {
  Sums sums;
  for (const float value : ratio) {
    if (value == 0.0f) continue;
    const double change = static_cast<double>(value) - 1.0;
    sums.change += change;
    sums.squares += change * change;
    ++sums.samples;
  }
  return sums;
}

/// What makes the revision of a pass doubtful; empty: nothing.
std::string doubtsAbout(const PassRecord& pass) {
  constexpr double mostLimited = 0.5;
  const std::string see = " See 'korvane scan' for the amplitudes of the input: they have to lie ";
  const auto& revision = pass.revision;
  if (pass.revised == 0 && std::find(revision.begin(), revision.end(), PassRecord::fewNeighbours) != revision.end()) {
    return "no velocity was revised: nowhere do FOLD CDPs with results stand in one neighbourhood (NUMXSUM, NUMYSUM).";
  }
  if (pass.revised > 0 && pass.rms == 0.0) {
    return "no velocity was changed, as the products of intercept and gradient vanish." + see + "above 1e-15.";
  }
  if (pass.limited > mostLimited) {
    return "limits held " + std::to_string(std::lround(100.0 * pass.limited)) +
           " % of the samples of the revised velocities, which then tell little of the data. Smooth more (VELFILT, "
           "CORRWIN), or begin with better velocities." +
           see + "below 1e15.";
  }
  return {};
}

}  // namespace

void PassRecorder::begins(const korvane::RunState& /*run*/) { begin_ = std::chrono::steady_clock::now(); }

void PassRecorder::revised(const korvane::RunState& run) {
  const korvane::Parameters& p = run.parameters;
  const GridSample grid(p, std::max<std::int64_t>(mostPositions / p.nazim, 1));
  PassRecord record{.pass = run.numiter - 1,
                    .traces = job_.data().traces(),
                    .inlineStep = grid.inlineStep,
                    .crosslineStep = grid.crosslineStep,
                    .revision = {},
                    .atLimit = {}};
  Sums all;
  for (int s = 0; s < p.nazim; ++s) {
    for (int i = 0; i < grid.inlines; ++i) {
      for (int k = 0; k < grid.crosslines; ++k) {
        // positions without data are revised, too, where their neighbours suffice
        const auto isStored = [&](int place) { return run.stores.istore[korvane::rowStart(p, s, place, 1)] == 1; };
        const int place = grid.slot(p, i, k, isStored);
        const bool stored = isStored(place);
        const std::int64_t slot = korvane::rowStart(p, s, place, 1);
        const std::span ratio(run.stores.vastore + slot * p.nt, static_cast<std::size_t>(p.idiff));
        const Sums sums = stored ? sumsOf(ratio) : Sums{};
        all += sums;
        record.revised += sums.samples > 0;
        const float why = stored ? PassRecord::fewNeighbours : PassRecord::noData;
        record.revision.push_back(sums.samples > 0 ? static_cast<float>(sums.rms()) : why);
        const double held =
            sums.samples > 0 ? static_cast<double>(run.held[static_cast<std::size_t>(slot)]) / p.idiff : 0.0;
        record.atLimit.push_back(static_cast<float>(held));
        record.limited += held;
      }
    }
  }
  record.mean = all.mean();
  record.rms = all.rms();
  record.limited /= static_cast<double>(std::max<std::int64_t>(record.revised, 1));
  const auto now = std::chrono::steady_clock::now();
  record.seconds = std::chrono::duration<double>(now - begin_).count();
  job_.recordPass(record);
  const std::string doubts = grid.whole() ? doubtsAbout(record) : std::string();
  if (!doubts.empty() && !std::exchange(warned_, true)) {
    job_.job().messages.warn("pass " + std::to_string(record.pass) + ": " + doubts);
  }
  log_.write("pass", {{"pass", record.pass},
                      {"of", p.niterate},
                      {"traces", record.traces},
                      {"seconds", record.seconds},
                      {"traces_per_second", static_cast<double>(record.traces) / record.seconds},
                      {"functions_revised", record.revised},
                      {"rms_revision_percent", record.rms},
                      {"samples_at_a_limit_percent", 100.0 * record.limited}});
  begin_ = now;
}

}  // namespace app
