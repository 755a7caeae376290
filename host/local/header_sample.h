#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include "host/local/segy_file.h"

namespace host::local {

/// Trace headers of a file: all of them or, of a large file, stretches of neighbours spread over it.
class HeaderSample {
 public:
  static constexpr std::size_t headerBytes = 240;  ///< of a trace

  /// @param most  traces to be read at most
  HeaderSample(const SegyFile& file, int most);

  int traces() const { return static_cast<int>(follows_.size()); }
  int stretches() const { return static_cast<int>(std::count(follows_.begin(), follows_.end(), false)); }
  /// Whether the trace before this one of the sample is the one before it in the file too.
  bool follows(int trace) const { return follows_[static_cast<std::size_t>(trace)]; }
  std::vector<double> values(HeaderField field) const;

 private:
  const SegyFile& file_;
  std::vector<unsigned char> headers_;  // 240 bytes a trace
  std::vector<bool> follows_;
};

}  // namespace host::local
