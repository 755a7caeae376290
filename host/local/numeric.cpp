#include "host/local/numeric.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <optional>
#include <string>
#include <string_view>

#include "host/local/job.h"

namespace host::local {

namespace {

float between(float y0, float y1, double fraction) {
  const double low = static_cast<double>(y0);
  return static_cast<float>(low + (static_cast<double>(y1) - low) * fraction);
}

/// The whole number that a / b is to within the rounding of both to float; 0 when it is none.
double wholeRatio(float a, float b) {
  const double ratio = static_cast<double>(a) / static_cast<double>(b);
  const double whole = std::nearbyint(ratio);
  return std::abs(ratio - whole) <= std::ldexp(whole, -23) ? whole : 0.0;
}

// ---- static shift ---------------------------------------------------------------------------------------------------

constexpr int halfTaps = 16;        // on each side of the position
constexpr double kaiserBeta = 6.0;  // pass band error below 0.001

/// Modified Bessel function of the first kind and order 0, by its power series.
double besselI0(double x) {
  const double quarter = 0.25 * x * x;
  double term = 1.0;
  double sum = 1.0;
  for (int k = 1; term > 1e-17 * sum; ++k) {
    term *= quarter / (static_cast<double>(k) * k);
    sum += term;
  }
  return sum;
}

/// Tap j multiplies sample j + 1 - halfTaps counted from the sample before the position; fraction in (0, 1].
std::array<double, 2 * halfTaps> sincTaps(double fraction) {
  std::array<double, 2 * halfTaps> taps{};
  double sum = 0.0;
  for (int j = 0; j < 2 * halfTaps; ++j) {
    const double distance = (j + 1 - halfTaps) - fraction;
    const double angle = std::numbers::pi * distance;
    const double edge = distance / halfTaps;
    const double sinc = angle == 0.0 ? 1.0 : std::sin(angle) / angle;
    taps[j] = sinc * besselI0(kaiserBeta * std::sqrt(std::max(0.0, 1.0 - edge * edge)));
    sum += taps[j];
  }
  for (double& tap : taps) tap /= sum;
  return taps;
}

void shiftWhole(const float* in, float* out, int nt, int samples) {
  for (int i = 0; i < nt; ++i) {
    const int from = i - samples;
    out[i] = from >= 0 && from < nt ? in[from] : 0.0f;
  }
}

void shiftFraction(const float* in, float* out, int nt, double samples) {
  const double whole = std::floor(samples);
  const std::array<double, 2 * halfTaps> taps = sincTaps(1.0 - (samples - whole));
  const int offset = -static_cast<int>(whole) - halfTaps;  // of the first tap's sample from the output sample
  for (int i = 0; i < nt; ++i) {
    const int firstTap = std::max(0, -(i + offset));
    const int endTap = std::min(2 * halfTaps, nt - (i + offset));
    double sum = 0.0;
    for (int j = firstTap; j < endTap; ++j) sum += taps[j] * static_cast<double>(in[i + offset + j]);
    out[i] = static_cast<float>(sum);
  }
}

// ---- lists ----------------------------------------------------------------------------------------------------------

constexpr std::int64_t longestList = 1'000'000;   // values; a longer one is a slip of the pen
constexpr std::int64_t largestInteger = 1 << 24;  // beyond it not every integer is a float
constexpr std::string_view blanks = " \t\r\n";

[[noreturn]] void refuseList(std::string_view list, const std::string& reason) {
  throw RunError("\"" + std::string(list) + "\" is not a list of numbers: " + reason +
                 ". Write numbers separated by commas or blanks; 2-5 stands for 2,3,4,5.");
}

template <class Number>
std::optional<Number> wholeText(std::string_view text) {
  Number value{};
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc{} || stop != end) return std::nullopt;
  return value;
}

struct Range {
  std::int64_t from, to;
};

/// The range that an item of the form a-b stands for.
std::optional<Range> rangeText(std::string_view item) {
  const std::size_t dash = item.find('-', 1);  // a leading one is a sign
  if (dash == std::string_view::npos) return std::nullopt;
  const auto from = wholeText<std::int64_t>(item.substr(0, dash));
  const auto to = wholeText<std::int64_t>(item.substr(dash + 1));
  if (!from || !to) return std::nullopt;
  return Range{*from, *to};
}

/// Calls take(float) with each value of the list in order, until it returns false.
template <class Take>
void forEachValue(std::string_view list, Take take) {
  std::int64_t count = 0;
  const auto give = [&](float value) {
    if (++count > longestList) refuseList(list, "it has more than " + std::to_string(longestList) + " values");
    return take(value);
  };
  std::size_t at = std::min(list.find_first_not_of(blanks), list.size());
  do {
    const std::size_t end = std::min(list.find_first_of(" \t\r\n,", at), list.size());
    const std::string_view item = list.substr(at, end - at);
    if (item.empty()) refuseList(list, "a number is missing");
    if (const auto value = wholeText<float>(item); value && std::isfinite(*value)) {
      if (!give(*value)) return;
    } else if (const auto range = rangeText(item)) {
      if (range->from > range->to || range->from < -largestInteger || range->to > largestInteger)
        refuseList(list, "the range \"" + std::string(item) + "\" does not ascend, or is not within +-16777216");
      for (std::int64_t i = range->from; i <= range->to; ++i)
        if (!give(static_cast<float>(i))) return;
    } else {
      refuseList(list, "\"" + std::string(item) + "\" is no number");
    }
    at = std::min(list.find_first_not_of(blanks, end), list.size());
    if (at < list.size() && list[at] == ',') {
      at = std::min(list.find_first_not_of(blanks, at + 1), list.size());
      if (at == list.size()) refuseList(list, "a number is missing after the last comma");
    }
  } while (at < list.size());
}

}  // namespace

void intlin(int m, const float* x, const float* y, int n, const float* xOut, float* yOut, float below, float above) {
  for (int i = 0; i < n; ++i) {
    const float at = xOut[i];
    if (m <= 0 || at < x[0]) {
      yOut[i] = below;
    } else if (at > x[m - 1]) {
      yOut[i] = above;
    } else {
      const auto k = std::upper_bound(x, x + m, at) - x - 1;
      if (k == m - 1 || at == x[k]) {
        yOut[i] = y[k];
      } else {
        const double left = static_cast<double>(x[k]);
        yOut[i] = between(y[k], y[k + 1], (static_cast<double>(at) - left) / (static_cast<double>(x[k + 1]) - left));
      }
    }
  }
}

void ress8r(int n, const float* in, int nOut, float* out, float dt, float /*t0*/, float first, float last,
            float dtOut) {
  const double stride = wholeRatio(dtOut, dt);
  const double parts = wholeRatio(dt, dtOut);
  for (int j = 0; j < nOut; ++j) {
    const float time = static_cast<float>(j) * dtOut;
    double at = static_cast<double>(time) / static_cast<double>(dt);
    if (stride > 0.0) {
      at = j * stride;
    } else if (parts > 0.0) {
      at = j / parts;
    } else if (const double nearest = std::nearbyint(at); static_cast<float>(nearest) * dt == time) {
      at = nearest;
    }
    if (at < 0.0) {
      out[j] = first;
    } else if (!(at <= static_cast<double>(n - 1))) {
      out[j] = last;
    } else {
      const int i = static_cast<int>(at);
      const double fraction = at - i;
      out[j] = fraction == 0.0 ? in[i] : between(in[i], in[i + 1], fraction);
    }
  }
}

void applyStatic2(float* trace, float* work, int nt, float dt, float shift) {
  if (!std::isfinite(shift)) return;
  const double samples = static_cast<double>(shift) / static_cast<double>(dt);
  if (!(std::abs(samples) < static_cast<double>(nt) + halfTaps)) {
    std::fill_n(trace, std::max(nt, 0), 0.0f);
    return;
  }
  std::copy_n(trace, nt, work);
  const double nearest = std::nearbyint(samples);
  if (static_cast<float>(nearest) * dt == shift) {
    shiftWhole(work, trace, nt, static_cast<int>(nearest));
  } else {
    shiftFraction(work, trace, nt, samples);
  }
}

int decodePrep(char* list, int length) {
  const std::string_view text(list, static_cast<std::size_t>(length));
  int count = 0;
  forEachValue(text, [&](float) {
    ++count;
    return true;
  });
  list[length] = '\0';
  return count;
}

int floatDecode(const char* list, int count, float* values, int /*origin*/) {
  int stored = 0;
  forEachValue(list, [&](float value) {
    if (stored < count) values[stored++] = value;
    return stored < count;
  });
  return stored;
}

}  // namespace host::local
