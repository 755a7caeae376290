#include <cmath>

#include "host/vector.h"
#include "moveout/moveout.h"

namespace moveout {

namespace {

/// Adds zero_lag * pole^n to corr(n), n = 0 .. lags - 1.
void add_coloured_noise(float* corr, int lags, double zero_lag, double pole) noexcept {
  double noise = zero_lag;
  for (int n = 0; n < lags; ++n) {
    corr[n] = static_cast<float>(static_cast<double>(corr[n]) + noise);
    noise = noise * pole;
  }
}

}  // namespace

void a_sarkft(float* h1, float* h2, float* corr, float* cvect, double* work, const int& mxh, const int& nh,
              const float& w0t, const float& pctwns, const float& pctcns, const double& a, int& ier) noexcept {
  const int max_lag = mxh, lag_end = nh;
  const float scale = w0t, white_percent = pctwns, coloured_percent = pctcns;
  const double pole = a;
  ier = std::fabs(pole) >= 1.0 ? 3 : lag_end > max_lag ? 2 : white_percent <= 0.0f ? 1 : 0;
  if (ier != 0) return;

  const int taps = 2 * lag_end + 1;
  const int first = max_lag - lag_end;  // index of lag -nh
  const auto squared_lag = [=](int lag) {
    const float scaled = static_cast<float>(lag) * scale;
    return scaled * scaled;
  };

  host::vclr(h1, 1, 2 * max_lag + 1);
  host::vclr(h2, 1, 2 * max_lag + 1);

  for (int n = 0; n < taps; ++n) {
    const float x = squared_lag(n);
    corr[n] = x < 200.0f ? (48.0f - (24.0f - x) * x) * std::exp(-0.125f * x) : 0.0f;
  }
  host::vmov(corr, 1, cvect + max_lag, 1, lag_end + 1);
  host::vmov(corr, 1, cvect + first, 1, lag_end + 1);
  host::vrvrs(cvect + first, 1, lag_end + 1);

  const float white = (corr[0] * white_percent) * 0.01f;
  const double coloured = static_cast<double>((coloured_percent * corr[0]) * 0.01f);
  corr[0] = corr[0] + white;
  add_coloured_noise(corr, taps, coloured, pole);
  a_swlev(corr, 1, cvect + first, 1, h1 + first, 1, taps, work);

  for (int lag = -lag_end; lag <= lag_end; ++lag) {
    const float x = squared_lag(lag);
    cvect[max_lag + lag] =
        x <= 200.0f ? ((((x - 36.0f) * x + 144.0f) * x + 192.0f) * std::exp(-0.125f * x)) * -0.125f : 0.0f;
  }
  a_swlev(corr, 1, cvect + first, 1, h2 + first, 1, taps, work);

  corr[0] = corr[0] - white;
  add_coloured_noise(corr, taps, -coloured, pole);
}

}  // namespace moveout
