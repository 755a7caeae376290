#include <algorithm>
#include <cstddef>
#include <cstdio>

#include "moveout/moveout.h"

namespace moveout {

void a_swlev(const float* x, const int& incx, const float* u, const int& incu, float* y, const int& incy, const int& n,
             double* aux) noexcept {
  if (incx != 1 || incu != 1) return;
  const int order = n;
  const std::ptrdiff_t stride = incy;
  std::fill_n(aux, order, 0.0);  // what a failed recursion does not reach
  int istat = 0;
  a_hermtp(order - 1, x[0], x + 1, u, aux, aux + order, istat);
  if (istat == 1) std::fputs("  Warning: ier\t> 0 from HERMTOEP.\n", stdout);
  for (int i = 0; i < order; ++i) y[i * stride] = static_cast<float>(aux[i]);
}

}  // namespace moveout
