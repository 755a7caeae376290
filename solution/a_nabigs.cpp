#include "solution/solution.h"

namespace solution {

void a_nabigs(const float* ar, const float* ai, const float* br, const float* bi, float* out, const int& ns) noexcept {
  const int n = ns;
  for (int k = 0; k < n; ++k) out[k] = ai[k] * br[k] - ar[k] * bi[k];
}

}  // namespace solution
