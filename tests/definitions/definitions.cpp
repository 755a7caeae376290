#include "tests/definitions/definitions.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <vector>

#include "avo/avo.h"

namespace definition {

void a_samvot(const float* trin, const float* sloth, float* coef, float* trout, float* trcoef, float* ifrc,
              const int& nsin, const int& ncoef, const int& fsa, const int& lsa, const float& xoff, const int& iflv,
              const float& t0, const float& tsamp, int& nflv, int& nllv) {
  const int first = fsa, last = lsa, n = last - first + 1, taps = ncoef, live = iflv;
  for (int j = 1; j <= taps; ++j) coef[99 * taps + j - 1] = j == taps / 2 + 1 ? 1.0f : 0.0f;
  nflv = nllv = 0;
  if (first > last) return;

  float* const coefficient = trcoef;  // n x taps each
  float* const input = trcoef + static_cast<std::ptrdiff_t>(n) * taps;
  std::vector<float> base(static_cast<std::size_t>(n));
  const float x2 = xoff * xoff;
  for (int i = first; i <= last; ++i) {
    const float t = static_cast<float>(i - 1) * tsamp + t0;
    const float u = std::sqrt(sloth[i] * x2 + t * t);
    const float p = ((u - t0) / tsamp - static_cast<float>(taps / 2)) + 0.495f;
    const float k = std::floor(p + 0.5f);
    const bool valid = k < static_cast<float>(nsin) && k > static_cast<float>(live - taps);
    base[static_cast<std::size_t>(i - first)] = valid ? k : static_cast<float>(nsin) + 0.5f;
    ifrc[i - first] = std::fmax(1.0f, std::fmin(100.0f, (p - k) * 100.0f + 51.0f));
  }
  for (int j = 1; j <= taps; ++j) {
    for (int i = 0; i < n; ++i) {
      const std::ptrdiff_t at = static_cast<std::ptrdiff_t>(j - 1) * n + i;
      coefficient[at] = coef[(static_cast<int>(ifrc[i]) - 1) * taps + j - 1];
      input[at] = trin[static_cast<int>(base[static_cast<std::size_t>(i)] + static_cast<float>(j)) - 1 + taps];
    }
  }

  const float* const centre = coefficient + static_cast<std::ptrdiff_t>(taps / 2) * n;
  nflv = first;
  while (nflv < last && centre[nflv - first] == 0.0f) ++nflv;
  nllv = last;
  while (nllv > first && centre[nllv - first] == 0.0f) --nllv;
  std::fill(trout + first - 1, trout + last, 0.0f);
  for (int j = 1; j <= taps; ++j) {
    for (int i = nflv; i <= nllv; ++i) {
      const std::ptrdiff_t at = static_cast<std::ptrdiff_t>(j - 1) * n + (i - first);
      trout[i - 1] = coefficient[at] * input[at] + trout[i - 1];
    }
  }
}

void a_sahcic(float* s, const float* trace, const float* sloth, double* scratch, const int& /*isz*/, int& fin, int& lin,
              const int& fout, const int& lout, const float& t0, const float& tsamp, const float& xoff,
              const float& alim1, const float& alim2, const int& /*angfmt*/, const float& tr_fold) {
  int from = fin, to = lin;
  while (from < lin && trace[from - 1] == 0.0f) ++from;
  while (to > fin && trace[to - 1] == 0.0f) --to;
  from = std::max(from, fout);
  to = std::min(to, lout);
  for (int i = from; i <= to; ++i) {
    const float time = static_cast<float>(i - 1) * tsamp + t0;
    const float x2p = sloth[i] * (xoff * xoff);
    const float sin2 = time > 0.0f ? x2p / (time * time + x2p) : 1.0f;
    scratch[i - 1] = sin2 > alim2 || sin2 < alim1 ? -1.0 : static_cast<double>(sin2);
  }
  fin = 0;
  lin = -1;
  for (int i = from; i <= to; ++i) {
    if (scratch[i - 1] < 0.0 && fin > 0) break;
    if (scratch[i - 1] < 0.0) continue;
    if (fin == 0) fin = i;
    lin = i;
  }
  const std::ptrdiff_t rows = lout - fout + 1;
  const double w = static_cast<double>(tr_fold);
  for (int i = fin; i <= lin && fin > 0; ++i) {
    float* const row = s + (i - fout);
    const float d = trace[i - 1], wd = d * tr_fold;
    const double u = scratch[i - 1], u2 = u * u, dw = static_cast<double>(wd);
    const double terms[] = {dw * u, dw * u2, w, w * u, w * u2, w * (u * u2), w * (u2 * u2)};
    row[0] += wd;
    for (int k = 1; k <= 7; ++k) row[k * rows] = static_cast<float>(static_cast<double>(row[k * rows]) + terms[k - 1]);
    row[8 * rows] += d * wd;
  }
}

void a_maconv(const float* a, const float* f, float* b, const int& nab, const int& nf, const int& noff) {
  for (int i = 1; i <= nab; ++i) {
    float sum = 0.0f;
    for (int j = 1; j <= nf; ++j) {
      const int k = i + std::abs(noff) - j;
      if (k >= 1 && k <= nab) sum += f[j - 1] * a[k - 1];
    }
    b[i - 1] = sum;
  }
}

void a_sahci(float* s, const float* h1, const float* h2, const float* sloth, const float* slothi, const int* parm,
             float* out, const int& maxsmp, const int& maxh, const int& /*nparm*/, int& first, int& last, const int& nh,
             const int& isz, const float& t0, const float& tsamp, const float& avopct) {
  const std::ptrdiff_t rows = maxsmp;
  const double avo = std::pow(10.0, static_cast<double>(avopct) / -20.0);
  const float* const weights = s + 3 * rows;
  for (const int k : {7, 5, 3}) {
    for (int i = first - 1; i < last; ++i)
      s[k * rows + i] =
          static_cast<float>(static_cast<double>(s[k * rows + i]) + avo * static_cast<double>(weights[i]));
  }
  const int cofactors[9] = {10, 9, 0, 9, 8, 0, 7, 6, 0}, determinants[3] = {3, 3, 0};
  avo::a_matv(s, out, cofactors, determinants, maxsmp, first, last, 2, isz, parm[avo::slot::taper], avo / (1.0 + avo));
  std::fill_n(s, isz * rows, 0.0f);
  const int begin = first - 1, n = last - begin, lags = maxh - nh;
  if (n <= 0) return;
  float *const a = s + begin, *const b = s + rows + begin, *const stretch = s + 2 * rows + begin;
  a_maconv(out + begin, h1 + lags, a, n, 2 * nh + 1, nh + 1);
  a_maconv(out + rows + begin, h1 + lags, b, n, 2 * nh + 1, nh + 1);
  a_maconv(out + begin, h2 + lags, stretch, n, 2 * nh + 1, nh + 1);
  for (int i = 0; i < n; ++i) {
    const double slow = static_cast<double>(sloth[begin + i + 1]);
    const double time = static_cast<double>(static_cast<float>(begin + i) * tsamp + t0);
    const double slope = 0.5 * (static_cast<double>(sloth[begin + i + 2]) - static_cast<double>(sloth[begin + i])) /
                         static_cast<double>(tsamp);
    const double corrected =
        static_cast<double>(b[i]) + 0.5 * (1.0 - time * slope / slow) * static_cast<double>(stretch[i]);
    const float ratio = sloth[begin + i + 1] / slothi[begin + i + 1];
    out[begin + i] = a[i];
    out[rows + begin + i] = static_cast<float>(corrected / static_cast<double>(ratio));
  }
  std::fill_n(s, isz * rows, 0.0f);
}

std::vector<float> hilbert_filter(int length) {
  std::vector<float> impulse(101), response(101), g;
  impulse[50] = 1.0f;
  avo::a_mahlbt(impulse.data(), response.data(), 101, 1, 101, length);
  for (int lag = 1; lag < (length + 1) / 2; lag += 2) g.push_back(response[static_cast<std::size_t>(50 + lag)]);
  return g;
}

void hilbert(const float* a, float* h, int samples, int first, int last, const float* g, int half) {
  std::fill_n(h, samples, 0.0f);
  for (int i = std::max(first, 1); i <= std::min(last, samples); ++i) {
    float sum = 0.0f;
    for (int lag = 1 - 2 * half; lag < 2 * half; lag += 2) {
      if (i - lag < 1 || i - lag > samples) continue;
      const float tap = lag < 0 ? -g[(-lag - 1) / 2] : g[(lag - 1) / 2];
      sum += tap * a[i - lag - 1];
    }
    h[i - 1] = sum;
  }
}

}  // namespace definition
