#include <algorithm>
#include <cstddef>

#include "host/vector.h"
#include "moveout/moveout.h"

namespace moveout {

void a_masmth(const int& nx, const int& istrid, const int& id, float* x, float* y, const int& l) noexcept {
  const int n = nx, stride = istrid;
  const int half = std::min(l, n / 2);
  float* const series = x + (id - 1);
  if (half < 1) {
    host::vmov(series, stride, y, 1, n);
    return;
  }

  const auto sample = [=](int k) { return static_cast<double>(series[static_cast<std::ptrdiff_t>(k) * stride]); };
  double left = sample(0);
  double right = sample(n - 1);
  y[0] = series[0];
  y[n - 1] = static_cast<float>(right);
  for (int k = 1; k < half; ++k) {  // the windows of 2k + 1 samples that touch an end
    left += sample(2 * k - 1);
    left += sample(2 * k);
    right += sample(n - 1 - 2 * k);
    right += sample(n - 2 * k);
    const float window = static_cast<float>(2 * k + 1);
    y[k] = static_cast<float>(left) / window;
    y[n - 1 - k] = static_cast<float>(right) / window;
  }

  if (n > 2 * half) {
    double sum = left + sample(2 * half - 1);
    sum += sample(2 * half);
    y[half] = static_cast<float>(sum);
    for (int k = half + 1; k < n - half; ++k) {
      sum += sample(k + half);
      sum -= sample(k - half - 1);
      y[k] = static_cast<float>(sum);
    }
    const float window = static_cast<float>(2 * half + 1);
    for (int k = half; k < n - half; ++k) y[k] = y[k] / window;
  }
  host::vmov(y, 1, series, stride, n);
}

}  // namespace moveout
