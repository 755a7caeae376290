#include <cmath>

#include "moveout/moveout.h"
#include "solution/solution.h"

namespace solution {

void a_samodv(float* vels, float* scr, const int& ns, const int& ivsmth) noexcept {
  const int n = ns, half_length = ivsmth;
  for (int k = 0; k < n; ++k) scr[k] = 1.0f / (vels[k] * vels[k]);
  moveout::a_masmth(n, 1, 1, scr, vels, half_length);
  for (int k = 0; k < n; ++k) vels[k] = 1.0f / std::sqrt(vels[k]);
}

}  // namespace solution
