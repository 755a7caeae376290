#include <algorithm>
#include <cmath>
#include <initializer_list>

#include "host/vector.h"
#include "host/wide.h"
#include "solution/solution.h"

namespace solution {

namespace {

/// Output samples from .. to - 1, counted from 0; those of the sums are `shift` later.
KORVANE_WIDE void correlate(const double* asum, const double* bsum, const double* absumr, const double* absumi,
                            const double* wts, float* siga, float* sigb, float* corr, float* cori, int from, int to,
                            int shift) {
  KORVANE_INDEPENDENT
  for (int i = from; i < to; ++i) {
    const int j = i + shift;
    const double weight = wts[j];
    const double rootA = std::sqrt(asum[j] / weight), rootB = std::sqrt(bsum[j] / weight);
    const double sa = weight > 0.0 ? rootA : 0.0, sb = weight > 0.0 ? rootB : 0.0;
    const double product = sa * sb * weight;
    const double cr = absumr[j] / product, ci = absumi[j] / product;
    siga[i] = static_cast<float>(sa);
    sigb[i] = static_cast<float>(sb);
    corr[i] = static_cast<float>(product > 0.0 ? cr : 0.0);
    cori[i] = static_cast<float>(product > 0.0 ? ci : 0.0);
  }
}

}  // namespace

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
  // samples of the output whose sums exist
  const int from = std::clamp(-offset, first, end), to = std::clamp(n - offset, from, end);
  for (float* output : {siga, sigb, corr, cori}) {
    host::vclr(output + first, 1, from - first);
    host::vclr(output + to, 1, end - to);
  }
  correlate(asum, bsum, absumr, absumi, wts, siga, sigb, corr, cori, from, to, offset);
}

}  // namespace solution
