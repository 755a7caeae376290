#include <cstdlib>

#include "avo/avo.h"
#include "avo/convolution.h"

namespace avo {

void a_maconv(const float* a, const float* f, float* b, const int& nab, const int& nf, const int& noff) noexcept {
  convolve(a, {.taps = f, .count = nf, .first_lag = 1 - std::abs(noff), .lag_step = 1}, b, nab, 0, nab);
}

}  // namespace avo
