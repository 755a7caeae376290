#include "korvane/constants.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "moveout/moveout.h"

namespace korvane {

void setFixedConstants(const Parameters& p, Constants& c) {
  c.hdr = host::stdHdr();
  c.dtt = p.dt / 1000.0f;
  c.dx = 1.0f / c.dtt;
  c.rad = 0.017453292f;
  c.isrun = 9;
  c.iout = 5;
  c.ihilbt = 43;
  c.mmxh = 100;
  c.ifndx = p.dt <= 1.0f ? 50 : 40;
  c.nparm = 15;
  c.avopct = 80.0f;
  c.qfactor = 100.0f;
  c.miniv = 0;
  c.maxiv = 50000;
  c.minsv = 0;
  c.maxsv = 50000;
  c.ivtime = 6000;
  c.ivpow = 2;
  c.pctmin = 25.0f;
  c.pctmax = 25.0f;
  c.dvmin = 10.0f;
  c.dvmax = 20.0f;
}

void designInterpolation(const Parameters& p, Constants& c) {
  c.ilen = 12;
  if (p.dt <= 3.0f) c.ilen = 10;
  if (p.dt <= 2.0f) c.ilen = 8;
  if (p.dt <= 1.0f) c.ilen = 4;
  c.ilen2 = (c.ilen - 1) / 2 + 1;

  // fraction of the Nyquist frequency that filters of 2, 4, .. 12 taps are designed for
  const std::array<float, 6> bw{0.12f, 0.45f, 0.6f, 0.7f, 0.75f, 0.8f};
  std::array<float, 12> rw{};
  std::array<float, 14> g{}, ff{}, a{};
  c.rcoef.assign(static_cast<std::size_t>(100 * c.ilen), 0.0f);
  moveout::a_mcofgn(c.ilen, bw[static_cast<std::size_t>(c.ilen2 - 1)], rw.data(), g.data(), ff.data(), a.data(),
                    c.rcoef.data());
}

void designBandFilters(const Parameters& p, Constants& c) {
  const float fs = 1000.0f / p.dt;        // Hz
  const float pctw = 10.0f, pctc = 0.0f;  // percent of white and coloured noise
  const float wot = static_cast<float>(188.49555921538757 / static_cast<double>(fs));  // 2 pi 30 Hz per sample
  // one-pole corner at half the sampling frequency
  const double rate = static_cast<double>(fs);
  const double xtemp = 2.0 - std::cos(0.5 * rate * 6.283185307179586 / rate);
  const float pole = static_cast<float>(xtemp - std::sqrt(xtemp * xtemp - 1.0));

  c.h1.assign(static_cast<std::size_t>(3 * c.mmxh), 0.0f);
  c.h2.assign(static_cast<std::size_t>(3 * c.mmxh), 0.0f);
  std::vector<float> pcorr(1000), pcvect(1000);
  std::vector<double> pwork(1000);
  int status = 0;
  moveout::a_sarkft(c.h1.data(), c.h2.data(), pcorr.data(), pcvect.data(), pwork.data(), c.mmxh, c.ifndx, wot, pctw,
                    pctc, static_cast<double>(pole), status);
  if (status != 0) host::stErrFatal("%s: Cannot design the band filters (status %d).", toolName, status);
}

void fillAvoBlock(const Parameters& p, Constants& c) {
  const int waterVelocity = host::globalMisc().iunits == 1 ? 4850 : 1480;  // ft/s or m/s
  const int taper = static_cast<int>(50.0 / static_cast<double>(p.dt));
  c.iparm = {c.ihilbt, 3, 2, 1, 0, 0, waterVelocity, 3, 0, 0, 0, taper, 0, 0, 0};
}

void endInitialisation(const Parameters& p) {
  int& largest = host::globalRuntime().maxdtr;
  const std::int64_t traces = std::int64_t{p.nazim} * (p.iprestack == 0 ? p.outlen : std::int64_t{largest} + 3);
  if (traces > std::numeric_limits<int>::max()) {
    host::stErrFatal(
        "%s: An output ensemble of %lld traces cannot be counted. Ask for fewer traces in OUTPUT, or sectors.",
        toolName, static_cast<long long>(traces));
  }
  largest = static_cast<int>(traces);
  host::stEndInitialization();
}

}  // namespace korvane
