#pragma once

#include <vector>

namespace solution {

/// Limits and constants of a_sanewv that do not change from one velocity function to the next; see there.
struct RevisionLimits {
  int it0;        ///< time of sample 1, ms
  float fs, wf0;  ///< sampling rate and reference frequency, Hz
  float q;        ///< quality factor
  int fsa, lsa;   ///< first and last sample revised
  int miniv, maxiv;
  float minpct, maxpct, mindv, maxdv;
  int minsv, maxsv;
  int vtime, vpow;
};

/// Revises velocity functions as a_sanewv does, to the same bits, several side by side: what depends on the sample
/// alone is formed once, and the functions go down the trace in step, one a vector lane.
class VelocityRevision {
 public:
  static constexpr int lanes = 16;  ///< functions that go side by side

  VelocityRevision(int ns, const RevisionLimits& limits);

  /// @param[in,out] dv     count rows of ns: indicators, replaced by velocity ratios
  /// @param[in,out] vrms   count rows of ns: RMS velocities, revised
  /// @param[in]     count  functions, 0 .. lanes
  /// @param[out]    held   count: samples of fsa + 1 .. lsa whose ratio a limit determined
  void revise(float* const* dv, float* const* vrms, int count, int* held) const noexcept;

 private:
  int ns_;
  RevisionLimits limits_;
  std::vector<double> cycles_, damping_;  ///< per sample of fsa .. lsa: divisors of the indicator
};

}  // namespace solution
