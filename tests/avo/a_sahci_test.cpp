#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <vector>

#include "avo/avo.h"
#include "moveout/moveout.h"

namespace {

using avo::column;
namespace slot = avo::slot;
namespace sums = avo::sums;
using Trace = std::vector<float>;

constexpr int n = 60, maxh = 4;
constexpr float interval = 0.004f, noDamping = 400.0f, kept = -77.0f;

float interceptOf(int i) { return std::sin(0.5f * static_cast<float>(i)); }
float gradientOf(int i) { return 0.4f * std::cos(0.3f * static_cast<float>(i)); }
float curvatureOf(int) { return 0.25f; }

/// A gather with known coefficients, its sums, and a call of the engine. Band filters are unit impulses at first.
struct Engine {
  Engine() : s(sums::count * n), h1(2 * maxh + 1), h2(h1), sloth(n + 2, 0.25e-6f), out(avo::out_size * n, kept) {
    h1[maxh] = 1.0f;
    slothi = sloth;
    parm[slot::ftrlen] = 43;
    parm[slot::order1] = 3;
    parm[slot::order2] = 2;
    parm[slot::v0] = 1480;
    parm[slot::ihilb] = 3;
    addGather([](int, float) { return 0.0f; });
  }

  /// Five traces of one angle each; noise(sample, sin^2) is added to the exact amplitudes.
  void addGather(const std::function<float(int, float)>& noise) {
    std::fill(s.begin(), s.end(), 0.0f);
    std::vector<double> scratch(n);
    for (const float angle : {0.0f, 12.0f, 22.0f, 31.0f, 40.0f}) {
      const float sine = std::sin(angle / 57.29578f), u = sine * sine;
      Trace d(n);
      for (int i = 1; i <= n; ++i) d[i - 1] = interceptOf(i) + gradientOf(i) * u + curvatureOf(i) * u * u + noise(i, u);
      int from = 1, to = n;
      avo::a_sahcic(s.data(), d.data(), sloth.data(), scratch.data(), sums::count, from, to, 1, n, 0.0f, interval,
                    angle, 0.0f, 1.0f, 1, 1.0f);
    }
  }
  void run() {
    avo::a_sahci(s.data(), h1.data(), h2.data(), sloth.data(), slothi.data(), parm.data(), out.data(), n, maxh,
                 slot::count, first, last, 2, sums::count, t0, interval, avopct);
  }
  Trace result(int k) const {
    const float* const values = column(out.data(), n, k - 1);
    return {values, values + n};
  }

  Trace s, h1, h2, sloth, slothi, out;
  std::array<int, slot::count> parm{};
  int first = 1, last = n;
  float t0 = 0.0f, avopct = noDamping;
};

Trace hilbert(const Trace& a, int from) {
  Trace h(n);
  avo::a_mahlbt(a.data(), h.data(), n, from, n, 43);
  return h;
}

Trace smoothed(Trace x, int halfLength) {
  Trace scratch(x.size());
  moveout::a_masmth(static_cast<int>(x.size()), 1, 1, x.data(), scratch.data(), halfLength);
  return x;
}

void expectNear(const Trace& actual, const std::function<double(int)>& expected, double tolerance) {
  for (int i = 0; i < n; ++i) EXPECT_NEAR(actual[i], expected(i), tolerance) << "sample " << i + 1;
}

TEST(AvoEngine, RecoversTheCoefficientsOfAnExactGather) {
  struct Choice {
    int order1, order2;
    float (*second)(int);
  };
  for (const Choice& choice : {Choice{3, 2, gradientOf}, Choice{3, 3, curvatureOf}}) {
    Engine e;
    e.parm[slot::order1] = choice.order1;
    e.parm[slot::order2] = choice.order2;
    e.run();
    expectNear(
        e.result(1), [](int i) { return interceptOf(i + 1); }, 2e-5);
    expectNear(
        e.result(2), [&](int i) { return choice.second(i + 1); }, 2e-4);
    for (int k = 3; k <= 5; ++k) EXPECT_EQ(e.result(k), Trace(n, kept));
    EXPECT_EQ(e.s, Trace(e.s.size(), 0.0f));
    EXPECT_EQ(e.first, 1);
    EXPECT_EQ(e.last, n);
  }
}

TEST(AvoEngine, DampsTheDiagonalByTheSumOfWeightsBeforeDamping) {
  // At 0 dB the weights double. At normal incidence the two-term system keeps its diagonal alone: A = sy / 10, B = 0.
  Engine e;
  for (int k = sums::sx2; k <= sums::sx8; ++k) std::fill_n(column(e.s.data(), n, k), n, 0.0f);
  std::fill_n(column(e.s.data(), n, sums::sy), n, 5.0f);
  std::fill_n(column(e.s.data(), n, sums::sx2y), n, 2.0f);
  e.parm[slot::order1] = 2;
  e.parm[slot::order2] = 1;
  e.avopct = 0.0f;
  e.run();
  EXPECT_EQ(e.result(1), Trace(n, 0.5f));
  EXPECT_EQ(e.result(2), Trace(n, 0.4f)) << "s4 becomes the undamped fold of 5";
}

TEST(AvoEngine, AddsTheStretchTermWithTheGuardSlownessAtBothEnds) {
  Engine plain;
  plain.run();
  const Trace a = plain.result(1), b = plain.result(2);
  for (const bool enabled : {true, false}) {
    Engine e;
    e.parm[slot::dstrch] = enabled ? 1 : 0;
    e.h2[maxh] = 0.5f;
    e.t0 = 0.1f;
    for (int i = 0; i <= n + 1; ++i) {
      e.sloth[i] = 1.0e-6f / (4.0f + 0.01f * static_cast<float>(i * i % 37));
      e.slothi[i] = 1.1f * e.sloth[i];
    }
    e.run();
    EXPECT_EQ(e.result(1), a);
    expectNear(
        e.result(2),
        [&](int i) {
          const double slope = (double(e.sloth[i + 2]) - e.sloth[i]) / (2.0 * interval);
          const double stretch = 0.5 * (1.0 - (i * interval + 0.1) * slope / e.sloth[i + 1]) * 0.5 * a[i];
          return (b[i] + (enabled ? stretch : 0.0)) * 1.1;
        },
        3e-6);
  }
}

TEST(AvoEngine, AddsTheWaterVelocityTermInTheFormThatTheSignOfTheVelocityChooses) {
  Engine plain;
  plain.run();
  const Trace a = plain.result(1), b = plain.result(2);
  const double r = 1480.0 * 1480.0 * 0.25e-6;
  for (const int v0 : {1480, -1480}) {
    Engine e;
    e.parm[slot::sphflg] = 1;
    e.parm[slot::v0] = v0;
    e.run();
    expectNear(
        e.result(2), [&](int i) { return b[i] + a[i] * 0.5 * (v0 > 0 ? 2.0 - r : (r + 1.0) / r); }, 2e-6);
  }
  Engine scaled;
  scaled.parm[slot::vflag] = 1;
  scaled.t0 = 0.5f;
  scaled.run();
  expectNear(
      scaled.result(1), [&](int i) { return a[i] * (i * interval + 0.5) / r; }, 2e-6);
  expectNear(
      scaled.result(2), [&](int i) { return b[i] * (i * interval + 0.5) / r; }, 2e-6);
}

TEST(AvoEngine, ReturnsWithoutAResultForAFitThatDoesNotExistOrAFoldThatIsTooLow) {
  for (const auto& [order1, order2, errflg] : {std::array{0, 2, 0}, {3, 0, 0}, {4, 2, 0}, {3, -1, 7}, {3, 4, 1}}) {
    Engine e, damped;
    e.parm[slot::order1] = order1;
    e.parm[slot::order2] = order2;
    e.parm[slot::errflg] = errflg;
    e.avopct = 0.0f;
    e.run();
    EXPECT_EQ(e.out, Trace(e.out.size(), kept));
    EXPECT_EQ(e.last, n);
    for (const int k : {sums::sx8, sums::sx4, sums::sx0})
      for (int i = 0; i < n; ++i)
        column(damped.s.data(), n, k)[i] =
            static_cast<float>(double(column(damped.s.data(), n, k)[i]) + column(damped.s.data(), n, sums::sx0)[i]);
    EXPECT_EQ(e.s, damped.s) << "the sums keep their damping";
  }
  Engine low;
  std::fill_n(column(low.s.data(), n, sums::sx0), n, 2.0f);
  const Trace before = low.s;
  low.run();
  EXPECT_EQ(low.first, n);
  EXPECT_EQ(low.last, 1);
  EXPECT_EQ(low.out, Trace(low.out.size(), kept));
  EXPECT_EQ(low.s, before);
}

TEST(AvoEngine, StoresTheResidualEnergiesThatAreAskedFor) {
  const auto noise = [](int i, float u) { return 0.2f * std::cos(40.0f * u + static_cast<float>(i)); };
  Engine energy, none;
  energy.addGather(noise);
  const Trace s = energy.s;
  const auto sum = [&](int k, int i) { return static_cast<double>(column(s.data(), n, k)[i]); };
  energy.parm[slot::errflg] = -3;
  energy.run();
  const Trace a = energy.result(1), b = energy.result(2), left = energy.result(3);
  // Two stages: the energy counts A and B alone.
  expectNear(
      left,
      [&](int i) { return std::max(0.0, sum(sums::sy2, i) - a[i] * sum(sums::sy, i) - b[i] * sum(sums::sx2y, i)); },
      2e-5);
  EXPECT_EQ(energy.result(4), Trace(n, kept));

  none.addGather(noise);
  none.parm[slot::errflg] = 4;
  none.run();
  EXPECT_EQ(none.result(3), Trace(n, kept));
  EXPECT_EQ(none.result(2), b);

  for (int errflg = 1; errflg <= 3; ++errflg) {
    SCOPED_TRACE(errflg);
    Engine e;
    e.addGather(noise);
    e.parm[slot::errflg] = errflg;
    e.run();
    EXPECT_EQ(e.result(1), a);
    EXPECT_EQ(e.result(2), b);
    expectNear(
        e.result(3),
        [&, energyOf = e.result(3)](int i) {
          // Three stages: C takes its share as well; what remains is the sum of squares of the misfit.
          double s0 = sum(sums::sx0, i), s2 = sum(sums::sx2, i), s4 = sum(sums::sx4, i), s6 = sum(sums::sx6, i),
                 s8 = sum(sums::sx8, i);
          const double c = (sum(sums::sx4y, i) - a[i] * s4 - b[i] * s6) / s8;
          return std::sqrt(std::max(0.0, sum(sums::sy2, i) - 2 * a[i] * sum(sums::sy, i) -
                                             2 * b[i] * sum(sums::sx2y, i) - 2 * c * sum(sums::sx4y, i) +
                                             a[i] * a[i] * s0 + b[i] * b[i] * s4 + c * c * s8 +
                                             2 * (a[i] * b[i] * s2 + a[i] * c * s4 + b[i] * c * s6)));
        },
        5e-4);
    for (int k = 4; k <= 5; ++k) {
      if (errflg == 1) {
        EXPECT_EQ(e.result(k), Trace(n, kept));
        continue;
      }
      expectNear(
          e.result(k),
          [&](int i) {
            const double s0 = sum(sums::sx0, i), s2 = sum(sums::sx2, i), s4 = sum(sums::sx4, i), s6 = sum(sums::sx6, i),
                         s8 = sum(sums::sx8, i);
            const double d = s0 * (s4 * s8 - s6 * s6) - s2 * (s2 * s8 - s4 * s6) + s4 * (s2 * s6 - s4 * s4);
            const double part =
                k == 4 ? (s4 * s8 - s6 * s6) / d * sum(sums::sy, i) : (s0 * s8 - s4 * s4) / d * sum(sums::sx2y, i);
            return k - 2 > errflg ? part : std::sqrt(std::max(0.0, part));
          },
          2e-2);
    }
  }
}

TEST(AvoEngine, GivesZeroForAStageThatWasNeverSelected) {
  Engine e;
  e.parm[slot::order1] = 1;
  e.parm[slot::errflg] = 3;
  std::fill_n(column(e.s.data(), n, sums::sx0), n, 1.0f);
  std::fill_n(column(e.s.data(), n, sums::sy), n, 4.0f);
  std::fill_n(column(e.out.data(), n, 1), n, 0.0f);
  e.run();
  EXPECT_EQ(e.first, 1) << "one trace is enough for one term";
  EXPECT_EQ(e.result(1), Trace(n, 4.0f));
  EXPECT_EQ(e.result(4), Trace(n, 2.0f));
  EXPECT_EQ(e.result(5), Trace(n, 0.0f));
}

TEST(QuadratureStage, RotatesThePhaseAndThePair) {
  Engine plain, phase, pair;
  plain.run();
  const Trace a = plain.result(1), b = plain.result(2), qa = hilbert(a, 1), qb = hilbert(b, 2);
  EXPECT_NE(hilbert(b, 1)[0], 0.0f) << "the quadrature of B starts at its second sample";
  phase.parm[slot::phrot] = 90;
  phase.run();
  expectNear(
      phase.result(1), [&](int i) { return -qa[i]; }, 1e-6);
  expectNear(
      phase.result(2), [&](int i) { return -qb[i]; }, 1e-6);
  pair.parm[slot::phrot] = 360;
  pair.parm[slot::abrot] = 900;
  pair.run();
  expectNear(
      pair.result(1), [&](int i) { return b[i]; }, 1e-6);
  expectNear(
      pair.result(2), [&](int i) { return -a[i]; }, 1e-6);
  EXPECT_EQ(pair.s, Trace(pair.s.size(), 0.0f));
}

TEST(QuadratureStage, SelectsSmoothsAndNormalisesTheCrossProducts) {
  Engine plain;
  plain.first = 3;
  plain.last = 57;
  plain.run();
  const auto rows = [](const Trace& x) { return Trace(x.begin() + 2, x.begin() + 57); };
  Trace a = plain.result(1), b = plain.result(2);
  for (Trace* x : {&a, &b})
    for (const int outside : {0, 1, 57, 58, 59}) (*x)[outside] = 0.0f;
  Trace qa(n), qb(n);
  avo::a_mahlbt(a.data(), qa.data(), n, 1, 57, 43);
  avo::a_mahlbt(b.data(), qb.data(), n, 2, 57, 43);

  struct Norms {
    int idsmth, iaflg, ibflg;
  };
  for (const Norms& norms : {Norms{0, 0, 0}, Norms{3, 0, 0}, Norms{0, 2, 0}, Norms{1, -1, 3}, Norms{0, 0, -2}}) {
    Trace inPhase(n), quadrature(n), normA(n), normB(n);
    for (int i = 0; i < n; ++i) {
      inPhase[i] = a[i] * b[i] + qa[i] * qb[i];
      quadrature[i] = qa[i] * b[i] - a[i] * qb[i];
      const float powerA = a[i] * a[i] + qa[i] * qa[i], powerB = b[i] * b[i] + qb[i] * qb[i];
      normA[i] = norms.iaflg > 0 ? std::sqrt(powerA) : powerA;
      normB[i] = norms.ibflg > 0 ? std::sqrt(powerB) : powerB;
    }
    normA = smoothed(rows(normA), std::abs(norms.iaflg));
    normB = smoothed(rows(normB), std::abs(norms.ibflg));
    Trace products[] = {smoothed(rows(inPhase), norms.idsmth), smoothed(rows(quadrature), norms.idsmth)};
    for (Trace& product : products)
      for (std::size_t i = 0; i < product.size(); ++i) {
        if (norms.iaflg != 0) product[i] /= normA[i];
        if (norms.ibflg != 0) product[i] /= normB[i];
      }
    for (int ihilb = 0; ihilb <= 2; ++ihilb) {
      Engine e;
      e.first = 3;
      e.last = 57;
      e.parm[slot::ihilb] = ihilb;
      e.parm[slot::idsmth] = norms.idsmth;
      e.parm[slot::iaflg] = norms.iaflg;
      e.parm[slot::ibflg] = norms.ibflg;
      e.run();
      EXPECT_EQ(rows(e.result(1)), ihilb == 0 ? products[0] : rows(a)) << ihilb;
      EXPECT_EQ(rows(e.result(2)), ihilb == 2 ? products[0] : products[1]) << ihilb;
      EXPECT_EQ(e.result(1)[1], kept);
      EXPECT_EQ(e.result(2)[57], kept);
    }
  }
}

}  // namespace
