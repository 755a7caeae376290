#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <random>
#include <tuple>
#include <utility>
#include <vector>

#include "avo/avo.h"
#include "moveout/moveout.h"
#include "tests/definitions/definitions.h"
#include "tests/support/fenced.h"

namespace {

using support::Fenced;
namespace slot = avo::slot;
namespace sums = avo::sums;
using Trace = std::vector<float>;

constexpr int n = 60, maxh = 4;
constexpr float interval = 0.004f, kept = Fenced<float>::mark;

float interceptOf(int i) { return std::sin(0.5f * static_cast<float>(i)); }
float gradientOf(int i) { return 0.4f * std::cos(0.3f * static_cast<float>(i)); }

/// The sums of a gather with known coefficients and a call of the engine, at first without damping, with unit impulses
/// for band filters and without the stretch term.
struct Engine {
  explicit Engine(const std::map<slot::Position, int>& changes = {}, float curvature = 0.25f) {
    for (const auto& [position, value] : changes) parm[position] = value;
    h1[maxh] = 1.0f;
    std::fill_n(s.data(), s.size(), 0.0f);
    for (const float u : {0.0f, 0.04f, 0.14f, 0.27f, 0.41f}) {  // squared sines of the incidence angles of five traces
      for (int i = 0; i < n; ++i) {
        const float d = interceptOf(i) + gradientOf(i) * u + curvature * u * u;
        const float left = 0.1f * gradientOf(i);  // energy of either sign that no fit explains
        const float terms[] = {d, d * u, d * u * u, 1.0f, u, u * u, u * u * u, u * u * u * u, d * d + left};
        for (int k = 0; k < sums::count; ++k) sum(k)[i] += terms[k];
      }
    }
  }

  Engine& run(decltype(definition::a_sahci) kernel = avo::a_sahci) {
    kernel(s.data(), h1.data(), h2.data(), sloth.data(), slothi.data(), parm.data(), out.data(), n, maxh, slot::count,
           first, last, nh, sums::count, t0, interval, avopct);
    EXPECT_TRUE(s.fences_stand() && out.fences_stand());
    return *this;
  }
  float* sum(int k) { return avo::column(s.data(), n, k); }
  Trace result(int k) const {
    const Trace all = out.values();
    return {all.begin() + (k - 1) * n, all.begin() + k * n};
  }

  Fenced<float> s{sums::count * n}, out{avo::out_size * n};
  Trace h1 = Trace(2 * maxh + 1), h2 = h1, sloth = Trace(n + 2, 0.25e-6f), slothi = sloth;
  std::array<int, slot::count> parm{43, 3, 2, 0, 0, 0, 1480, 3};
  int first = 1, last = n, nh = 2;
  float t0 = 0.0f, avopct = 400.0f;
};

TEST(AvoEngine, HasTheBitsOfItsDefinitionForTheFitOfTheDriver) {
  std::mt19937 random(5);
  std::uniform_real_distribution<float> share(-1.0f, 1.0f);
  for (const float avopct : {80.0f, 20.0f, 0.0f}) {
    for (const int taper : {0, 12, 70}) {
      Engine e({{slot::dstrch, 1}, {slot::taper, taper}});
      for (Trace* filter : {&e.h1, &e.h2})
        for (float& tap : *filter) tap = share(random);
      for (Trace* slowness : {&e.sloth, &e.slothi})
        for (float& value : *slowness) value *= 1.0f + 0.2f * share(random);
      for (const int i : {2, 3, 4, n - 6}) e.sum(sums::sx0)[i] = 0.4f;  // the first three end the range
      e.first = 3;
      e.last = n - 4;
      e.nh = taper == 0 ? maxh : 3;
      e.t0 = 0.1f;
      e.avopct = avopct;
      Engine plain = e;
      e.run();
      plain.run(definition::a_sahci);
      EXPECT_EQ(support::bits(e.out.values()), support::bits(plain.out.values())) << avopct << " dB, taper " << taper;
      EXPECT_EQ(support::bits(e.s.values()), support::bits(plain.s.values()));
      EXPECT_TRUE(e.first == plain.first && e.last == plain.last);
    }
  }
}

TEST(AvoEngine, RecoversTheCoefficientsOfAnExactGatherAndCorrectsThemAsTheFlagsTell) {
  struct Case {
    int order1, order2, dstrch, sphflg, vflag, v0;
  };
  for (const Case& c : {Case{3, 2, 0, 0, 0, 1480},
                        {3, 3, 0, 0, 0, 1480},
                        {2, 1, 0, 0, 0, 1480},
                        {3, 2, 1, 0, 0, 1480},
                        {3, 2, 0, 1, 0, 1480},
                        {3, 2, 1, 1, 0, -1480},
                        {3, 2, 1, 1, 1, 1480}}) {
    const float curvature = c.order1 == 2 ? 0.0f : 0.25f;
    Engine e({{slot::order1, c.order1},
              {slot::order2, c.order2},
              {slot::dstrch, c.dstrch},
              {slot::sphflg, c.sphflg},
              {slot::vflag, c.vflag},
              {slot::v0, c.v0}},
             curvature);
    e.h2[maxh] = 0.5f;
    e.t0 = 0.1f;
    for (int i = 0; i <= n + 1; ++i) {
      e.sloth[i] = 1.0e-6f / (4.0f + 0.01f * static_cast<float>(i * i % 37));
      e.slothi[i] = 1.1f * e.sloth[i];
    }
    e.run();
    for (int i = 0; i < n; ++i) {
      const double a = interceptOf(i), b = c.order2 == 3 ? curvature : gradientOf(i), time = i * double(interval) + 0.1;
      const double slow = e.sloth[i + 1], slope = (double(e.sloth[i + 2]) - e.sloth[i]) / (2.0 * interval);
      const double r = 1480.0 * 1480.0 * slow, water = 0.5 * (c.v0 > 0 ? 2.0 - r : (r + 1.0) / r);
      const double stretch = 0.5 * (1.0 - time * slope / slow) * 0.5, scale = c.vflag != 0 ? time / r : 1.0;
      EXPECT_NEAR(e.result(1)[i], a * scale, 2e-5) << "sample " << i + 1;
      EXPECT_NEAR(e.result(2)[i], (b + (c.dstrch * stretch + c.sphflg * water) * a) * 1.1 * scale, 3e-4) << i + 1;
    }
  }
}

TEST(AvoEngine, ReturnsWithoutAResultForAFitThatDoesNotExistOrAFoldThatIsTooLow) {
  for (const auto& [order1, order2, errflg] : {std::array{0, 2, 0}, {3, 0, 0}, {4, 2, 0}, {3, -1, 7}, {3, 4, 1}}) {
    Engine e({{slot::order1, order1}, {slot::order2, order2}, {slot::errflg, errflg}});
    e.avopct = 0.0f;
    e.run();
    EXPECT_TRUE(e.out.untouched() && e.last == n);
    EXPECT_EQ(e.sum(sums::sx0)[0], 10.0f) << "the sums keep their damping";
  }
  Engine low;
  std::fill_n(low.sum(sums::sx0), n, 2.0f);
  const Trace before = low.s.values();
  low.run();
  EXPECT_TRUE(low.first == n && low.last == 1 && low.out.untouched());
  EXPECT_EQ(low.s.values(), before);
}

TEST(AvoEngine, StoresTheResidualEnergiesThatAreAskedFor) {
  Engine given, alone1, alone2;  // all right-hand sides, the first, the second
  for (const int k : {sums::sy, sums::sx2y, sums::sx4y}) {
    if (k != sums::sy) std::fill_n(alone1.sum(k), n, 0.0f);
    if (k != sums::sx2y) std::fill_n(alone2.sum(k), n, 0.0f);
  }
  const Trace a = Engine().run().result(1), b = Engine().run().result(2), partA = alone1.run().result(1),
              partB = alone2.run().result(2), c = Engine({{slot::order2, 3}}).run().result(2);
  for (const auto& [errflg, columns] : {std::pair{-3, 3}, {0, 2}, {1, 3}, {2, 5}, {3, 5}, {4, 2}}) {
    Engine e({{slot::errflg, errflg}});
    e.run();
    EXPECT_TRUE(e.result(1) == a && e.result(2) == b);
    for (int i = 0; i < n; ++i) {
      double explained = double(a[i] * given.sum(sums::sy)[i]) + double(b[i] * given.sum(sums::sx2y)[i]);
      if (errflg > 0) explained += double(c[i] * given.sum(sums::sx4y)[i]);  // the third of three stages
      const double left = std::max(0.0, double(given.sum(sums::sy2)[i]) - explained);
      float expected[] = {static_cast<float>(left), partA[i], partB[i]};
      for (int k = 0; k < errflg && k < 3; ++k) expected[k] = std::sqrt(std::max(0.0f, expected[k]));
      for (int k = 3; k <= 5; ++k) EXPECT_EQ(e.result(k)[i], k <= columns ? expected[k - 3] : kept) << errflg;
    }
  }
}

TEST(QuadratureStage, RotatesMultipliesSmoothsNormalisesAndSelects) {
  struct Case {
    int first, phrot, abrot, idsmth, iaflg, ibflg;
  };
  constexpr int last = 57;
  const auto rotate = [](double degrees, Trace& x, Trace& y) {
    const double cosine = std::cos(degrees / 57.29578), sine = std::sin(degrees / 57.29578);
    for (int i = 0; i < n; ++i) {
      const double oldX = x[i], oldY = y[i];
      x[i] = static_cast<float>(cosine * oldX - sine * oldY);
      y[i] = static_cast<float>(sine * oldX + cosine * oldY);
    }
  };
  for (const Case& c : {Case{1, 90, 0, 0, 0, 0},
                        {1, 360, 900, 0, 0, 0},
                        {3, 30, -450, 3, 0, 0},
                        {3, 0, 0, 0, 2, 0},
                        {3, 0, 0, 1, -1, 3},
                        {3, 0, 0, 0, 0, -2}}) {
    const auto smooth = [&](Trace& x, int halfLength) {
      Trace scratch(n);
      moveout::a_masmth(last - c.first + 1, 1, c.first, x.data(), scratch.data(), halfLength);
    };
    Engine plain;
    plain.first = c.first;
    plain.last = last;
    plain.run();
    Trace a(n), b(n), qa(n), qb(n), inPhase(n), quadrature(n);
    for (int i = c.first - 1; i < last; ++i) a[i] = plain.result(1)[i], b[i] = plain.result(2)[i];
    avo::a_mahlbt(a.data(), qa.data(), n, 1, last, 43);
    avo::a_mahlbt(b.data(), qb.data(), n, 2, last, 43);
    rotate(c.phrot, a, qa);
    rotate(c.phrot, b, qb);
    rotate(c.abrot / 10.0, b, a);
    rotate(c.abrot / 10.0, qb, qa);
    for (int i = 0; i < n; ++i) {
      inPhase[i] = a[i] * b[i] + qa[i] * qb[i];
      quadrature[i] = qa[i] * b[i] - a[i] * qb[i];
    }
    smooth(inPhase, c.idsmth);
    smooth(quadrature, c.idsmth);
    for (const auto& [x, qx, mode] : {std::tuple(&a, &qa, c.iaflg), {&b, &qb, c.ibflg}}) {
      Trace norm(n, 1.0f);
      for (int i = 0; i < n && mode != 0; ++i) {
        const float power = (*x)[i] * (*x)[i] + (*qx)[i] * (*qx)[i];
        norm[i] = mode > 0 ? std::sqrt(power) : power;
      }
      smooth(norm, std::abs(mode));
      for (int i = 0; i < n; ++i) inPhase[i] /= norm[i], quadrature[i] /= norm[i];
    }
    const Trace* const selected[][2] = {{&inPhase, &quadrature}, {&a, &quadrature}, {&a, &inPhase}, {&a, &b}};
    for (int ihilb = 0; ihilb <= 3; ++ihilb) {
      Engine e({{slot::phrot, c.phrot},
                {slot::abrot, c.abrot},
                {slot::idsmth, c.idsmth},
                {slot::iaflg, c.iaflg},
                {slot::ibflg, c.ibflg},
                {slot::ihilb, ihilb}});
      e.first = c.first;
      e.last = last;
      e.run();
      for (int k = 1; k <= 2; ++k) {
        for (int i = 0; i < n; ++i) {
          const float value = i >= c.first - 1 && i < last ? (*selected[ihilb][k - 1])[i] : kept;
          EXPECT_NEAR(e.result(k)[i], value, 2e-6) << ihilb << ", column " << k << ", sample " << i + 1;
        }
      }
      EXPECT_EQ(e.s.values(), Trace(e.s.size(), 0.0f));
    }
  }
}

}  // namespace
