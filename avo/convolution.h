#pragma once

namespace avo {

/// A filter whose lags are evenly spaced: tap j, counted from 0, has lag first_lag + j lag_step.
struct Filter {
  const float* taps;
  int count;
  int first_lag, lag_step;  ///< lag_step at least 1
};

/// Convolution of a trace with a filter on samples from .. to - 1, counted from 0; the other samples become 0.
///
///     b[i] = sum over the taps f of lag L of f a[i - L]        a zero outside the trace
///
/// The terms are added to 0 in ascending lag.
///
/// @param[in]  a  a[samples]  input
/// @param[out] b  b[samples]  output
void convolve(const float* a, const Filter& filter, float* b, int samples, int from, int to) noexcept;

}  // namespace avo
