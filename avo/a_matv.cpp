#include <algorithm>
#include <cmath>

#include "avo/avo.h"

namespace avo {

namespace {

constexpr double eps = 1.0e-40;  // smallest determinant treated as non-zero

}  // namespace

void a_matv(const float* s, float* out, const int* num, const int* nd, const int& nsamp, int& first, int& last,
            const int& nstg, const int& /*isz*/, const int& taper, const double& avop) noexcept {
  const int rows = nsamp, begin = first, end = last, stages = nstg, ramp = taper;
  const double damping = avop;
  const auto sum = [=](int k, int i) { return static_cast<double>(column(s, rows, k)[i - 1]); };

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

  for (int i = newfirst; i <= newlast; ++i) {
    const double sy = sum(sums::sy, i), sx2y = sum(sums::sx2y, i), sx4y = sum(sums::sx4y, i);
    const double s0 = sum(sums::sx0, i), s2 = sum(sums::sx2, i), s4 = sum(sums::sx4, i), s6 = sum(sums::sx6, i),
                 s8 = sum(sums::sx8, i);
    const double s4p = s4 - damping * s4;
    const double t5 = s0 * s4 - s2 * s2;
    const double t6 = s2 * s4p - s0 * s6;
    const double t7 = (s2 * s6 - s4 * s4) + s4 * (s4 * damping);
    // Both lists are indexed from 1; entry 0 stands for no selection.
    const double t[] = {0.0, 0.0, s0, -s2, s4, t5, t6, t7, s0 * s8 - s4p * s4p, s6 * s4p - s2 * s8, s4 * s8 - s6 * s6};
    const double d[] = {0.0, s0, t5, ((t5 * s8 + s6 * t6) + t7 * s4) + (s4 * s4p - s2 * s6) * (s4 * damping)};
    for (int g = 0; g < stages; ++g) {
      const double determinant = d[nd[g]];
      float& result = column(out, rows, g)[i - 1];
      result = 0.0f;
      if (determinant > eps)
        result = static_cast<float>(((sy * t[num[g]] + sx2y * t[num[g + 3]]) + sx4y * t[num[g + 6]]) / determinant);
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
