#include <cmath>
#include <cstdlib>
#include <initializer_list>

#include "avo/avo.h"
#include "host/mem_check.h"
#include "host/vector.h"
#include "moveout/moveout.h"

namespace avo {

namespace {

constexpr float pi = 3.1415929f;
constexpr double eps = 1.0e-40;                           // smallest envelope or power that divides
constexpr int aout = 0, bout = 1, energy = 2, parts = 3;  // columns of out

/// Columns of s once the sums are consumed.
namespace work {
enum Column : int { a, b, stretch, qa, qb, inPhase, quadrature, scratch };
constexpr Column normA = stretch, normB = qa;
}  // namespace work

/// What a stage takes from the cofactor and determinant lists of a_matv.
struct Fit {
  int cofactor[3];  // for the right-hand sides sy, sx2y, sx4y
  int determinant;
};

/// By stage, then by fit.
constexpr Fit fits[3][3] = {{{{2, 1, 1}, 1}, {{4, 3, 1}, 2}, {{10, 9, 7}, 3}},
                            {{{3, 2, 1}, 2}, {{9, 8, 6}, 3}, {{7, 6, 5}, 3}},
                            {{{1, 1, 1}, 1}, {{1, 1, 1}, 1}, {{7, 6, 5}, 3}}};

/// Columns of s that become A and B of the result, by ihilb.
constexpr int key[4][2] = {
    {work::inPhase, work::quadrature}, {work::a, work::quadrature}, {work::a, work::inPhase}, {work::a, work::b}};

/// Turns each pair (x, y) by an angle in degrees: x' = c x - s y, y' = s x + c y.
class Rotation {
 public:
  explicit Rotation(float degrees) noexcept
      : cosine_(std::cos(degrees * pi / 180.0f)), sine_(std::sin(degrees * pi / 180.0f)) {}

  void operator()(float* x, float* y, int begin, int end) const noexcept {
    for (int i = begin; i < end; ++i) {
      const float oldX = x[i], oldY = y[i];
      x[i] = cosine_ * oldX - sine_ * oldY;
      y[i] = sine_ * oldX + cosine_ * oldY;
    }
  }

 private:
  float cosine_, sine_;
};

/// Forms the quadrature traces, rotations and cross products of the pair in s on rows begin .. end - 1, counted from 0.
void quadratureStage(float* s, const int* parm, int rows, int begin, int end) noexcept {
  float* const a = column(s, rows, work::a);
  float* const b = column(s, rows, work::b);
  float* const qa = column(s, rows, work::qa);
  float* const qb = column(s, rows, work::qb);
  float* const inPhase = column(s, rows, work::inPhase);
  float* const quadrature = column(s, rows, work::quadrature);
  const auto smooth = [=](float* trace, int halfLength) {
    moveout::a_masmth(end - begin, 1, 1, trace + begin, column(s, rows, work::scratch) + begin, halfLength);
  };

  if (parm[slot::order1] != 0) a_mahlbt(a, qa, rows, 1, end, parm[slot::ftrlen]);
  if (parm[slot::order2] != 0) a_mahlbt(b, qb, rows, 2, end, parm[slot::ftrlen]);

  if (parm[slot::phrot] != 0) {
    const Rotation rotate(static_cast<float>(parm[slot::phrot]));
    rotate(a, qa, begin, end);
    rotate(b, qb, begin, end);
  }
  if (parm[slot::abrot] != 0) {
    const Rotation rotate(static_cast<float>(parm[slot::abrot]) / 10.0f);
    rotate(b, a, begin, end);
    rotate(qb, qa, begin, end);
  }

  for (int i = begin; i < end; ++i) {
    inPhase[i] = a[i] * b[i] + qa[i] * qb[i];
    quadrature[i] = qa[i] * b[i] - a[i] * qb[i];
  }
  smooth(inPhase, parm[slot::idsmth]);
  smooth(quadrature, parm[slot::idsmth]);

  const auto normalise = [=](const float* x, const float* qx, float* norm, int mode) {
    if (mode == 0) return;
    for (int i = begin; i < end; ++i) {
      const float power = x[i] * x[i] + qx[i] * qx[i];
      norm[i] = mode > 0 ? std::sqrt(power) : power;
    }
    smooth(norm, std::abs(mode));
    for (int i = begin; i < end; ++i) {
      const double v = static_cast<double>(norm[i]);
      if (v > eps) {
        inPhase[i] = static_cast<float>(static_cast<double>(inPhase[i]) / v);
        quadrature[i] = static_cast<float>(static_cast<double>(quadrature[i]) / v);
      }
    }
  };
  normalise(a, qa, column(s, rows, work::normA), parm[slot::iaflg]);
  // The norm of B takes the place of qA, which is no longer needed.
  normalise(b, qb, column(s, rows, work::normB), parm[slot::ibflg]);
}

}  // namespace

void a_sahci(float* s, const float* h1, const float* h2, const float* sloth, const float* slothi, const int* parm,
             float* out, const int& maxsmp, const int& maxh, const int& /*nparm*/, int& first, int& last, const int& nh,
             const int& isz, const float& t0, const float& tsamp, const float& avopct) noexcept {
  const int rows = maxsmp, columns = isz, maxLag = nh, firstTap = maxh - nh;
  const float start = t0, interval = tsamp;
  const int order[3] = {parm[slot::order1], parm[slot::order2], 3};
  const bool okcorr = order[0] != 0 && order[1] != 0;
  const int errflg = parm[slot::errflg] >= 4 ? 0 : parm[slot::errflg];
  const int taper = parm[slot::taper];

  const double avo = std::pow(10.0, static_cast<double>(avopct) / -20.0);
  const double avop = avo / (1.0 + avo);
  const float* const weights = column(s, rows, sums::sx0);
  // sx0 comes last: the others are raised by the sum of weights as it was.
  for (const int k : {sums::sx8, sums::sx4, sums::sx0}) {
    float* const diagonal = column(s, rows, k);
    for (int i = first - 1; i < last; ++i)
      diagonal[i] = static_cast<float>(static_cast<double>(diagonal[i]) + avo * static_cast<double>(weights[i]));
  }

  int n[9] = {}, nd[3] = {};
  const int nstg = errflg > 0 ? order[0] : 2;
  for (int g = 0; g < nstg; ++g) {
    if (order[g] < 1 || order[g] > 3) return;
    const Fit& fit = fits[g][order[g] - 1];
    for (int k = 0; k < 3; ++k) n[g + 3 * k] = fit.cofactor[k];
    nd[g] = fit.determinant;
  }

  a_matv(s, out, n, nd, rows, first, last, nstg, columns, taper, avop);
  const int begin = first - 1, end = last;
  const int nsa = end - begin;
  if (nsa <= 0) return;
  int ier = 0;
  host::mem_check(ier);

  if (errflg != 0) a_avoe(s, out, rows, first, last, columns, out_size, nstg);
  host::mem_check(ier);
  if (errflg >= 2) {
    // Stage 1 keeps its sy term alone, stage 2 its sx2y term.
    n[0 + 3 * 1] = n[0 + 3 * 2] = n[1 + 3 * 0] = n[1 + 3 * 2] = 1;
    a_matv(s, column(out, rows, parts), n, nd, rows, first, last, 2, columns, taper, avop);
  }
  for (int k = 0; k < errflg; ++k) {
    float* const root = column(out, rows, energy + k) + begin;
    host::vsqrtz(root, 1, 0.0f, root, 1, nsa);
  }

  host::vclr(s, 1, columns * rows);
  host::mem_check(ier);

  const auto bandPass = [=](int from, const float* filter, int to) {
    a_maconv(column(out, rows, from) + begin, filter + firstTap, column(s, rows, to) + begin, nsa, 2 * maxLag + 1,
             maxLag + 1);
  };
  float* const a = column(s, rows, work::a);
  float* const b = column(s, rows, work::b);
  float* const stretch = column(s, rows, work::stretch);
  host::vmov(column(out, rows, aout) + begin, 1, a + begin, 1, nsa);
  host::vmov(column(out, rows, bout) + begin, 1, b + begin, 1, nsa);
  if (order[0] != 0) bandPass(aout, h1, work::a);
  if (order[1] != 0) bandPass(bout, h1, work::b);
  if (parm[slot::dstrch] == 1 && okcorr) bandPass(aout, h2, work::stretch);

  const float dfact = okcorr ? 0.5f : 0.0f;
  const float pfact = parm[slot::sphflg] != 0 && okcorr ? 0.5f : 0.0f;
  const float v0 = static_cast<float>(parm[slot::v0]);
  const float v02 = v0 * v0;
  const bool secondForm = v0 < 0.0f;
  for (int i = begin; i < end; ++i) {
    const float slow = sloth[i + 1];
    const float time = static_cast<float>(i) * interval + start;
    const float ratio = v02 * slow;
    const float sv2 = secondForm ? (ratio + 1.0f) * pfact / ratio : (2.0f - ratio) * pfact;
    const double dsdt =
        0.5 * (static_cast<double>(sloth[i + 2]) - static_cast<double>(sloth[i])) / static_cast<double>(interval);
    const double drift = 1.0 - static_cast<double>(time) * dsdt / static_cast<double>(slow);
    const double corrected = static_cast<double>(b[i]) + static_cast<double>(sv2) * static_cast<double>(a[i]) +
                             static_cast<double>(dfact) * drift * static_cast<double>(stretch[i]);
    b[i] = static_cast<float>(corrected / static_cast<double>(slow / slothi[i + 1]));
  }

  if (parm[slot::vflag] != 0) {
    for (int i = begin; i < end; ++i) {
      const float factor = (static_cast<float>(i) * interval + start) / (sloth[i + 1] * v02);
      a[i] *= factor;
      b[i] *= factor;
    }
  }

  const int ihilb = parm[slot::ihilb];
  if (ihilb != 3 || parm[slot::phrot] != 0) quadratureStage(s, parm, rows, begin, end);

  host::vmov(column(s, rows, key[ihilb][0]) + begin, 1, column(out, rows, aout) + begin, 1, nsa);
  host::vmov(column(s, rows, key[ihilb][1]) + begin, 1, column(out, rows, bout) + begin, 1, nsa);
  host::vclr(s, 1, columns * rows);
}

}  // namespace avo
