#include <algorithm>
#include <cmath>

#include "avo/avo.h"

namespace avo {

namespace {

constexpr float radian = 57.29578f;  // degrees
constexpr double rejected = -1.0;

}  // namespace

void a_sahcic(float* s, const float* trace, const float* sloth, double* scratch, const int& /*isz*/, int& fin, int& lin,
              const int& fout, const int& lout, const float& t0, const float& tsamp, const float& xoff,
              const float& alim1, const float& alim2, const int& angfmt, const float& tr_fold) noexcept {
  const int begin = fin, end = lin, firstRow = fout, lastRow = lout;
  const float start = t0, interval = tsamp, lower = alim1, upper = alim2, w = tr_fold;
  const bool offsetForm = angfmt == 0;
  const float offset = xoff;

  fin = 0;
  lin = -1;
  if (begin > end) return;

  int flv = begin, llv = end;
  while (flv < end && trace[flv - 1] == 0.0f) ++flv;
  while (llv > begin && trace[llv - 1] == 0.0f) --llv;
  flv = std::max(flv, firstRow);
  llv = std::min(llv, lastRow);

  if (offsetForm) {
    const float x2 = offset * offset;
    for (int i = flv; i <= llv; ++i) {
      const float time = static_cast<float>(i - 1) * interval + start;
      const float x2p = sloth[i] * x2;
      const float straightRay = x2p / (time * time + x2p);
      const float sin2 = time > 0.0f ? straightRay : 1.0f;
      scratch[i - 1] = sin2 > upper || sin2 < lower ? rejected : static_cast<double>(sin2);
    }
  } else {
    const double sine = std::sin(static_cast<double>(offset / radian));
    const double sin2 = sine * sine;
    if (sin2 > static_cast<double>(upper) || sin2 < static_cast<double>(lower)) {
      if (begin < end) {
        fin = end;
        lin = begin;
      }
      return;
    }
    for (int i = flv; i <= llv; ++i) scratch[i - 1] = sin2;
  }

  while (flv <= llv && scratch[flv - 1] < 0.0) ++flv;
  if (flv > llv) return;
  int runEnd = flv;
  while (runEnd < llv && !(scratch[runEnd] < 0.0)) ++runEnd;

  // One column after the other: the samples of a column are independent of each other.
  const int rows = lastRow - firstRow + 1;
  const auto accumulate = [=](int k, auto term) {
    float* const sum = column(s, rows, k) + (flv - firstRow);
    const float* const d = trace + (flv - 1);
    const double* const x2 = scratch + (flv - 1);
    for (int i = 0; i <= runEnd - flv; ++i) sum[i] = term(sum[i], d[i], x2[i]);
  };
  const double weight = static_cast<double>(w);
  const auto wide = [](float value) { return static_cast<double>(value); };
  const auto add = [](float sum, double term) { return static_cast<float>(static_cast<double>(sum) + term); };
  accumulate(sums::sy, [=](float sum, float d, double) { return sum + d * w; });
  accumulate(sums::sx2y, [=](float sum, float d, double u) { return add(sum, wide(d * w) * u); });
  accumulate(sums::sx4y, [=](float sum, float d, double u) { return add(sum, wide(d * w) * (u * u)); });
  accumulate(sums::sx0, [=](float sum, float, double) { return add(sum, weight); });
  accumulate(sums::sx2, [=](float sum, float, double u) { return add(sum, weight * u); });
  accumulate(sums::sx4, [=](float sum, float, double u) { return add(sum, weight * (u * u)); });
  accumulate(sums::sx6, [=](float sum, float, double u) { return add(sum, weight * (u * (u * u))); });
  accumulate(sums::sx8, [=](float sum, float, double u) { return add(sum, weight * ((u * u) * (u * u))); });
  accumulate(sums::sy2, [=](float sum, float d, double) { return sum + d * (d * w); });

  fin = flv;
  lin = runEnd;
}

}  // namespace avo
