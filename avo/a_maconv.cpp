#include <algorithm>
#include <cstdlib>

#include "avo/avo.h"
#include "host/vector.h"
#include "host/wide.h"

namespace avo {

namespace {

constexpr int blockSamples = 64;  // output samples whose sums stay in registers over all taps

/// Output samples `from` .. `from` + blockSamples - 1, counted from 0, where every tap finds its input sample.
KORVANE_WIDE void convolve_block(const float* a, const float* f, float* b, int from, int taps, int noabs) {
  float sum[blockSamples];
  for (float& value : sum) value = 0.0f;
  for (int j = 1; j <= taps; ++j) {
    const float tap = f[j - 1];
    const float* const input = a + (from + noabs - j);
    for (int i = 0; i < blockSamples; ++i) sum[i] += tap * input[i];
  }
  for (int i = 0; i < blockSamples; ++i) b[from + i] = sum[i];
}

/// Output samples from .. to - 1, counted from 0; input samples outside the trace are left out.
void convolve_edge(const float* a, const float* f, float* b, int from, int to, int samples, int taps, int noabs) {
  for (int j = 1; j <= taps; ++j) {
    const float tap = f[j - 1];
    const int lag = j - noabs;
    for (int i = std::max(from, lag); i < std::min(to, samples + lag); ++i) b[i] += tap * a[i - lag];
  }
}

}  // namespace

void a_maconv(const float* a, const float* f, float* b, const int& nab, const int& nf, const int& noff) noexcept {
  const int samples = nab, taps = nf, noabs = std::abs(noff);

  host::vclr(b, 1, samples);
  // whole blocks between the samples that miss an input sample at the head and at the tail
  const int begin = std::max(taps - noabs, 0), end = std::min(samples - noabs + 1, samples);
  const int blocks = taps > 0 ? std::max(end - begin, 0) / blockSamples : 0;
  const int inner = begin + blocks * blockSamples;
  if (blocks == 0) return convolve_edge(a, f, b, 0, samples, samples, taps, noabs);
  convolve_edge(a, f, b, 0, begin, samples, taps, noabs);
  for (int from = begin; from < inner; from += blockSamples) convolve_block(a, f, b, from, taps, noabs);
  convolve_edge(a, f, b, inner, samples, samples, taps, noabs);
}

}  // namespace avo
