#include <algorithm>
#include <cmath>

#include "avo/avo.h"
#include "host/wide.h"

namespace avo {

namespace {

constexpr double eps = 1.0e-40;   // smallest determinant treated as non-zero
constexpr int blockSamples = 64;  // samples whose cofactors stay in first-level cache

/// Cofactors and determinants of a block of samples. Both lists are indexed from 1; entry 0 stands for no selection.
struct Systems {
  double t[11][blockSamples], d[4][blockSamples];
  double sy[blockSamples], sx2y[blockSamples], sx4y[blockSamples];
};

/// The systems of `count` samples from row `from`, counted from 0.
KORVANE_WIDE void prepare(const float* s, int rows, int from, int count, double damping, Systems& system) {
  const auto sums = [=](int k) { return column(s, rows, k) + from; };
  const float *const sy = sums(sums::sy), *const sx2y = sums(sums::sx2y), *const sx4y = sums(sums::sx4y);
  const float *const sx0 = sums(sums::sx0), *const sx2 = sums(sums::sx2), *const sx4 = sums(sums::sx4);
  const float *const sx6 = sums(sums::sx6), *const sx8 = sums(sums::sx8);
  auto& t = system.t;
  auto& d = system.d;
  KORVANE_INDEPENDENT
  for (int i = 0; i < count; ++i) {
    const double s0 = static_cast<double>(sx0[i]), s2 = static_cast<double>(sx2[i]), s4 = static_cast<double>(sx4[i]);
    const double s6 = static_cast<double>(sx6[i]), s8 = static_cast<double>(sx8[i]);
    const double s4p = s4 - damping * s4;
    const double t5 = s0 * s4 - s2 * s2;
    const double t6 = s2 * s4p - s0 * s6;
    const double t7 = (s2 * s6 - s4 * s4) + s4 * (s4 * damping);
    system.sy[i] = static_cast<double>(sy[i]);
    system.sx2y[i] = static_cast<double>(sx2y[i]);
    system.sx4y[i] = static_cast<double>(sx4y[i]);
    t[0][i] = t[1][i] = d[0][i] = 0.0;
    t[2][i] = d[1][i] = s0;
    t[3][i] = -s2;
    t[4][i] = s4;
    t[5][i] = d[2][i] = t5;
    t[6][i] = t6;
    t[7][i] = t7;
    t[8][i] = s0 * s8 - s4p * s4p;
    t[9][i] = s6 * s4p - s2 * s8;
    t[10][i] = s4 * s8 - s6 * s6;
    d[3][i] = ((t5 * s8 + s6 * t6) + t7 * s4) + (s4 * s4p - s2 * s6) * (s4 * damping);
  }
}

/// One stage of a block: its cofactors a, b, c and determinant d.
KORVANE_WIDE void divide(const Systems& system, const double* a, const double* b, const double* c, const double* d,
                         int count, float* out) {
  KORVANE_INDEPENDENT
  for (int i = 0; i < count; ++i) {
    const double numerator = (system.sy[i] * a[i] + system.sx2y[i] * b[i]) + system.sx4y[i] * c[i];
    const double quotient = numerator / d[i];
    out[i] = d[i] > eps ? static_cast<float>(quotient) : 0.0f;
  }
}

}  // namespace

void a_matv(const float* s, float* out, const int* num, const int* nd, const int& nsamp, int& first, int& last,
            const int& nstg, const int& /*isz*/, const int& taper, const double& avop) noexcept {
  const int rows = nsamp, begin = first, end = last, stages = nstg, ramp = taper;
  const double damping = avop;
  const float minfld = static_cast<float>(std::max(nd[0], nd[1]));
  const float* const fold = column(s, rows, sums::sx0);
  const auto enough = [=](int i) { return std::round(fold[i - 1]) >= minfld; };
  int newfirst = begin, newlast = end;
  while (newfirst <= end && !enough(newfirst)) ++newfirst;
  if (newfirst > end) newfirst = end;
  while (newlast >= begin && !enough(newlast)) --newlast;
  if (newlast < begin) newlast = begin;
  first = newfirst;
  last = newlast;

  Systems system;
  for (int from = newfirst - 1; from < newlast; from += blockSamples) {
    const int count = std::min(blockSamples, newlast - from);
    prepare(s, rows, from, count, damping, system);
    for (int g = 0; g < stages; ++g) {
      divide(system, system.t[num[g]], system.t[num[g + 3]], system.t[num[g + 6]], system.d[nd[g]], count,
             column(out, rows, g) + from);
    }
  }

  if (ramp <= 0) return;
  for (int g = 0; g < stages; ++g) {
    float* const result = column(out, rows, g);
    for (int k = 0; k <= std::min(ramp, rows - newfirst); ++k)
      result[newfirst - 1 + k] *= static_cast<float>(k) / static_cast<float>(ramp);
    for (int k = std::min(ramp, newlast); k >= 1; --k)
      result[newlast - k] *= static_cast<float>(k) / static_cast<float>(ramp);
  }
}

}  // namespace avo
