#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "host/local/ensemble_survey.h"
#include "host/local/header_survey.h"
#include "host/local/sample_survey.h"
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

/// How much of a large file a scan looks at. Every header is read, whatever the size.
struct ScanLimits {
  int judgedHeaders = 8192;                         ///< traces whose headers are judged by their behaviour
  std::int64_t wholeBytes = std::int64_t{1} << 30;  ///< of a larger file not every sample is looked at
  int sampledTraces = 4096;                         ///< but those of so many traces, spread over it
};

/// What is in a SEG-Y file.
struct SegyScan {
  SegyInput input;  ///< its layout is the one of the survey
  SegyFacts facts;
  HeaderSurvey survey;                                             ///< the ranges in it are those of the whole file
  std::vector<HeaderRange> headers;                                ///< of the layout, by byte
  std::map<int, int> traceCodes;                                   ///< traces by TRC_TYPE
  std::map<int, int> coordinateScalars, elevationScalars, delays;  ///< traces by value; delays in ms
  Tally otherSampling;          ///< samples or interval of the trace header not those in use
  std::int64_t liveTraces = 0;  ///< trace code 1 or 0, no sample seen that is not finite
  SampleFindings samples;
  EnsembleFindings ensembles;

  const HeaderRange& header(const std::string& name) const;
  /// Sample format that the samples look like, where it is not the one in use; 0: none.
  int otherFormat() const;
  /// Traces with a signal, none of which is live by its code.
  bool isSilenced() const { return liveTraces == 0 && samples.silenced; }
};

/// Judges the headers of a sample of the traces, then reads every header once. A file that is cut inside a trace is
/// read as far as it goes.
SegyScan scanSegy(const SegyInput& input, MessageSink& messages, const ScanLimits& limits = {});

}  // namespace host::local
