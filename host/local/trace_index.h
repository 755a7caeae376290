#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/local/position.h"
#include "host/local/segy_file.h"

namespace host::local {

/// Traces that have something in common: how many, and which came first.
struct Tally {
  std::int64_t traces = 0;
  std::int64_t first = 0;  ///< from 0

  void count(int trace) {
    if (traces++ == 0) first = trace;
  }
  explicit operator bool() const { return traces > 0; }
  std::string text() const;
};

/// Neighbouring traces of one ensemble.
struct TraceRun {
  std::uint32_t first : 31;  ///< trace from 0
  std::uint32_t opens : 1;   ///< 1: the first run of its ensemble
  std::int32_t traces;
};

/// The first live trace of a CDP: what its header says of the position, in the formats of the file.
struct CdpRecord {
  std::int32_t cdp;
  std::uint32_t x, y;
  std::int32_t scalar;
};

/// What one look at all trace headers tells. 8 bytes a run and 16 a CDP: at most 24 a trace.
struct TraceIndex {
  std::vector<TraceRun> runs;   ///< the ensembles ascending in the primary key, the runs of one in file order
  std::vector<CdpRecord> cdps;  ///< ascending in the CDP
  struct Findings {
    std::int64_t positions = 0;  ///< live traces with a position other than the origin
    Tally live, otherSampling;
    std::int64_t firstCode = 0;  ///< trace code of the first trace
  } findings;

  /// Index of the run behind the ensemble that opens with the given one.
  std::size_t behind(std::size_t run) const;
  /// Traces of the largest ensemble.
  int largestEnsemble() const;
  /// Position of a CDP; none where the file holds no positions, or not two finite numbers.
  std::optional<Position> find(int cdp, const HeaderLayout& layout) const;
};

/// Reads all trace headers of a file whose ensembles are formed by the given header.
TraceIndex indexTraces(const SegyFile& file, HeaderField key);

}  // namespace host::local
