#include "avo/convolution.h"

#include <algorithm>

#include "host/vector.h"
#include "host/wide.h"

namespace avo {

namespace {

constexpr int blockSamples = 64;  // output samples whose sums stay in registers over all taps

/// Output samples `from` .. `from` + blockSamples - 1, where every tap finds its input sample.
KORVANE_WIDE void convolve_block(const float* a, const Filter& filter, float* b, int from) {
  float sum[blockSamples];
  for (float& value : sum) value = 0.0f;
  const float* input = a + (from - filter.first_lag);
  for (int j = 0; j < filter.count; ++j, input -= filter.lag_step) {
    const float tap = filter.taps[j];
    for (int i = 0; i < blockSamples; ++i) sum[i] += tap * input[i];
  }
  for (int i = 0; i < blockSamples; ++i) b[from + i] = sum[i];
}

/// Output samples from .. to - 1; input samples outside the trace are left out.
KORVANE_WIDE void convolve_edge(const float* a, const Filter& filter, float* b, int samples, int from, int to) {
  for (int j = 0; j < filter.count; ++j) {
    const float tap = filter.taps[j];
    const int lag = filter.first_lag + j * filter.lag_step;
    const int begin = std::max(from, lag), end = std::min(to, samples + lag);
    KORVANE_INDEPENDENT
    for (int i = begin; i < end; ++i) b[i] += tap * a[i - lag];
  }
}

}  // namespace

void convolve(const float* a, const Filter& filter, float* b, int samples, int from, int to) noexcept {
  host::vclr(b, 1, samples);
  if (filter.count < 1) return;
  // whole blocks between the samples that miss an input sample at the head and at the tail
  const int last_lag = filter.first_lag + (filter.count - 1) * filter.lag_step;
  const int begin = std::clamp(last_lag, from, std::max(from, to));
  const int end = std::min(samples + filter.first_lag, to);
  if (end - begin < blockSamples) return convolve_edge(a, filter, b, samples, from, to);
  convolve_edge(a, filter, b, samples, from, begin);
  for (int i = begin; i < end - blockSamples; i += blockSamples) convolve_block(a, filter, b, i);
  convolve_block(a, filter, b, end - blockSamples);  // may form some samples again
  convolve_edge(a, filter, b, samples, end, to);
}

}  // namespace avo
