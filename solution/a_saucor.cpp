#include <cmath>
#include <initializer_list>

#include "host/vector.h"
#include "solution/solution.h"

namespace solution {

void a_saucor(const double* asum, const double* bsum, const double* absumr, const double* absumi, const double* wts,
              float* siga, float* sigb, float* corr, float* cori, [[maybe_unused]] float* temp, const int& ns,
              const int& fsa, const int& lsa, [[maybe_unused]] const int& nsmth, const int& shift,
              bool& live) noexcept {
  const int n = ns, first = fsa - 1, end = lsa, offset = shift;
  const auto clear = [=](int count) noexcept {
    for (float* output : {siga, sigb, corr, cori}) host::vclr(output, 1, count);
  };

  const int largest = first + a_idamax(end - first, wts + first, 1) - 1;
  if (wts[largest] <= 0.0) {
    clear(n);
    live = false;
    return;
  }
  live = true;
  clear(first);
  for (int i = first; i < end; ++i) {
    const int j = i + offset;
    double sa = 0.0, sb = 0.0, cr = 0.0, ci = 0.0;
    if (j >= 0 && j < n) {
      const double weight = wts[j];
      if (weight > 0.0) {
        sa = std::sqrt(asum[j] / weight);
        sb = std::sqrt(bsum[j] / weight);
      }
      const double product = sa * sb * weight;
      if (product > 0.0) {
        cr = absumr[j] / product;
        ci = absumi[j] / product;
      }
    }
    siga[i] = static_cast<float>(sa);
    sigb[i] = static_cast<float>(sb);
    corr[i] = static_cast<float>(cr);
    cori[i] = static_cast<float>(ci);
  }
}

}  // namespace solution
