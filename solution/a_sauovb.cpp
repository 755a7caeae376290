#include "host/vector.h"
#include "solution/solution.h"

namespace solution {

void a_sauovb(const float* sa, const float* sb, const float* rrc, const float* ric, float* dvel, float* kr, float* ki,
              float* sbpr, const float* wrr, const float* wri, const int& ns) noexcept {
  const int n = ns;

  // q in sbpr, by way of 1 - |w|^2 in kr and 1 - |r|^2 in dvel.
  a_namags(wrr, wri, kr, n);
  host::vfill(1.0f, sbpr, 1, n);
  host::vsub(sbpr, 1, kr, 1, kr, 1, n);
  a_namags(rrc, ric, dvel, n);
  host::vsub(sbpr, 1, dvel, 1, dvel, 1, n);
  host::vdivz(dvel, 1, kr, 1, 0.0f, sbpr, 1, n);
  host::vsqrtz(sbpr, 1, 0.0f, sbpr, 1, n);

  host::vmul(wrr, 1, sbpr, 1, kr, 1, n);
  host::vmul(wri, 1, sbpr, 1, ki, 1, n);
  host::vsma(rrc, 1, -1.0f, kr, 1, kr, 1, n);
  host::vsma(ric, 1, -1.0f, ki, 1, ki, 1, n);

  // g in dvel.
  host::vdivz(sb, 1, sa, 1, 0.0f, dvel, 1, n);
  host::vmul(kr, 1, dvel, 1, kr, 1, n);
  host::vmul(ki, 1, dvel, 1, ki, 1, n);
  host::vmul(ric, 1, dvel, 1, dvel, 1, n);
  host::seg_vsmul(dvel, 1, -1.0f, dvel, 1, n);
  host::vmul(sbpr, 1, sb, 1, sbpr, 1, n);
}

}  // namespace solution
