#include <algorithm>
#include <cmath>

#include "avo/avo.h"
#include "host/wide.h"

namespace avo {

namespace {

constexpr float radian = 57.29578f;  // degrees
constexpr double rejected = -1.0;

/// Squared sines of the angles of straight rays for the samples first .. last, counted from 1; those outside the limits
/// are rejected.
KORVANE_WIDE void find_angles(const float* sloth, double* scratch, int first, int last, float start, float interval,
                              float x2, float lower, float upper) {
  for (int i = first; i <= last; ++i) {
    const float time = static_cast<float>(i - 1) * interval + start;
    const float x2p = sloth[i] * x2;
    const float straightRay = x2p / (time * time + x2p);
    const float sin2 = time > 0.0f ? straightRay : 1.0f;
    scratch[i - 1] = sin2 > upper || sin2 < lower ? rejected : static_cast<double>(sin2);
  }
}

/// First sample of first .. last whose angle is rejected, or last + 1.
KORVANE_WIDE int first_rejected(const double* x2, int first, int last) {
  constexpr int blockSamples = 64;
  for (; first + blockSamples - 1 <= last; first += blockSamples) {
    int rejections = 0;
    for (int k = 0; k < blockSamples; ++k) rejections += x2[first - 1 + k] < 0.0 ? 1 : 0;
    if (rejections != 0) break;
  }
  while (first <= last && !(x2[first - 1] < 0.0)) ++first;
  return first;
}

/// Adds `count` samples d with squared sines x2 and weight w to their rows of the sums, which are `rows` apart from
/// column to column.
KORVANE_WIDE void accumulate(float* s, int rows, int count, const float* d, const double* x2, float w) {
  const double weight = static_cast<double>(w);
  const auto sum = [=](int k) { return column(s, rows, k); };
  float* const sy = sum(sums::sy);
  float* const sx2y = sum(sums::sx2y);
  float* const sx4y = sum(sums::sx4y);
  float* const sx0 = sum(sums::sx0);
  float* const sx2 = sum(sums::sx2);
  float* const sx4 = sum(sums::sx4);
  float* const sx6 = sum(sums::sx6);
  float* const sx8 = sum(sums::sx8);
  float* const sy2 = sum(sums::sy2);
  const auto add = [](float& total, double term) { total = static_cast<float>(static_cast<double>(total) + term); };
  KORVANE_INDEPENDENT
  for (int i = 0; i < count; ++i) {
    const float y = d[i] * w;
    const double wideY = static_cast<double>(y), x = x2[i], xx = x * x;
    sy[i] += y;
    sy2[i] += d[i] * y;
    add(sx2y[i], wideY * x);
    add(sx4y[i], wideY * xx);
    sx0[i] += w;  // a sum of two floats in double, rounded to float, is their sum in float
    add(sx2[i], weight * x);
    add(sx4[i], weight * xx);
    add(sx6[i], weight * (x * xx));
    add(sx8[i], weight * (xx * xx));
  }
}

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
    find_angles(sloth, scratch, flv, llv, start, interval, offset * offset, lower, upper);
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
  const int runEnd = first_rejected(scratch, flv, llv) - 1;

  const int rows = lastRow - firstRow + 1;
  accumulate(s + (flv - firstRow), rows, runEnd - flv + 1, trace + (flv - 1), scratch + (flv - 1), w);

  fin = flv;
  lin = runEnd;
}

}  // namespace avo
