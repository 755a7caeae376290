#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "host/local/segy_file.h"
#include "host/local/trace_index.h"

namespace host::local {

/// What samples of four bytes look like, whatever format they are said to have. Words of value 0 do not count.
class WordSurvey {
 public:
  void look(const unsigned char* samples, int count, bool littleEndian);

  std::int64_t words() const { return words_; }
  double notFinite() const;     ///< share of the words that are no finite number as IEEE floats
  double absurd() const;        ///< share beyond 1e-19 to 1e19 as IEEE floats
  double absurdAsIbm() const;   ///< share beyond 16^-33 to 16^32 as IBM floats
  double unnormalised() const;  ///< share with a leading digit of 0 as IBM floats
  double small() const;         ///< share below 2^24 as integers
  double decadesAsIeee() const { return decades(3, 0.30103); }  ///< between 5 % and 95 % of the magnitudes
  double decadesAsIbm() const { return decades(4, 1.20412); }
  /// Format code that the words look like; none where they do not tell.
  std::optional<int> format() const;

 private:
  double share(std::int64_t count) const;
  double decades(int shift, double step) const;

  // by the eleven bits behind the sign: seven of an IBM exponent and its leading digit, eight of an IEEE one and three
  std::array<std::int64_t, 2048> counts_{};
  std::int64_t words_ = 0, small_ = 0;
};

/// Amplitudes of traces.
struct SampleFindings {
  struct Loud {
    int trace;        ///< from 0
    double decibels;  ///< RMS over the median
  };
  using Louds = std::vector<Loud>;  ///< the loudest first
  std::int64_t traces = 0;          ///< whose samples were looked at
  Tally notFinite, zero, constant;  ///< constant: one value other than 0
  Tally silenced;                   ///< with a signal and a trace code that makes them dead
  double medianRms = 0.0;           ///< of the traces with a signal
  Louds loud;                       ///< more than loudFrom over the median of the file
  Louds wild;                       ///< in the last third, more than wildFrom over the median of traces of like offset
  std::int64_t notFiniteSamples = 0;
  int firstNotFinite = 0, lastNotFinite = 0;  ///< least and greatest number, from 1, of such a sample in its trace
  WordSurvey words;
  static constexpr double loudFrom = 20.0, wildFrom = 15.0;  ///< dB
};

/// Looks at the samples of traces, one after the other.
class SampleSurvey {
 public:
  explicit SampleSurvey(const SegyFile& file);
  /// @param raw     the trace as the file holds it
  /// @param live    by its trace code
  /// Whether all samples are finite.
  bool look(int trace, const unsigned char* raw, double offset, bool live);
  SampleFindings take();

 private:
  struct Level {
    int trace;
    float offset;     // without its sign
    float rms, late;  // of the trace, and of its last third, where first arrivals hide no noise
  };
  using Levels = std::vector<Level>::iterator;
  void countNotFinite();
  double rms(std::size_t from) const;
  static double medianOf(Levels from, Levels to, float Level::*what);
  static void addLoud(Levels from, Levels to, float Level::*what, double least, SampleFindings::Louds& loud);
  const SegyFile& file_;
  std::vector<float> samples_;
  std::vector<Level> levels_;
  SampleFindings findings_;
};

}  // namespace host::local
