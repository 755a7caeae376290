#include <cmath>

#include "host/vector.h"
#include "solution/solution.h"

namespace solution {

namespace {

template <class Number>
double squared(Number value) noexcept {
  const double wide = static_cast<double>(value);
  return wide * wide;
}

}  // namespace

void a_sanewv(float* dv, float* vrms, const int& ns, const int& it0, const float& fs, const float& wf0, const float& q,
              const int& fsa, const int& lsa, const int& miniv, const int& maxiv, const float& minpct,
              const float& maxpct, const float& mindv, const float& maxdv, const int& minsv, const int& maxsv,
              const int& vtime, const int& vpow, int& status, float& reft) noexcept {
  constexpr float two_pi = 6.2832f;
  const int n = ns, first = fsa - 1, last = lsa - 1;
  const double rate = static_cast<double>(fs), frequency = static_cast<double>(wf0);
  const double start = static_cast<double>(static_cast<float>(it0) * 0.001f);
  const double attenuation = static_cast<double>(two_pi / (16.0f * q));
  const double high_ratio = static_cast<double>(1.0f + 0.01f * maxdv);
  const double low_ratio = static_cast<double>(1.0f - 0.01f * mindv);
  const double damping_time = static_cast<double>(static_cast<float>(vtime) * 0.001f);
  const double damping_power = static_cast<double>(static_cast<float>(vpow) * 0.1f);
  const double miniv2 = squared(miniv), maxiv2 = squared(maxiv), minsv2 = squared(minsv), maxsv2 = squared(maxsv);
  const double pcdn2 = squared(1.0 - 0.01 * static_cast<double>(minpct));
  const double pcup2 = squared(1.0 + 0.01 * static_cast<double>(maxpct));
  const double change = 200000.0 / rate;

  status = 0;
  reft = 0.0f;
  if (frequency <= 0.0 || vrms[0] <= 1.5f) return host::vfill(1.0f, dv, 1, n);

  const auto note = [&](int event, double when) noexcept {
    if (status != 0) return;
    status = event;
    reft = static_cast<float>(when);
  };
  const auto time = [=](int sample) noexcept { return static_cast<double>(sample) / rate + start; };

  for (int i = first + 1; i <= last; ++i) {
    const double t = time(i);
    const double a = attenuation * t * frequency;
    const double cycles = (std::sqrt(a * a + 1.0) - a) * static_cast<double>(two_pi) * frequency * t;
    const double damping = std::pow(t / damping_time, damping_power) + 1.0;
    const double ratio = static_cast<double>(dv[i]) / cycles / damping + 1.0;
    // fmax and fmin, here and below, because a NaN operand has to lose.
    dv[i] = static_cast<float>(std::fmax(low_ratio, std::fmin(high_ratio, ratio)));
  }
  dv[first] = last > first ? dv[first + 1] : 1.0f;

  double oldprev2 = squared(vrms[first]);
  if (oldprev2 < miniv2) oldprev2 = miniv2;
  if (oldprev2 < minsv2) oldprev2 = minsv2;
  if (oldprev2 > maxiv2) oldprev2 = maxiv2;
  if (oldprev2 > maxsv2) oldprev2 = maxsv2;
  double prevv2 = squared(dv[first]) * oldprev2;
  double previ2 = 0.0;

  for (int i = first + 1; i <= last; ++i) {
    const double t = time(i), tp = time(i - 1);
    const double velocity = static_cast<double>(vrms[i]);

    double oldv2 = squared(velocity);
    if (oldv2 < minsv2) {
      oldv2 = minsv2;
      note(1, t);
    }
    if (oldv2 > maxsv2) {
      oldv2 = maxsv2;
      note(2, t);
    }
    double vi2 = (t * oldv2 - tp * oldprev2) * rate;
    if (vi2 < miniv2) {
      vi2 = miniv2;
      note(3, t);
    }
    if (vi2 > maxiv2) {
      vi2 = maxiv2;
      note(4, t);
    }
    if (i == first + 1) previ2 = vi2;
    const double previ = std::sqrt(previ2);

    // Squared RMS velocity at t for a squared interval velocity over (tp, t].
    const auto rms2 = [=](double interval2) noexcept { return prevv2 + (interval2 - prevv2) / (rate * t); };
    const double low2 = std::fmax(std::fmax(pcdn2 * vi2, miniv2), previ2 - previ * change);
    const double vsmin = std::fmax(rms2(low2), minsv2);
    const double high2 = std::fmin(std::fmin(pcup2 * vi2, maxiv2), previ2 + previ * change);
    const double vsmax = std::fmin(rms2(high2), maxsv2);

    double newv2 = squared(dv[i]) * oldv2;
    if (vsmin > newv2) {
      newv2 = vsmin;
      dv[i] = static_cast<float>(std::sqrt(vsmin) / velocity);
    }
    if (newv2 > vsmax) {
      newv2 = vsmax;
      dv[i] = static_cast<float>(std::sqrt(vsmax) / velocity);
    }
    previ2 = (t * newv2 - tp * prevv2) * rate;
    oldprev2 = oldv2;
    prevv2 = newv2;
  }

  host::vfill(dv[first], dv, 1, first);
  host::vfill(dv[last], dv + last + 1, 1, n - 1 - last);
  host::vmul(dv, 1, vrms, 1, vrms, 1, n);
}

}  // namespace solution
