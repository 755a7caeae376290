#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

namespace host::local {

/// Where the ensembles of a file stand: runs of neighbouring traces with one key (12 bytes a run, so at most that a
/// trace). Sorted, the runs of an ensemble follow one another in file order, and the ensembles ascend.
class TraceIndex {
 public:
  struct Run {
    std::int32_t key;
    std::int32_t first;  ///< trace from 0
    std::int32_t traces;
  };

  /// Adds the next trace of the file.
  void add(std::int32_t key) {
    if (runs_.empty() || runs_.back().key != key) runs_.push_back({key, traces_, 0});
    ++runs_.back().traces;
    ++traces_;
  }

  void sort() {
    const auto place = [](const Run& run) { return std::pair(run.key, run.first); };
    std::sort(runs_.begin(), runs_.end(), [&](const Run& a, const Run& b) { return place(a) < place(b); });
    runs_.shrink_to_fit();
  }

  const std::vector<Run>& runs() const { return runs_; }

  /// Index of the run behind the ensemble that begins with the given one.
  std::size_t behind(std::size_t run) const {
    const std::int32_t key = runs_[run].key;
    while (run < runs_.size() && runs_[run].key == key) ++run;
    return run;
  }

 private:
  std::vector<Run> runs_;
  std::int32_t traces_ = 0;
};

}  // namespace host::local
