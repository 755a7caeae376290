#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "host/vector.h"
#include "host/wide.h"
#include "moveout/moveout.h"

namespace moveout {

namespace {

constexpr int blockSamples = 64;  // output samples whose positions are found together

/// What all output samples of a call share.
struct Geometry {
  float offset2, start, interval;
  float half;                  ///< taps in front of the position
  float base_begin, base_end;  ///< bases between the two are valid
  float behind_trace;          ///< base that reads the zeros behind the trace
};

/// Where the filters of `count` samples lie: the input sample of the first tap, and the column of the bank, from 0.
/// Samples are numbered from `first`; sloth belongs to the first of them.
KORVANE_WIDE void find_positions(const Geometry& g, const float* sloth, int first, int count, int* base, int* column) {
  const Geometry geometry = g;
  for (int i = 0; i < count; ++i) {
    const float zero_offset_time = static_cast<float>(first - 1 + i) * geometry.interval + geometry.start;
    const float time = std::sqrt(sloth[i] * geometry.offset2 + zero_offset_time * zero_offset_time);
    const float position = ((time - geometry.start) / geometry.interval - geometry.half) + 0.495f;
    // Bases stay floats: a position may be infinite or not a number, and is then refused by the comparisons.
    const float nearest = std::floor(position + 0.5f);
    const float place = (position - nearest) * 100.0f + 51.0f;
    const float upper = place < 100.0f ? place : 100.0f;
    const float clamped = upper > 1.0f ? upper : 1.0f;
    const float early = nearest > geometry.base_begin ? nearest : geometry.behind_trace;
    const float valid = early < geometry.base_end ? early : geometry.behind_trace;
    base[i] = static_cast<int>(valid + 1.0f);
    column[i] = static_cast<int>(clamped) - 1;
  }
}

using Quad = float __attribute__((vector_size(16)));
using Oct = float __attribute__((vector_size(32)));

constexpr int lanes = 8;  // output samples that are formed side by side

[[gnu::always_inline]] inline void load(const float* low, const float* high, Oct& values) {
  Quad a, b;
  std::memcpy(&a, low, sizeof a);
  std::memcpy(&b, high, sizeof b);
  values = __builtin_shufflevector(a, b, 0, 1, 2, 3, 4, 5, 6, 7);
}

/// Eight output samples at a time: their products are formed along the taps, where filter and input are contiguous, and
/// turned over in blocks of four by four, so that each lane adds up the taps of its sample in ascending order from 0.
template <int taps>
[[gnu::always_inline]] inline void interpolate(const float* coef, const float* sample_zero, int count, const int* base,
                                               const int* column, float* out) {
  constexpr int quads = (taps + 3) / 4;
  // the last quad of 10 taps overlaps the one before it
  const auto first_tap = [](int q) { return std::min(4 * q, taps - 4); };
  for (int i = 0; i < count; i += lanes) {
    Oct product[quads][4];  // of samples k and k + 4
    for (int k = 0; k < 4; ++k) {
      const float* const c0 = coef + column[i + k] * taps;
      const float* const c1 = coef + column[i + k + 4] * taps;
      const float* const x0 = sample_zero + base[i + k];
      const float* const x1 = sample_zero + base[i + k + 4];
      for (int q = 0; q < quads; ++q) {
        Oct c, x;
        load(c0 + first_tap(q), c1 + first_tap(q), c);
        load(x0 + first_tap(q), x1 + first_tap(q), x);
        product[q][k] = c * x;
      }
    }
    Oct sum{};
    for (int q = 0; q < quads; ++q) {
      const auto& r = product[q];
      const Oct low01 = __builtin_shufflevector(r[0], r[1], 0, 8, 1, 9, 4, 12, 5, 13);
      const Oct low23 = __builtin_shufflevector(r[2], r[3], 0, 8, 1, 9, 4, 12, 5, 13);
      const Oct high01 = __builtin_shufflevector(r[0], r[1], 2, 10, 3, 11, 6, 14, 7, 15);
      const Oct high23 = __builtin_shufflevector(r[2], r[3], 2, 10, 3, 11, 6, 14, 7, 15);
      if (first_tap(q) == 4 * q) {
        sum = __builtin_shufflevector(low01, low23, 0, 1, 8, 9, 4, 5, 12, 13) + sum;
        sum = __builtin_shufflevector(low01, low23, 2, 3, 10, 11, 6, 7, 14, 15) + sum;
      }
      sum = __builtin_shufflevector(high01, high23, 0, 1, 8, 9, 4, 5, 12, 13) + sum;
      sum = __builtin_shufflevector(high01, high23, 2, 3, 10, 11, 6, 7, 14, 15) + sum;
    }
    std::memcpy(out + i, &sum, sizeof sum);
  }
}

/// `count` output samples; base, column and out have room for whole lanes.
KORVANE_WIDE void interpolate(const float* coef, int taps, const float* sample_zero, int count, const int* base,
                              const int* column, float* out) {
  switch (taps) {
    case 12:
      return interpolate<12>(coef, sample_zero, count, base, column, out);
    case 10:
      return interpolate<10>(coef, sample_zero, count, base, column, out);
    case 8:
      return interpolate<8>(coef, sample_zero, count, base, column, out);
    case 4:
      return interpolate<4>(coef, sample_zero, count, base, column, out);
  }
  for (int i = 0; i < count; ++i) {
    const float* const coefficient = coef + column[i] * taps;
    const float* const input = sample_zero + base[i];
    float sum = 0.0f;
    for (int j = 0; j < taps; ++j) sum = coefficient[j] * input[j] + sum;
    out[i] = sum;
  }
}

}  // namespace

void a_samvot(const float* trin, const float* sloth, float* coef, float* trout, float* /*trcoef*/, float* /*ifrc*/,
              const int& nsin, const int& ncoef, const int& fsa, const int& lsa, const float& xoff, const int& iflv,
              const float& t0, const float& tsamp, int& nflv, int& nllv) noexcept {
  const int samples = nsin, taps = ncoef, first = fsa, last = lsa, first_live = iflv;
  const int middle = taps / 2;  // tap, from 0, on the sample behind the position
  const Geometry geometry{.offset2 = xoff * xoff,
                          .start = t0,
                          .interval = tsamp,
                          .half = static_cast<float>(middle),
                          .base_begin = static_cast<float>(first_live - taps),
                          .base_end = static_cast<float>(samples),
                          .behind_trace = static_cast<float>(samples) + 0.5f};

  float* const whole_sample = coef + static_cast<std::ptrdiff_t>(99) * taps;
  for (int j = 0; j < taps; ++j) whole_sample[j] = j == middle ? 1.0f : 0.0f;
  if (first > last) {
    nflv = 0;
    nllv = 0;
    return;
  }

  const int n = last - first + 1;
  const float* const sample_zero = trin + (taps - 1);
  float* const out = trout + (first - 1);
  bool has_centre = true;  // every filter has a coefficient behind the position
  for (int k = 0; k < 100; ++k) has_centre = has_centre && coef[k * taps + middle] != 0.0f;
  int from = n, to = -1;  // samples, from 0, whose filter has one
  for (int m = 0; m < n; m += blockSamples) {
    const int count = std::min(blockSamples, n - m);
    int base[blockSamples], column[blockSamples];
    find_positions(geometry, sloth + first + m, first + m, count, base, column);
    // the last lanes are filled up with the last sample
    for (int i = count; i % lanes != 0; ++i) {
      base[i] = base[count - 1];
      column[i] = column[count - 1];
    }
    float moved[blockSamples];
    interpolate(coef, taps, sample_zero, count, base, column, moved);
    std::copy_n(moved, count, out + m);
    for (int i = 0; i < count && !has_centre; ++i) {
      if (coef[column[i] * taps + middle] == 0.0f) continue;
      from = std::min(from, m + i);
      to = m + i;
    }
  }
  if (has_centre) {
    from = 0;
    to = n - 1;
  }

  // What lies outside the first and the last coefficient that is not zero stays 0.
  from = std::min(from, n - 1);
  to = std::max(to, 0);
  host::vclr(out, 1, from);
  host::vclr(out + to + 1, 1, n - 1 - to);
  nflv = first + from;
  nllv = first + to;
}

}  // namespace moveout
