#include <algorithm>
#include <cmath>
#include <cstddef>

#include "host/vector.h"
#include "moveout/moveout.h"

namespace moveout {

void a_samvot(const float* trin, const float* sloth, float* coef, float* trout, float* trcoef, float* ifrc,
              const int& nsin, const int& ncoef, const int& fsa, const int& lsa, const float& xoff, const int& iflv,
              const float& t0, const float& tsamp, int& nflv, int& nllv) noexcept {
  const int samples = nsin, taps = ncoef, first = fsa, last = lsa, first_live = iflv;
  const float offset2 = xoff * xoff, start = t0, interval = tsamp;
  const int middle = taps / 2;  // tap, from 0, on the sample behind the position

  float* const whole_sample = coef + static_cast<std::ptrdiff_t>(99) * taps;
  for (int j = 0; j < taps; ++j) whole_sample[j] = j == middle ? 1.0f : 0.0f;
  if (first > last) {
    nflv = 0;
    nllv = 0;
    return;
  }

  // All arrays below count from 0 at sample fsa. trout carries first the positions, then the filter bases.
  const int n = last - first + 1;
  float* const out = trout + (first - 1);
  const float half = static_cast<float>(middle);
  for (int m = 0; m < n; ++m) {
    const float zero_offset_time = static_cast<float>(first - 1 + m) * interval + start;
    const float time = std::sqrt(sloth[first + m] * offset2 + zero_offset_time * zero_offset_time);
    out[m] = ((time - start) / interval - half) + 0.495f;
  }

  // Bases stay floats: a position may be infinite or not a number, and is then refused by the comparisons.
  const float base_end = static_cast<float>(samples);
  const float base_begin = static_cast<float>(first_live - taps);
  const float behind_trace = static_cast<float>(samples) + 0.5f;
  for (int m = 0; m < n; ++m) {
    const float position = out[m];
    const float base = std::floor(position + 0.5f);
    const float column = (position - base) * 100.0f + 51.0f;
    out[m] = base < base_end && base > base_begin ? base : behind_trace;
    ifrc[m] = column >= 1.0f ? std::min(column, 100.0f) : 1.0f;
  }

  const auto coefficients = [=](int j) { return trcoef + static_cast<std::ptrdiff_t>(j) * n; };
  const auto inputs = [=](int j) { return trcoef + static_cast<std::ptrdiff_t>(taps + j) * n; };
  const float* const sample_zero = trin + (taps - 1);
  for (int j = 0; j < taps; ++j) {
    const float tap = static_cast<float>(j + 1);
    float* const coefficient = coefficients(j);
    float* const input = inputs(j);
    for (int m = 0; m < n; ++m) {
      coefficient[m] = coef[(static_cast<int>(ifrc[m]) - 1) * taps + j];
      input[m] = sample_zero[static_cast<int>(out[m] + tap)];
    }
  }

  const float* const centre = coefficients(middle);
  int from = 0, to = n - 1;
  while (from < n - 1 && centre[from] == 0.0f) ++from;
  while (to > 0 && centre[to] == 0.0f) --to;
  nflv = first + from;
  nllv = first + to;

  host::vclr(out, 1, n);
  for (int j = 0; j < taps; ++j) {
    const float* const coefficient = coefficients(j);
    const float* const input = inputs(j);
    for (int m = from; m <= to; ++m) out[m] = coefficient[m] * input[m] + out[m];
  }
}

}  // namespace moveout
