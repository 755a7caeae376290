#include "moveout/moveout.h"

namespace moveout {

void a_hermtp(const int& m, const float& t0, const float* t, const float* z, double* x, double* a,
              int& istat) noexcept {
  const int order = m;
  const float diagonal = t0;
  istat = 1;
  double power = static_cast<double>(diagonal);  // of the prediction error
  if (power == 0.0) return;
  x[0] = static_cast<double>(z[0] / diagonal);
  if (order <= 0) return;

  for (int k = 0; k < order; ++k) {  // the solution grows from k + 1 to k + 2 values
    double misfit = static_cast<double>(t[k]);
    double response = x[0] * static_cast<double>(t[k]);
    for (int j = 0; j < k; ++j) {
      const double row = static_cast<double>(t[k - 1 - j]);
      misfit = misfit + a[j] * row;
      response = response + row * x[j + 1];
    }
    const double reflection = -(misfit / power);
    power = power * (1.0 - reflection * reflection);
    if (power <= 0.0) return;

    a[k] = reflection;
    const double next = (static_cast<double>(z[k + 1]) - response) / power;
    for (int j = 0, mirror = k - 1; j <= mirror; ++j, --mirror) {
      const double head = a[j];
      a[j] = a[j] + a[mirror] * reflection;
      if (j != mirror) a[mirror] = a[mirror] + reflection * head;
    }
    x[k + 1] = next;
    for (int j = 0; j <= k; ++j) x[j] = x[j] + a[k - j] * next;
  }
  istat = 0;
}

}  // namespace moveout
