#include "host/vector.h"

#include <cfloat>
#include <cmath>
#include <cstddef>
#include <utility>

#include "host/wide.h"

namespace host {

static_assert(FLT_EVAL_METHOD == 0, "every operation must round to its own type");

namespace {

struct Source {
  const float* first;
  std::ptrdiff_t stride;
};

/// y(m) = operation(sources(m) ...)
template <class Operation, class... Sources>
void each(float* y, std::ptrdiff_t stride, int n, Operation operation, Sources... sources) noexcept {
  if (stride == 1 && (... && (sources.stride == 1))) {
    KORVANE_INDEPENDENT
    for (std::ptrdiff_t m = 0; m < n; ++m) y[m] = operation(sources.first[m]...);
  } else {
    for (std::ptrdiff_t m = 0; m < n; ++m) y[m * stride] = operation(sources.first[m * sources.stride]...);
  }
}

}  // namespace

void vclr(float* y, const int& iy, const int& n) noexcept {
  each(y, iy, n, [] { return 0.0f; });
}

void vfill(const float& s, float* y, const int& iy, const int& n) noexcept {
  each(y, iy, n, [value = s] { return value; });
}

void vmov(const float* a, const int& ia, float* y, const int& iy, const int& n) noexcept {
  each(
      y, iy, n, [](float x) { return x; }, Source{a, ia});
}

KORVANE_WIDE void vadd(const float* a, const int& ia, const float* b, const int& ib, float* y, const int& iy,
                       const int& n) noexcept {
  each(
      y, iy, n, [](float x, float z) { return x + z; }, Source{a, ia}, Source{b, ib});
}

KORVANE_WIDE void vsub(const float* a, const int& ia, const float* b, const int& ib, float* y, const int& iy,
                       const int& n) noexcept {
  each(
      y, iy, n, [](float x, float z) { return x - z; }, Source{a, ia}, Source{b, ib});
}

KORVANE_WIDE void vmul(const float* a, const int& ia, const float* b, const int& ib, float* y, const int& iy,
                       const int& n) noexcept {
  each(
      y, iy, n, [](float x, float z) { return x * z; }, Source{a, ia}, Source{b, ib});
}

KORVANE_WIDE void vdivz(const float* a, const int& ia, const float* b, const int& ib, const float& z, float* y,
                        const int& iy, const int& n) noexcept {
  each(
      y, iy, n,
      [guard = z](float dividend, float divisor) {
        const float quotient = dividend / divisor;
        return divisor == 0.0f ? guard : quotient;
      },
      Source{a, ia}, Source{b, ib});
}

KORVANE_WIDE void vsqrtz(const float* a, const int& ia, const float& z, float* y, const int& iy,
                         const int& n) noexcept {
  each(
      y, iy, n,
      [guard = z](float x) {
        const float root = std::sqrt(x);
        return x > 0.0f ? root : guard;
      },
      Source{a, ia});
}

KORVANE_WIDE void vsma(const float* a, const int& ia, const float& s, const float* b, const int& ib, float* y,
                       const int& iy, const int& n) noexcept {
  each(
      y, iy, n, [factor = s](float x, float z) { return x * factor + z; }, Source{a, ia}, Source{b, ib});
}

KORVANE_WIDE void seg_vsmul(const float* a, const int& ia, const float& s, float* y, const int& iy,
                            const int& n) noexcept {
  each(
      y, iy, n, [factor = s](float x) { return factor * x; }, Source{a, ia});
}

void vrvrs(float* y, const int& iy, const int& n) noexcept {
  const std::ptrdiff_t stride = iy, last = std::ptrdiff_t{n} - 1;
  for (std::ptrdiff_t m = 0; m < last - m; ++m) std::swap(y[m * stride], y[(last - m) * stride]);
}

}  // namespace host
