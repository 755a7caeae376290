#include "solution/smoothed_products.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "host/wide.h"

namespace solution {

namespace {

using Quad = float __attribute__((vector_size(16)));
using WideQuad = double __attribute__((vector_size(32)));

/// Traces of n samples: the four products, those of a sample next to one another, and the weight.
struct Traces {
  float* products;
  float* weight;
};

KORVANE_WIDE void multiply(const float* ar, const float* ai, const float* br, const float* bi, int n, Traces out) {
  KORVANE_INDEPENDENT
  for (int k = 0; k < n; ++k) {
    const float w = ar[k] == 0.0f || br[k] == 0.0f ? 0.0f : 1.0f;
    out.products[4 * k] = (ar[k] * ar[k] + ai[k] * ai[k]) * w;
    out.products[4 * k + 1] = (br[k] * br[k] + bi[k] * bi[k]) * w;
    out.products[4 * k + 2] = (ar[k] * br[k] + ai[k] * bi[k]) * w;
    out.products[4 * k + 3] = (ai[k] * br[k] - ar[k] * bi[k]) * w;
    out.weight[k] = w;
  }
}

/// Five running totals, each taking in a sample before it drops one.
KORVANE_WIDE void running_sums(Traces in, Traces out, int n, int half) {
  WideQuad total{};
  double weight = 0.0;
  const auto products = [in](int k) {
    Quad sample;
    std::memcpy(&sample, in.products + 4 * static_cast<std::ptrdiff_t>(k), sizeof sample);
    return sample;
  };
  for (int k = 0; k < half; ++k) {
    total += __builtin_convertvector(products(k), WideQuad);
    weight += static_cast<double>(in.weight[k]);
  }
  for (int k = 0; k < n; ++k) {
    if (k + half < n) {
      total += __builtin_convertvector(products(k + half), WideQuad);
      weight += static_cast<double>(in.weight[k + half]);
    }
    if (k - half > 0) {
      total -= __builtin_convertvector(products(k - half - 1), WideQuad);
      weight -= static_cast<double>(in.weight[k - half - 1]);
    }
    const Quad rounded = __builtin_convertvector(total, Quad);
    std::memcpy(out.products + 4 * static_cast<std::ptrdiff_t>(k), &rounded, sizeof rounded);
    out.weight[k] = static_cast<float>(weight);
  }
}

/// a_namsum for the five traces. A window beyond the trace leaves the output as it is.
void sum(Traces in, Traces out, int n, int window) {
  const int length = 2 * (window / 2) + 1;
  if (length < 1) {
    std::fill_n(out.products, 4 * n, 0.0f);
    std::fill_n(out.weight, n, 0.0f);
  } else if (length == 1) {
    std::copy_n(in.products, 4 * n, out.products);
    std::copy_n(in.weight, n, out.weight);
  } else if (length / 2 <= n) {
    running_sums(in, out, n, length / 2);
  }
}

}  // namespace

void smoothed_products(const float* ar, const float* ai, const float* br, const float* bi, int ns, int ntwin,
                       float* scratch, float* products) noexcept {
  const Traces first{scratch, scratch + 4 * static_cast<std::ptrdiff_t>(ns)};
  const Traces second{first.weight + ns, first.weight + 5 * static_cast<std::ptrdiff_t>(ns)};
  multiply(ar, ai, br, bi, ns, first);
  if (ntwin / 2 > ns) std::fill_n(second.products, 5 * ns, 0.0f);
  sum(first, second, ns, ntwin);
  const int next = static_cast<int>((std::int64_t{ntwin} - 1) / 3 + 1);
  const bool again = next / 2 <= ns;  // a window beyond the trace keeps the first sums
  if (again) sum(second, first, ns, next);
  const Traces result = again ? first : second;
  for (int k = 0; k < ns; ++k) {
    for (int q = 0; q < 4; ++q) products[static_cast<std::ptrdiff_t>(q) * ns + k] = result.products[4 * k + q];
  }
  std::copy_n(result.weight, ns, products + 4 * static_cast<std::ptrdiff_t>(ns));
}

}  // namespace solution
