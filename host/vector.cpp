#include "host/vector.h"

#include <cfloat>
#include <cmath>
#include <cstddef>
#include <utility>

namespace host {

static_assert(FLT_EVAL_METHOD == 0, "every operation must round to its own type");

namespace {

/// y(m) = result(m), m counted from 0.
template <class Result>
void each(float* y, int stride, int n, Result result) noexcept {
  for (std::ptrdiff_t m = 0; m < n; ++m) y[m * stride] = result(m);
}

}  // namespace

void vclr(float* y, const int& iy, const int& n) noexcept {
  each(y, iy, n, [](std::ptrdiff_t) { return 0.0f; });
}

void vfill(const float& s, float* y, const int& iy, const int& n) noexcept {
  const float value = s;
  each(y, iy, n, [=](std::ptrdiff_t) { return value; });
}

void vmov(const float* a, const int& ia, float* y, const int& iy, const int& n) noexcept {
  const int ka = ia;
  each(y, iy, n, [=](std::ptrdiff_t m) { return a[m * ka]; });
}

void vadd(const float* a, const int& ia, const float* b, const int& ib, float* y, const int& iy,
          const int& n) noexcept {
  const int ka = ia, kb = ib;
  each(y, iy, n, [=](std::ptrdiff_t m) { return a[m * ka] + b[m * kb]; });
}

void vsub(const float* a, const int& ia, const float* b, const int& ib, float* y, const int& iy,
          const int& n) noexcept {
  const int ka = ia, kb = ib;
  each(y, iy, n, [=](std::ptrdiff_t m) { return a[m * ka] - b[m * kb]; });
}

void vmul(const float* a, const int& ia, const float* b, const int& ib, float* y, const int& iy,
          const int& n) noexcept {
  const int ka = ia, kb = ib;
  each(y, iy, n, [=](std::ptrdiff_t m) { return a[m * ka] * b[m * kb]; });
}

void vdivz(const float* a, const int& ia, const float* b, const int& ib, const float& z, float* y, const int& iy,
           const int& n) noexcept {
  const int ka = ia, kb = ib;
  const float guard = z;
  each(y, iy, n, [=](std::ptrdiff_t m) { return b[m * kb] == 0.0f ? guard : a[m * ka] / b[m * kb]; });
}

void vsqrtz(const float* a, const int& ia, const float& z, float* y, const int& iy, const int& n) noexcept {
  const int ka = ia;
  const float guard = z;
  each(y, iy, n, [=](std::ptrdiff_t m) { return a[m * ka] > 0.0f ? std::sqrt(a[m * ka]) : guard; });
}

void vsma(const float* a, const int& ia, const float& s, const float* b, const int& ib, float* y, const int& iy,
          const int& n) noexcept {
  const int ka = ia, kb = ib;
  const float factor = s;
  each(y, iy, n, [=](std::ptrdiff_t m) { return a[m * ka] * factor + b[m * kb]; });
}

void seg_vsmul(const float* a, const int& ia, const float& s, float* y, const int& iy, const int& n) noexcept {
  const int ka = ia;
  const float factor = s;
  each(y, iy, n, [=](std::ptrdiff_t m) { return factor * a[m * ka]; });
}

void vrvrs(float* y, const int& iy, const int& n) noexcept {
  const std::ptrdiff_t stride = iy, last = std::ptrdiff_t{n} - 1;
  for (std::ptrdiff_t m = 0; m < last - m; ++m) std::swap(y[m * stride], y[(last - m) * stride]);
}

}  // namespace host
