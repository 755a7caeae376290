#include "solution/solution.h"

namespace solution {

void a_nabrgs(const float* ar, const float* ai, const float* br, const float* bi, float* out, const int& ns) noexcept {
  const int n = ns;
  for (int k = 0; k < n; ++k) out[k] = ar[k] * br[k] + ai[k] * bi[k];
}

}  // namespace solution
