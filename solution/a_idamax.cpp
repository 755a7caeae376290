#include <cmath>
#include <cstddef>

#include "solution/solution.h"

namespace solution {

int a_idamax(const int& n, const double* x, const int& inc) noexcept {
  int position = 1;
  if (inc < 1) return position;
  double largest = 0.0;
  for (int m = 0; m < n; ++m) {
    const double magnitude = std::fabs(x[static_cast<std::ptrdiff_t>(m) * inc]);
    if (magnitude > largest) {
      largest = magnitude;
      position = m + 1;
    }
  }
  return position;
}

}  // namespace solution
