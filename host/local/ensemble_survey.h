#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <unordered_map>
#include <vector>

#include "host/local/trace_index.h"

namespace host::local {

/// How the traces of a file form ensembles.
struct EnsembleFindings {
  int ensembles = 0;              ///< distinct keys
  std::map<int, int> folds;       ///< ensembles by number of traces
  int firstKey = 0, lastKey = 0;  ///< least and greatest
  int largestKey = 0;             ///< of the largest ensemble
  bool inOrder = true;            ///< every ensemble is one stretch of traces, and they ascend
  int split = 0;                  ///< ensembles in more than one stretch
  int firstSplit = 0;             ///< least key of those
  int step = 0;                   ///< between neighbouring keys; 0: one ensemble
  std::int64_t missing = 0;       ///< keys between first and last, in that step
  int firstMissing = 0;
  std::int64_t compared = 0;  ///< traces whose key and offset were compared with all others
  Tally repeated;             ///< of those, with key and offset of an earlier one
  std::int64_t sameSpot = 0;  ///< of those, with its source and receiver too

  int largest() const { return folds.empty() ? 0 : folds.rbegin()->first; }  ///< traces
  /// The fold that three quarters of the ensembles reach.
  int usual() const;
};

/// Takes traces in file order. Memory follows the ensembles, not the traces.
class EnsembleSurvey {
 public:
  /// @param spot  stands for the positions of source and receiver
  void look(int trace, int key, double offset, std::uint64_t spot);
  EnsembleFindings take();

 private:
  struct Entry {
    int key, traces, stretches;
  };
  void merge();
  void compare(int trace, int key, double offset, std::uint64_t spot);

  std::vector<Entry> entries_;
  std::size_t limit_ = 4096;  // entries before equal keys are merged
  EnsembleFindings findings_;

  // Of many traces those are compared whose hash has so many zeros at its end: equal ones are both among them.
  std::unordered_map<std::uint64_t, std::uint64_t> spots_;  // by the hash of key and offset
  int zeros_ = 0;
};

}  // namespace host::local
