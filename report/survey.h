#pragma once

#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/local/local_job.h"
#include "korvane/run_state.h"

/// The report of a run: what its job, its data and its database say, as one page to look at.
namespace report {

/// Samples at a regular interval, ms.
struct Sampling {
  double start = 0.0, step = 0.0;
  int count = 0;
  nlohmann::json json() const { return {{"start", start}, {"step", step}, {"count", count}}; }
};

/// An ensemble of the CDP grid.
struct Place {
  int ensemble;  ///< of the input, in the order of delivery
  int cdp, iline, xline;
  float x, y;  ///< map position
  int slot;    ///< in the CDP grid
  int traces;
};

/// Inlines or crosslines of the CDP grid at a regular distance, as indices from its first one.
struct Lines {
  int first = 0, step = 1, count = 0;
  int at(int k) const { return first + k * step; }
  /// Every n-th of them.
  Lines every(int n) const { return {.first = first, .step = n * step, .count = (count - 1) / n + 1}; }
  /// Whether it is one of them, and then which.
  std::optional<int> indexOf(int line) const {
    if (line < first || (line - first) % step != 0) return std::nullopt;
    return (line - first) / step;
  }
};

struct LineGrid {
  Lines inlines, crosslines;
  /// Slot of a position in the CDP grid.
  int slot(const korvane::Parameters& p, int i, int k) const { return inlines.at(i) * p.xtlines + crosslines.at(k); }
};

/// A job with its data and its results.
class Survey {
 public:
  /// Takes the parameters, tables and filters of the job as a run does. The job must be the framework's current one.
  Survey(const host::local::JobFile& file, host::local::LocalJob& job);

  const host::local::JobFile& file() const { return file_; }
  host::local::LocalJob& job() const { return job_; }
  const korvane::RunState& run() const { return run_; }
  const korvane::Parameters& parameters() const { return run_.parameters; }
  const std::vector<Place>& places() const { return places_; }
  /// Null where no ensemble lies in that slot.
  const Place* at(int slot) const;
  /// Null for a CDP that the grid does not hold.
  const Place* ofCdp(int cdp) const;
  /// The grid at the distance that the ensembles of the input have.
  const LineGrid& dataGrid() const { return dataGrid_; }
  /// The positions of it that the page shows of a whole survey, and its times.
  const LineGrid& grid() const { return grid_; }
  const Sampling& times() const { return times_; }
  /// Refined velocities; null when the job writes none or has not run.
  const host::Table* results() const { return results_.get(); }

  /// Starting velocities at a place: nt samples. @return false where the table gives none
  bool before(const Place& place, float* function) const;
  /// Refined velocities: `count` samples at `interval` ms. @return false where there are none
  bool after(const Place& place, int sector, int count, float interval, float* function) const;

 private:
  const host::local::JobFile& file_;
  host::local::LocalJob& job_;
  const korvane::RunState run_;
  Sampling times_;
  std::vector<Place> places_;
  LineGrid dataGrid_, grid_;
  std::unordered_map<int, std::size_t> bySlot_, byCdp_;
  std::unique_ptr<host::Table> results_;
};

/// Every how many-th of `count` to take, so that no more than `most` remain.
inline int thinning(int count, int most) { return (count + most - 1) / most; }

// The parts of the page.
nlohmann::json velocitySection(const Survey& survey);
/// @param version  of the program
nlohmann::json summary(const Survey& survey, const std::string& version);
nlohmann::json convergence(const Survey& survey);
nlohmann::json attributes(const Survey& survey);

/// All that the page shows. RunError where the data or the results cannot be read.
/// @param cdps      gathers to show beside those chosen by the report
/// @param warnings  about the job and its data
std::string reportData(const Survey& survey, const std::vector<int>& cdps, const std::string& version,
                       const std::vector<std::string>& warnings);

/// Gathers moved out with the old and the new velocities.
struct GatherParts {
  nlohmann::json gathers;   ///< a choice to look at
  nlohmann::json flatness;  ///< of a sample of the grid
};
/// @param cdps  gathers to show beside those chosen by the report. RunError for one that the data do not hold
GatherParts gathers(const Survey& survey, const std::vector<int>& cdps);

}  // namespace report
