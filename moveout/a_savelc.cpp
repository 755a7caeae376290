#include "host/vector.h"
#include "moveout/moveout.h"

namespace moveout {

void a_savelc(const float* intr, float* sloth, float* slothi, const int& ns, const int& ivsmth, const float& vinc,
              int& ier) noexcept {
  const int samples = ns, half_length = ivsmth;
  const float increment = vinc;
  for (int m = 0; m < samples; ++m) {
    if (intr[m] <= 0.0f) {
      ier = m + 1;
      return;
    }
  }
  for (int m = 0; m < samples; ++m) {
    const float velocity = intr[m] + increment;
    sloth[m + 1] = 1.0f / (velocity * velocity);
  }
  sloth[0] = sloth[1];
  sloth[samples + 1] = sloth[samples];
  a_masmth(samples + 2, 1, 1, sloth, slothi, half_length);
  host::vmov(sloth, 1, slothi, 1, samples + 2);
  ier = 0;
}

}  // namespace moveout
