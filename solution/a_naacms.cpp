#include <algorithm>
#include <cstdint>

#include "host/vector.h"
#include "solution/solution.h"

namespace solution {

void a_naacms(double* sum, float* a, const float* w, float* tmp, const int& fsa, const int& lsa, const int& ns,
              const int& twin, const float& fac) noexcept {
  const int first = fsa, last = lsa, n = ns, window = twin;
  const float scale = fac;
  // The second sum reaches about d / 2 samples beyond the range added to, so d samples more of the first suffice.
  const int d = static_cast<int>((std::int64_t{window} - 1) / 3);
  const int begin = std::clamp(first - d, 1, n + 1) - 1;
  const int count = std::min(last + d, n) - begin;

  host::vmul(a + begin, 1, w + begin, 1, tmp + begin, 1, count);
  host::vclr(a, 1, n);
  a_namsum(tmp + begin, a + begin, count, window);
  host::vmov(a, 1, tmp, 1, n);
  a_namsum(tmp, a, n, d + 1);
  for (int i = first - 1; i < last; ++i) {
    const float product = a[i] * scale;
    sum[i] += static_cast<double>(product);
  }
}

}  // namespace solution
