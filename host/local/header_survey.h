#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/local/header_sample.h"

namespace host::local {

/// What a place in the trace headers looks like.
struct HeaderFinding {
  HeaderField field;
  std::string mapped;  ///< header that the layout has there; empty: none
  std::string looks;   ///< in a few words
  std::string why;     ///< what speaks for it
  double least = 0.0, greatest = 0.0;
};

/// The places of the trace headers, judged by how their values behave from trace to trace and against each other.
struct HeaderSurvey {
  int traces = 0;                            ///< judged
  std::vector<HeaderFinding> findings;       ///< by byte: the mapped places, and the others whose values change
  std::vector<HeaderFinding> constants;      ///< places that nothing maps, with one value other than 0
  HeaderLayout layout;                       ///< the given one, moved to where the headers were found
  std::map<std::string, std::string> moved;  ///< headers of the layout that moved, and what speaks for their new place
  std::map<std::string, std::string> missing;  ///< headers that a run needs and that were not found, and why
  std::vector<std::string> remarks;            ///< whole sentences, on what does not go together
  bool grid = false;                           ///< inlines and crosslines number a grid
  int zeroWord = 0;                            ///< byte of an int16 that is 0 throughout; 0: none
};

/// Judges the places by four rules: offsets are distances of source and receiver; a CDP gathers midpoints, but not
/// sources or receivers; an inline and a crossline together stand for one CDP; CDP positions are midpoints. Where there
/// are no coordinates, by runs of equal values alone. A header is moved only if its place in the layout is empty or
/// breaks its rule, and another place keeps it.
HeaderSurvey surveyHeaders(const HeaderSample& sample, const HeaderLayout& layout);

}  // namespace host::local
