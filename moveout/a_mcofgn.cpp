#include <cmath>
#include <cstddef>

#include "moveout/moveout.h"

namespace moveout {

namespace {

constexpr float pi = 3.1415927f;

/// Correlation of the model signal at a lag in samples: sin(pi edge lag) / (pi edge lag), 1 at lag 0.
float correlation(float lag, float edge) noexcept {
  const float phase = (lag * pi) * edge;
  return phase == 0.0f ? 1.0f : std::sin(phase) / phase;
}

}  // namespace

void a_mcofgn(const int& lfltr, const float& mxfreq, float* acor, float* ccor, float* fltr, float* work,
              float* coef) noexcept {
  const int taps = lfltr;
  const float edge = mxfreq;
  const auto column = [=](int k) { return coef + static_cast<std::ptrdiff_t>(k - 1) * taps; };

  for (int lag = 0; lag < taps; ++lag) acor[lag] = correlation(static_cast<float>(lag), edge);

  float shift = 0.0f;
  for (int k = 1; k <= 50; ++k) {
    shift = shift + 0.01f;
    float lag = static_cast<float>(1 - taps / 2) - shift;
    for (int j = 0; j < taps; ++j) {
      ccor[j] = correlation(lag, edge);
      lag = lag + 1.0f;
    }
    a_mwienr(taps, acor, ccor, work, fltr);
    for (int j = 0; j < taps; ++j) column(k)[j] = fltr[j];
  }

  for (int k = 51; k <= 99; ++k) {
    for (int j = 0; j < taps; ++j) column(k)[j] = column(100 - k)[taps - 1 - j];
  }
}

}  // namespace moveout
