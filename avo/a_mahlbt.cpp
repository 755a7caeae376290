#include <algorithm>
#include <array>
#include <functional>
#include <iterator>
#include <span>

#include "avo/avo.h"
#include "avo/convolution.h"

namespace avo {

namespace {

// Coefficients of lags 1, 3, 5 ..; the largest lag of the three longer filters carries more than the one before it.
constexpr float filter95[] = {0.6363167f, 0.2112989f, 0.1258168f, 0.0888468f, 0.0680547f, 0.0546233f,
                              0.0451608f, 0.0380864f, 0.0325665f, 0.0281175f, 0.0244424f, 0.0213465f,
                              0.0186922f, 0.0163895f, 0.014377f,  0.0126022f, 0.011035f,  0.0096455f,
                              0.0083873f, 0.0072616f, 0.00628f,   0.0053689f, 0.0045718f, 0.0130099f};
constexpr float filter63[] = {0.635628f,  0.2092445f, 0.122434f,  0.0841979f, 0.0622273f, 0.0477262f,
                              0.0373177f, 0.0294397f, 0.0232716f, 0.0183266f, 0.0143195f, 0.0110475f,
                              0.0083775f, 0.0062078f, 0.0044618f, 0.0055706f};
constexpr float filter43[] = {0.6353344f, 0.2083547f, 0.1209598f, 0.0821807f, 0.0597557f, 0.0448233f,
                              0.0340917f, 0.025959f,  0.0196329f, 0.0146215f, 0.0216528f};
constexpr float filter31[] = {0.6313536f, 0.1968315f, 0.1030376f, 0.0595516f,
                              0.034401f,  0.0188358f, 0.0092821f, 0.0041956f};

/// Coefficients of the filter of that length, none for a length that does not exist.
std::span<const float> filterOfLength(int ftrlen) noexcept {
  switch (ftrlen) {
    case 95:
      return filter95;
    case 63:
      return filter63;
    case 43:
      return filter43;
    case 31:
      return filter31;
    default:
      return {};
  }
}

}  // namespace

void a_mahlbt(const float* a, float* h, const int& nt, const int& is1, const int& is2, const int& ftrlen) noexcept {
  const std::span<const float> g = filterOfLength(ftrlen);
  const int m = static_cast<int>(g.size());
  std::array<float, 2 * std::size(filter95)> taps;  // from the lowest lag
  std::transform(g.rbegin(), g.rend(), taps.begin(), std::negate());
  std::copy(g.begin(), g.end(), taps.begin() + m);
  convolve(a, {.taps = taps.data(), .count = 2 * m, .first_lag = 1 - 2 * m, .lag_step = 2}, h, nt, std::max(is1, 1) - 1,
           std::min(is2, nt));
}

}  // namespace avo
