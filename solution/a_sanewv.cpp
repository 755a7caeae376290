#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "host/vector.h"
#include "host/wide.h"
#include "solution/solution.h"
#include "solution/velocity_revision.h"

namespace solution {

namespace {

constexpr int blockSamples = 64;  // samples that are handled together, the lanes of each next to one another

template <class Number>
double squared(Number value) noexcept {
  const double wide = static_cast<double>(value);
  return wide * wide;
}

// Of the two, one that is not a number loses.
double larger(double a, double b) noexcept { return a >= b ? a : (b == b ? b : a); }
double smaller(double a, double b) noexcept { return a <= b ? a : (b == b ? b : a); }

/// The limits in the precision and the units of the arithmetic.
struct Scaled {
  explicit Scaled(const RevisionLimits& limits) noexcept
      : first(limits.fsa - 1),
        last(limits.lsa - 1),
        rate(static_cast<double>(limits.fs)),
        start(static_cast<double>(static_cast<float>(limits.it0) * 0.001f)),
        frequency(static_cast<double>(limits.wf0)),
        attenuation(static_cast<double>(twoPi / (16.0f * limits.q))),
        dampingTime(static_cast<double>(static_cast<float>(limits.vtime) * 0.001f)),
        dampingPower(static_cast<double>(static_cast<float>(limits.vpow) * 0.1f)),
        highRatio(static_cast<double>(1.0f + 0.01f * limits.maxdv)),
        lowRatio(static_cast<double>(1.0f - 0.01f * limits.mindv)),
        miniv2(squared(limits.miniv)),
        maxiv2(squared(limits.maxiv)),
        minsv2(squared(limits.minsv)),
        maxsv2(squared(limits.maxsv)),
        pcdn2(squared(1.0 - 0.01 * static_cast<double>(limits.minpct))),
        pcup2(squared(1.0 + 0.01 * static_cast<double>(limits.maxpct))),
        change(200000.0 / rate) {}

  double time(int sample) const noexcept { return static_cast<double>(sample) / rate + start; }

  /// Cycles of the attenuated reference frequency down to the sample, and the damping there.
  void divisors(int sample, double& cycles, double& damping) const noexcept {
    const double t = time(sample);
    const double a = attenuation * t * frequency;
    cycles = (std::sqrt(a * a + 1.0) - a) * static_cast<double>(twoPi) * frequency * t;
    damping = std::pow(t / dampingTime, dampingPower) + 1.0;
  }

  static constexpr float twoPi = 6.2832f;
  int first, last;  // samples, from 0
  double rate, start, frequency, attenuation, dampingTime, dampingPower, highRatio, lowRatio;
  double miniv2, maxiv2, minsv2, maxsv2, pcdn2, pcup2;
  double change;  // of the squared interval velocity over a sample, per interval velocity
};

/// Where the functions stand on their way down, how many ratios were held at a limit, and the first limit that an input
/// velocity broke.
template <int lanes>
struct Chain {
  double oldprev2[lanes] = {}, prevv2[lanes] = {}, previ2[lanes] = {};
  float held[lanes] = {};
  int status[lanes] = {};
  double when[lanes] = {};
};

/// A block of samples: indicators, which become ratios, and velocities.
template <int lanes>
struct Block {
  float dv[blockSamples][lanes], velocity[blockSamples][lanes];
};

template <int lanes>
[[gnu::always_inline]] inline void limitRatios(const Scaled& s, Block<lanes>& block, int sample, double cycles,
                                               double damping) noexcept {
  for (int l = 0; l < lanes; ++l) {
    const double ratio = static_cast<double>(block.dv[sample][l]) / cycles / damping + 1.0;
    block.dv[sample][l] = static_cast<float>(larger(s.lowRatio, smaller(s.highRatio, ratio)));
  }
}

template <int lanes>
[[gnu::always_inline]] inline void begin(const Scaled& s, const Block<lanes>& block, Chain<lanes>& chain) noexcept {
  for (int l = 0; l < lanes; ++l) {
    double old = squared(block.velocity[0][l]);
    if (old < s.miniv2) old = s.miniv2;
    if (old < s.minsv2) old = s.minsv2;
    if (old > s.maxiv2) old = s.maxiv2;
    if (old > s.maxsv2) old = s.maxsv2;
    chain.oldprev2[l] = old;
    chain.prevv2[l] = squared(block.dv[0][l]) * old;
    chain.previ2[l] = 0.0;
  }
}

/// Pulls the ratios of a sample back within the limits on interval and RMS velocities.
template <int lanes, bool noting>
[[gnu::always_inline]] inline void goDown(const Scaled& s, Block<lanes>& block, int sample, int i,
                                          Chain<lanes>& chain) noexcept {
  const double t = s.time(i), tp = s.time(i - 1), rate = s.rate, rt = s.rate * t;
  const auto lowRatio = static_cast<float>(s.lowRatio), highRatio = static_cast<float>(s.highRatio);
  const bool atStart = i == s.first + 1;
  KORVANE_INDEPENDENT
  for (int l = 0; l < lanes; ++l) {
    const double velocity = static_cast<double>(block.velocity[sample][l]);
    const double prevv2 = chain.prevv2[l];
    const double given2 = velocity * velocity;
    const double raised2 = given2 < s.minsv2 ? s.minsv2 : given2;
    const double oldv2 = raised2 > s.maxsv2 ? s.maxsv2 : raised2;
    const double found2 = (t * oldv2 - tp * chain.oldprev2[l]) * rate;
    const double lifted2 = found2 < s.miniv2 ? s.miniv2 : found2;
    const double vi2 = lifted2 > s.maxiv2 ? s.maxiv2 : lifted2;
    if constexpr (noting) {
      int event = 0;
      if (lifted2 > s.maxiv2) event = 4;
      if (found2 < s.miniv2) event = 3;
      if (raised2 > s.maxsv2) event = 2;
      if (given2 < s.minsv2) event = 1;
      if (chain.status[l] == 0 && event != 0) {
        chain.status[l] = event;
        chain.when[l] = t;
      }
    }
    const double previ2 = atStart ? vi2 : chain.previ2[l];
    const double previ = std::sqrt(previ2);

    // The squared RMS velocity at t for a squared interval velocity w over (tp, t] is prevv2 + (w - prevv2) / (rate t).
    const double low2 = larger(larger(s.pcdn2 * vi2, s.miniv2), previ2 - previ * s.change);
    const double vsmin = larger(prevv2 + (low2 - prevv2) / rt, s.minsv2);
    const double high2 = smaller(smaller(s.pcup2 * vi2, s.maxiv2), previ2 + previ * s.change);
    const double vsmax = smaller(prevv2 + (high2 - prevv2) / rt, s.maxsv2);

    const float ratio = block.dv[sample][l];
    const double wanted2 = static_cast<double>(ratio) * static_cast<double>(ratio) * oldv2;
    const float lowest = static_cast<float>(std::sqrt(vsmin) / velocity);
    const float highest = static_cast<float>(std::sqrt(vsmax) / velocity);
    const bool below = vsmin > wanted2;
    const double held2 = below ? vsmin : wanted2;
    const float held = below ? lowest : ratio;
    const bool above = held2 > vsmax;
    const double newv2 = above ? vsmax : held2;
    const float kept = above ? highest : held;
    block.dv[sample][l] = kept;
    const bool free = (ratio > lowRatio) & (ratio < highRatio) & (kept == ratio);
    chain.held[l] += free ? 0.0f : 1.0f;
    chain.previ2[l] = (t * newv2 - tp * prevv2) * rate;
    chain.oldprev2[l] = oldv2;
    chain.prevv2[l] = newv2;
  }
}

/// Samples first .. last of all lanes. Rows dv[l] and vrms[l]; divisors(i, cycles, damping) gives those of sample i.
template <int lanes, bool noting, class Divisors>
[[gnu::always_inline]] inline void revise(const Scaled& s, float* const* dv, const float* const* vrms,
                                          Divisors divisors, Chain<lanes>& chain) noexcept {
  Block<lanes> block;
  for (int from = s.first; from <= s.last; from += blockSamples) {
    const int count = std::min(blockSamples, s.last - from + 1);
    for (int l = 0; l < lanes; ++l) {
      for (int k = 0; k < count; ++k) {
        block.dv[k][l] = dv[l][from + k];
        block.velocity[k][l] = vrms[l][from + k];
      }
    }
    for (int k = from == s.first ? 1 : 0; k < count; ++k) {
      double cycles, damping;
      divisors(from + k, cycles, damping);
      limitRatios(s, block, k, cycles, damping);
    }
    if (from == s.first) {
      for (int l = 0; l < lanes; ++l) block.dv[0][l] = s.last > s.first ? block.dv[1][l] : 1.0f;
      begin(s, block, chain);
    }
    for (int k = from == s.first ? 1 : 0; k < count; ++k) goDown<lanes, noting>(s, block, k, from + k, chain);
    for (int l = 0; l < lanes; ++l) {
      for (int k = 0; k < count; ++k) dv[l][from + k] = block.dv[k][l];
    }
  }
}

bool hasNothingToRevise(const RevisionLimits& limits, const float* vrms) noexcept {
  return limits.wf0 <= 0.0f || vrms[0] <= 1.5f;
}

/// Samples outside the range take the nearest ratio; the ratios go into the velocities.
void finish(const Scaled& s, float* dv, float* vrms, int n) noexcept {
  host::vfill(dv[s.first], dv, 1, s.first);
  host::vfill(dv[s.last], dv + s.last + 1, 1, n - 1 - s.last);
  host::vmul(dv, 1, vrms, 1, vrms, 1, n);
}

KORVANE_WIDE void reviseSideBySide(const Scaled& s, float* const* dv, const float* const* vrms, const double* cycles,
                                   const double* damping, Chain<VelocityRevision::lanes>& chain) noexcept {
  const int first = s.first;
  revise<VelocityRevision::lanes, false>(
      s, dv, vrms,
      [=](int i, double& c, double& d) {
        c = cycles[i - first];
        d = damping[i - first];
      },
      chain);
}

}  // namespace

void a_sanewv(float* dv, float* vrms, const int& ns, const int& it0, const float& fs, const float& wf0, const float& q,
              const int& fsa, const int& lsa, const int& miniv, const int& maxiv, const float& minpct,
              const float& maxpct, const float& mindv, const float& maxdv, const int& minsv, const int& maxsv,
              const int& vtime, const int& vpow, int& status, float& reft) noexcept {
  const RevisionLimits limits{.it0 = it0,
                              .fs = fs,
                              .wf0 = wf0,
                              .q = q,
                              .fsa = fsa,
                              .lsa = lsa,
                              .miniv = miniv,
                              .maxiv = maxiv,
                              .minpct = minpct,
                              .maxpct = maxpct,
                              .mindv = mindv,
                              .maxdv = maxdv,
                              .minsv = minsv,
                              .maxsv = maxsv,
                              .vtime = vtime,
                              .vpow = vpow};
  const int n = ns;
  status = 0;
  reft = 0.0f;
  if (hasNothingToRevise(limits, vrms)) return host::vfill(1.0f, dv, 1, n);

  const Scaled s(limits);
  Chain<1> chain;
  revise<1, true>(
      s, &dv, &vrms, [&s](int i, double& cycles, double& damping) { s.divisors(i, cycles, damping); }, chain);
  status = chain.status[0];
  reft = static_cast<float>(chain.when[0]);
  finish(s, dv, vrms, n);
}

VelocityRevision::VelocityRevision(int ns, const RevisionLimits& limits) : ns_(ns), limits_(limits) {
  const Scaled s(limits);
  for (int i = s.first; i <= s.last; ++i) s.divisors(i, cycles_.emplace_back(), damping_.emplace_back());
}

void VelocityRevision::revise(float* const* dv, float* const* vrms, int count, int* held) const noexcept {
  const Scaled s(limits_);
  std::array<float*, lanes> ratios, velocities;
  std::array<int, lanes> places;  // among the functions given
  std::size_t used = 0;
  std::fill_n(held, count, 0);
  for (int l = 0; l < count; ++l) {
    if (hasNothingToRevise(limits_, vrms[l])) {
      host::vfill(1.0f, dv[l], 1, ns_);
      continue;
    }
    places[used] = l;
    ratios[used] = dv[l];
    velocities[used++] = vrms[l];
  }
  if (used == 0) return;
  // lanes without a function of their own go along with the first one
  std::fill(ratios.begin() + used, ratios.end(), ratios[0]);
  std::fill(velocities.begin() + used, velocities.end(), velocities[0]);
  Chain<lanes> chain;
  reviseSideBySide(s, ratios.data(), velocities.data(), cycles_.data(), damping_.data(), chain);
  for (std::size_t l = 0; l < used; ++l) {
    finish(s, ratios[l], velocities[l], ns_);
    held[places[l]] = static_cast<int>(chain.held[l]);
  }
}

}  // namespace solution
