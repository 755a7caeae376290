// The kernels in a program of one's own: makes a CDP gather of one reflection whose amplitude changes with the angle of
// incidence, moves it out, and fits intercept and gradient. Status 0 when they come back as they went in.
#include <array>
#include <cmath>
#include <cstdio>
#include <vector>

#include "avo/avo.h"
#include "host/mem_check.h"
#include "moveout/moveout.h"

// A hook of processing systems that watch over memory. There is nothing to watch here.
void host::mem_check(int& /*status*/) noexcept {}

constexpr int samples = 500, fold = 24, taps = 12, lags = 2;
constexpr float interval = 0.004f, reflectionTime = 1.2f, velocity = 2400.0f;  // s, s, m/s
constexpr float intercept = 1.0f, gradient = -0.6f;

/// Ricker wavelet of 25 Hz.
float wavelet(float time) {
  const float u = std::pow(3.14159265f * 25.0f * time, 2.0f);
  return (1.0f - 2.0f * u) * std::exp(-u);
}

int main() {
  // slowness squared of a constant velocity, and the filters that interpolate between samples
  const std::vector<float> function(samples, velocity);
  std::vector<float> sloth(samples + 2), smoothed(samples + 2);
  int status = 0;
  moveout::a_savelc(function.data(), sloth.data(), smoothed.data(), samples, 0, 0.0f, status);
  std::vector<float> filters(100 * taps), a(taps), b(taps), c(taps), d(taps);
  moveout::a_mcofgn(taps, 0.8f, a.data(), b.data(), c.data(), d.data(), filters.data());

  std::vector<float> sums(avo::sums::count * samples), padded(samples + 2 * taps), moved(samples);
  std::vector<float> products(2 * taps * samples), columns(samples);
  std::vector<double> sines(samples);
  for (int trace = 0; trace < fold; ++trace) {
    const float offset = 100.0f + 60.0f * static_cast<float>(trace);  // m
    const float time = std::hypot(reflectionTime, offset / velocity);
    const float sine = offset / velocity / time;
    const float amplitude = intercept + gradient * sine * sine;
    for (int i = 0; i < samples; ++i) {
      padded[taps + i] = amplitude * wavelet(static_cast<float>(i) * interval - time);
    }

    int first = 1, last = samples;
    moveout::a_samvot(padded.data(), sloth.data(), filters.data(), moved.data(), products.data(), columns.data(),
                      samples, taps, 1, samples, offset, 1, 0.0f, interval, first, last);
    first = 1, last = samples;
    avo::a_sahcic(sums.data(), moved.data(), sloth.data(), sines.data(), avo::sums::count, first, last, 1, samples,
                  0.0f, interval, offset, 0.0f, 0.5f, 0, 1.0f);
  }

  // intercept and gradient of the two-term fit, neither filtered nor damped
  std::vector<float> impulse(2 * lags + 1), nothing(2 * lags + 1), result(avo::out_size * samples);
  impulse[lags] = 1.0f;
  std::array<int, avo::slot::count> parameters{43, 2, 2};
  parameters[avo::slot::ihilb] = 3;
  int first = 1, last = samples;
  avo::a_sahci(sums.data(), impulse.data(), nothing.data(), sloth.data(), smoothed.data(), parameters.data(),
               result.data(), samples, lags, avo::slot::count, first, last, lags, avo::sums::count, 0.0f, interval,
               400.0f);

  const int row = static_cast<int>(std::lround(reflectionTime / interval));
  const float foundA = avo::column(result.data(), samples, 0)[row],
              foundB = avo::column(result.data(), samples, 1)[row];
  std::printf("intercept %+.2f (made with %+.2f), gradient %+.2f (made with %+.2f)\n", foundA, intercept, foundB,
              gradient);
  return std::abs(foundA - intercept) < 0.02f && std::abs(foundB - gradient) < 0.05f ? 0 : 1;
}
