#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/local/segy_file.h"

namespace host::local {

/// The values of a trace header over a file, in the units of the file.
struct HeaderRange {
  std::string name;
  HeaderField field;
  double least = 0.0;
  double greatest = 0.0;
  std::int64_t zeros = 0;  ///< traces with the value 0
  bool constant() const { return least == greatest; }
};

/// What is in a SEG-Y file.
struct SegyScan {
  SegyInput input;
  SegyFacts facts;
  std::vector<HeaderRange> headers;   ///< by byte
  std::map<int, int> traceCodes;      ///< traces by TRC_TYPE
  std::int64_t liveTraces = 0;        ///< trace code 1 or 0, all samples finite
  std::int64_t notFiniteTraces = 0;   ///< with a sample that is no finite number
  std::optional<int> firstNotFinite;  ///< trace from 1
  int ensembles = 0;                  ///< distinct values of the primary key
  std::map<int, int> folds;           ///< ensembles by number of traces
  int firstKey = 0;                   ///< least value of the primary key
  int lastKey = 0;
  int largestKey = 0;   ///< primary key of the largest ensemble
  bool inOrder = true;  ///< every ensemble is one run of traces, and they ascend

  const HeaderRange& header(const std::string& name) const;
  int largestEnsemble() const { return folds.empty() ? 0 : folds.rbegin()->first; }  ///< traces
};

/// Reads every header and sample of a file once. A file that is cut inside a trace is read as far as it goes.
SegyScan scanSegy(const SegyInput& input, MessageSink& messages);

/// A job file (TOML) to start from: ranges from the scan, the rest usual values with a remark.
std::string suggestJob(const SegyScan& scan);

}  // namespace host::local
