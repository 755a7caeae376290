#pragma once

#include <string>
#include <vector>

#include "host/local/header_sample.h"
#include "host/local/trace_groups.h"

namespace host::local {

/// The values of a place of the trace headers over a sample, and how they go on from trace to neighbouring trace.
struct HeaderColumn {
  HeaderField field;
  TraceValues values;  ///< those that are no finite number are 0, as in a run
  double least = 0.0, greatest = 0.0;
  int distinct = 0;
  int neighbours = 0, same = 0, up = 0;     ///< pairs of neighbours; of equal values; of values that go up by one
  int rising = 0, falling = 0, steady = 0;  ///< pairs with a greater, a lesser value; with the difference of the first
  double step = 0.0;                        ///< that difference
  bool whole = true;                        ///< numbers without a fraction
  std::string mapped;                       ///< header that the layout has there; empty: none
  std::string looks, why;                   ///< what the place was judged to be; empty until it is

  HeaderColumn(const HeaderSample& sample, HeaderField place, const std::string& name = {});

  bool varies() const { return distinct > 1; }
  bool isZero() const { return distinct == 1 && least == 0.0; }
  bool isMost(int pairs) const { return neighbours > 0 && pairs >= 0.98 * neighbours; }
  bool counts() const { return isMost(up); }
  /// Neighbouring traces share a value, which does not come back once it is over.
  bool inRuns(int stretches) const;
  bool isTaken() const { return !mapped.empty() || !looks.empty(); }
  /// Judges the place, unless it has been.
  void say(const std::string& what, const std::string& reason);
};

/// Every place by byte: those of the layout, and the others that are not 0 throughout, as numbers of the width and kind
/// that make sense of them. An OFFSET of 32 bits that holds floats becomes float32 in the layout.
std::vector<HeaderColumn> readColumns(const HeaderSample& sample, HeaderLayout& layout);

/// Byte of the first int16 from byte 121 to 180 that nothing maps and that is 0 throughout; 0: none.
int findZeroWord(const HeaderSample& sample, const HeaderLayout& layout);

}  // namespace host::local
