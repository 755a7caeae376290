#include <algorithm>

#include "avo/avo.h"

namespace avo {

void a_avoe(const float* s, float* out, const int& n, const int& first, const int& last, const int& /*isz*/,
            const int& no, const int& nstg) noexcept {
  const int rows = n, begin = first, end = last, stages = nstg;
  if (no <= 2) return;

  const float* const sy2 = column(s, rows, sums::sy2);
  float* const residual = column(out, rows, 2);
  for (int i = begin - 1; i < end; ++i) {
    double explained = 0.0;
    for (int k = 0; k < stages; ++k) explained += static_cast<double>(column(out, rows, k)[i] * column(s, rows, k)[i]);
    residual[i] = static_cast<float>(std::max(0.0, static_cast<double>(sy2[i]) - explained));
  }
}

}  // namespace avo
