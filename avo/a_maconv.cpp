#include <algorithm>
#include <cstdlib>

#include "avo/avo.h"
#include "host/vector.h"

namespace avo {

void a_maconv(const float* a, const float* f, float* b, const int& nab, const int& nf, const int& noff) noexcept {
  const int samples = nab, taps = nf, noabs = std::abs(noff);

  host::vclr(b, 1, samples);
  for (int j = 1; j <= taps; ++j) {
    const float tap = f[j - 1];
    const int lag = j - noabs;
    for (int i = std::max(1, 1 + lag); i <= std::min(samples, samples + lag); ++i) b[i - 1] += tap * a[i - lag - 1];
  }
}

}  // namespace avo
