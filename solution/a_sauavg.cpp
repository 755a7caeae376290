#include "host/vector.h"
#include "solution/solution.h"

namespace solution {

void a_sauavg(double* asum, double* bsum, double* absumr, double* absumi, double* wts, const float* ar, const float* ai,
              const float* br, const float* bi, float* w, float* scr1, float* scr2, const int& ns, const int& fsa,
              const int& lsa, const int& ntwin, const float& fac) noexcept {
  const int n = ns, first = fsa, last = lsa, window = ntwin;
  const float scale = fac;
  const auto accumulate = [=](double* sum) noexcept { a_naacms(sum, scr1, w, scr2, first, last, n, window, scale); };

  a_nazero(w, ar, n);
  a_nazero(w, br, n);

  a_namags(ar, ai, scr1, n);
  accumulate(asum);
  a_namags(br, bi, scr1, n);
  accumulate(bsum);
  a_nabrgs(ar, ai, br, bi, scr1, n);
  accumulate(absumr);
  a_nabigs(ar, ai, br, bi, scr1, n);
  accumulate(absumi);
  host::vfill(1.0f, scr1, 1, n);
  accumulate(wts);
}

}  // namespace solution
