#include "solution/solution.h"

namespace solution {

void a_nazero(float* a, const float* z, const int& ns) noexcept {
  const int n = ns;
  for (int k = 0; k < n; ++k) {
    if (z[k] == 0.0f) a[k] = 0.0f;
  }
}

}  // namespace solution
