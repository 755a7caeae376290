#include "solution/solution.h"

namespace solution {

void a_namags(const float* ar, const float* ai, float* out, const int& ns) noexcept {
  const int n = ns;
  for (int k = 0; k < n; ++k) out[k] = ar[k] * ar[k] + ai[k] * ai[k];
}

}  // namespace solution
