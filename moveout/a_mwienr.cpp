#include "moveout/moveout.h"

namespace moveout {

void a_mwienr(const int& lfltr, const float* acor, const float* rhs, float* err, float* fltr) noexcept {
  const int taps = lfltr;
  float power = acor[0];  // of the prediction error
  err[0] = 1.0f;
  fltr[0] = rhs[0] / power;
  if (taps <= 1) return;

  float d = acor[1];            // misfit of the prediction-error operator at the lag to come
  float q = fltr[0] * acor[1];  // response of the filter at that lag
  for (int l = 1;; ++l) {       // the filter grows from l to l + 1 taps
    const float reflection = -d / power;
    err[l] = reflection;
    for (int j = 1; j < l - j; ++j) {
      const float head = err[j];
      const float tail = err[l - j];
      err[j] = reflection * tail + head;
      err[l - j] = reflection * head + tail;
    }
    if (l % 2 == 0) err[l / 2] = reflection * err[l / 2] + err[l / 2];
    d = d * reflection;
    power = power + d;

    const float tap = (rhs[l] - q) / power;
    fltr[l] = tap;
    for (int j = 0; j < l; ++j) fltr[j] = tap * err[l - j] + fltr[j];
    if (l + 1 == taps) return;

    d = 0.0f;
    q = 0.0f;
    for (int i = 0; i <= l; ++i) {
      d = d + err[i] * acor[l + 1 - i];
      q = q + acor[l + 1 - i] * fltr[i];
    }
  }
}

}  // namespace moveout
