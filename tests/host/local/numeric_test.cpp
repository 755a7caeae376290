#include "host/local/numeric.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "host/local/job.h"

namespace host::local {
namespace {

std::vector<float> interpolated(const std::vector<float>& x, const std::vector<float>& y,
                                const std::vector<float>& at) {
  std::vector<float> out(at.size(), 99.0f);
  intlin(static_cast<int>(x.size()), x.data(), y.data(), static_cast<int>(at.size()), at.data(), out.data(), -1.0f,
         -2.0f);
  return out;
}

TEST(Intlin, TakesTheEndValuesStrictlyOutsideThePoints) {
  EXPECT_EQ(interpolated({10, 20, 40}, {1, 2, 6}, {9.999f, 10, 15, 20, 30, 40, 40.001f}),
            (std::vector<float>{-1, 1, 1.5f, 2, 4, 6, -2}));
}

TEST(Intlin, RoundsOnceFromDouble) {
  // In single precision (y1 - y0) * f already loses the last bits.
  const float y0 = 16777216.0f, y1 = 3.0f, at = 1.0f / 3.0f;
  const double exact = static_cast<double>(y0) + (3.0 - 16777216.0) * static_cast<double>(at);
  EXPECT_EQ(interpolated({0, 1}, {y0, y1}, {at})[0], static_cast<float>(exact));
}

std::vector<float> resampled(const std::vector<float>& in, float dt, float dtOut, int nOut) {
  std::vector<float> out(static_cast<std::size_t>(nOut), 99.0f);
  ress8r(static_cast<int>(in.size()), in.data(), nOut, out.data(), dt, 0.0f, -1.0f, -2.0f, dtOut);
  return out;
}

TEST(Ress8r, ReturnsSamplesUnchangedWhereTimesAgreeButForTheirRounding) {
  std::mt19937 random(7);
  std::vector<float> in(4000);
  for (float& v : in) v = std::ldexp(static_cast<float>(random()) - 2e9f, -31);
  for (const float dt : {0.1f, 0.3f, 0.7f, 1.1f, 4.0f}) {
    for (const int step : {1, 3, 7}) {
      const auto coarse = resampled(in, dt, static_cast<float>(step) * dt, 4000 / step);
      for (std::size_t j = 0; j < coarse.size(); ++j)
        ASSERT_EQ(coarse[j], in[j * static_cast<std::size_t>(step)]) << dt << " x " << step << " at " << j;
      const auto fine = resampled(in, dt, dt / static_cast<float>(step), 4000);
      for (std::size_t i = 0; i * static_cast<std::size_t>(step) < fine.size(); ++i)
        ASSERT_EQ(fine[i * static_cast<std::size_t>(step)], in[i]) << dt << " / " << step << " at " << i;
    }
  }
}

std::vector<float> shifted(std::vector<float> trace, float dt, float shift) {
  std::vector<float> work(trace.size());
  applyStatic2(trace.data(), work.data(), static_cast<int>(trace.size()), dt, shift);
  return trace;
}

TEST(ApplyStatic2, ShiftsWholeSamplesUnchangedWithZerosComingIn) {
  EXPECT_EQ(shifted({1, 2, 3, 4}, 4.0f, 4.0f), (std::vector<float>{0, 1, 2, 3}));
  EXPECT_EQ(shifted({1, 2, 3, 4}, 4.0f, -8.0f), (std::vector<float>{3, 4, 0, 0}));
  EXPECT_EQ(shifted({1, 2, 3, 4}, 0.1f, 3.0f * 0.1f), (std::vector<float>{0, 0, 0, 1}));
  const float tiny = 1e-42f;
  EXPECT_EQ(shifted({tiny, 0}, 4.0f, 4.0f), (std::vector<float>{0, tiny}));
}

TEST(ApplyStatic2, LeavesOnlyZerosWhenTheShiftIsLongerThanTheTrace) {
  for (const float shift : {16.0f, -16.0f, 1e6f, -3e38f, 85.3f, -85.3f})
    EXPECT_EQ(shifted({1, 2, 3, 4}, 4.0f, shift), std::vector<float>(4, 0.0f)) << shift;
}

TEST(ApplyStatic2, DelaysEveryFrequencyUpToMostOfNyquistWithinAThousandth) {
  constexpr int nt = 400;
  for (const double samples : {0.5, 0.01, 0.99, 3.25, -7.7, -0.4}) {
    for (const double frequency : {0.0, 0.05, 0.2, 0.5, 0.7, 0.85}) {
      const double omega = std::numbers::pi * frequency;
      std::vector<float> cosine(nt), sine(nt);
      for (int i = 0; i < nt; ++i) {
        cosine[i] = static_cast<float>(std::cos(omega * i));
        sine[i] = static_cast<float>(std::sin(omega * i));
      }
      const float shift = static_cast<float>(samples * 4.0);
      const auto outCosine = shifted(cosine, 4.0f, shift);
      const auto outSine = shifted(sine, 4.0f, shift);
      for (int i = 40; i < nt - 40; ++i) {
        const std::complex<double> wanted = std::polar(1.0, omega * (i - static_cast<double>(shift) / 4.0));
        ASSERT_LT(std::abs(std::complex<double>(outCosine[i], outSine[i]) - wanted), 1e-3)
            << samples << " samples at " << frequency << " Nyquist";
      }
    }
  }
}

std::vector<float> decoded(const std::string& text) {
  std::string buffer = text;
  buffer.resize(2 * text.size(), 'x');  // what stands behind the list must not matter
  const int count = decodePrep(buffer.data(), static_cast<int>(text.size()));
  std::vector<float> values(static_cast<std::size_t>(count) + 1, 99.0f);
  EXPECT_EQ(floatDecode(buffer.data(), count, values.data(), 0), count) << text;
  EXPECT_EQ(values.back(), 99.0f) << text;
  values.pop_back();
  return values;
}

TEST(List, HoldsNumbersBetweenCommasOrBlanksAndRanges) {
  EXPECT_EQ(decoded("1"), (std::vector<float>{1}));
  EXPECT_EQ(decoded("1,2 3\t4 , 5"), (std::vector<float>{1, 2, 3, 4, 5}));
  EXPECT_EQ(decoded("  0.5, -1e-3  "), (std::vector<float>{0.5f, -1e-3f}));
  EXPECT_EQ(decoded("1-3,7-7 -2--1"), (std::vector<float>{1, 2, 3, 7, -2, -1}));
}

TEST(List, IsRefusedWithItsTextWhenItIsNoList) {
  for (const std::string text : {" ", ",", "1,,2", "1,", "one", "1,x", "3-1", "1.5-3", "1-", "1 - 3", "nan", "1e99",
                                 "0-1000000", "0-99999999999999999999", "0-16777217", "1;2"}) {
    try {
      std::string buffer = text + text;
      decodePrep(buffer.data(), static_cast<int>(text.size()));
      ADD_FAILURE() << text;
    } catch (const RunError& error) {
      EXPECT_NE(std::string(error.what()).find('"' + text + '"'), std::string::npos) << error.what();
    }
  }
}

}  // namespace
}  // namespace host::local
