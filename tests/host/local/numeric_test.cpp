#include "host/local/numeric.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "tests/support/host_test.h"

namespace host::local {
namespace {

using Values = std::vector<float>;

Values interpolated(const Values& x, const Values& y, const Values& at) {
  Values out(at.size(), 99.0f);
  intlin(static_cast<int>(x.size()), x.data(), y.data(), static_cast<int>(at.size()), at.data(), out.data(), -1.0f,
         -2.0f);
  return out;
}

TEST(Intlin, TakesTheEndValuesStrictlyOutsideThePointsAndRoundsOnceFromDouble) {
  EXPECT_EQ(interpolated({10, 20, 40}, {1, 2, 6}, {9.999f, 10, 15, 20, 30, 40, 40.001f}),
            (Values{-1, 1, 1.5f, 2, 4, 6, -2}));
  // in single precision the difference loses the 3
  const double exact = 16777216.0 + (3.0 - 16777216.0) * static_cast<double>(0.999999f);
  EXPECT_EQ(interpolated({0, 1}, {16777216.0f, 3.0f}, {0.999999f})[0], static_cast<float>(exact));
}

TEST(Ress8r, ReturnsSamplesUnchangedWhereTimesAgreeButForTheirRounding) {
  std::mt19937 random(7);
  Values in(4000);
  for (float& v : in) v = std::ldexp(static_cast<float>(random()) - 2e9f, -31);
  const auto resampled = [&](float dt, float dtOut, std::size_t n) {
    Values out(n, 99.0f);
    ress8r(4000, in.data(), static_cast<int>(n), out.data(), dt, 0.0f, -1.0f, -2.0f, dtOut);
    return out;
  };
  for (const float dt : {0.1f, 0.3f, 0.7f, 1.1f, 4.0f}) {
    for (const std::size_t step : {1u, 3u, 7u}) {
      const Values coarse = resampled(dt, static_cast<float>(step) * dt, 4000 / step);
      for (std::size_t j = 0; j < coarse.size(); ++j) ASSERT_EQ(coarse[j], in[j * step]) << dt << " x " << step;
      const Values fine = resampled(dt, dt / static_cast<float>(step), 4000);
      for (std::size_t i = 0; i * step < 4000; ++i) ASSERT_EQ(fine[i * step], in[i]) << dt << " / " << step;
    }
  }
}

Values shifted(Values trace, float dt, float shift) {
  Values work(trace.size());
  applyStatic2(trace.data(), work.data(), static_cast<int>(trace.size()), dt, shift);
  return trace;
}

TEST(ApplyStatic2, ShiftsWholeSamplesUnchangedWithZerosComingIn) {
  EXPECT_EQ(shifted({1, 2, 3, 4}, 4.0f, 4.0f), (Values{0, 1, 2, 3}));
  EXPECT_EQ(shifted({1, 2, 3, 4}, 4.0f, -8.0f), (Values{3, 4, 0, 0}));
  EXPECT_EQ(shifted({1, 2, 3, 4}, 0.1f, 3.0f * 0.1f), (Values{0, 0, 0, 1}));
  EXPECT_EQ(shifted({1e-42f, 0}, 4.0f, 4.0f), (Values{0, 1e-42f}));
  for (const float shift : {16.0f, -16.0f, 1e6f, -3e38f, 85.3f, -85.3f}) {
    EXPECT_EQ(shifted({1, 2, 3, 4}, 4.0f, shift), Values(4, 0.0f)) << shift;
  }
}

TEST(ApplyStatic2, DelaysEveryFrequencyUpToMostOfNyquistWithinAThousandth) {
  constexpr int nt = 400;
  for (const float samples : {0.5f, 0.01f, 0.99f, 3.25f, -7.7f, -0.4f}) {
    for (const double frequency : {0.0, 0.05, 0.2, 0.5, 0.7, 0.85}) {
      const double omega = std::numbers::pi * frequency;
      Values cosine(nt), sine(nt);
      for (int i = 0; i < nt; ++i) {
        cosine[i] = static_cast<float>(std::cos(omega * i));
        sine[i] = static_cast<float>(std::sin(omega * i));
      }
      const Values outCosine = shifted(cosine, 4.0f, 4.0f * samples), outSine = shifted(sine, 4.0f, 4.0f * samples);
      for (int i = 40; i < nt - 40; ++i) {
        const std::complex<double> wanted = std::polar(1.0, omega * (i - static_cast<double>(samples)));
        ASSERT_LT(std::abs(std::complex<double>(outCosine[i], outSine[i]) - wanted), 1e-3)
            << samples << " samples at " << frequency << " Nyquist";
      }
    }
  }
}

TEST(List, HoldsNumbersBetweenCommasOrBlanksAndRanges) {
  for (const auto& [text, expected] :
       std::vector<std::pair<std::string, Values>>{{"1,2 3\t4 , 5", {1, 2, 3, 4, 5}},
                                                   {"  0.5, -1e-3  ", {0.5f, -1e-3f}},
                                                   {"1-3,7-7 -2--1", {1, 2, 3, 7, -2, -1}}}) {
    std::string buffer = text + std::string(text.size(), 'x');  // what stands behind the list must not matter
    Values values(static_cast<std::size_t>(decodePrep(buffer.data(), static_cast<int>(text.size()))));
    const int count = static_cast<int>(values.size());
    EXPECT_EQ(floatDecode(buffer.data(), count, values.data(), 0), count) << text;
    EXPECT_EQ(values, expected) << text;
  }
}

TEST(List, IsRefusedWithItsTextWhenItIsNoList) {
  for (const std::string text : {" ", "1,,2", "1,", "one", "1,x", "3-1", "1.5-3", "1-", "1 - 3", "nan", "1e99",
                                 "0-1000000", "0-99999999999999999999", "0-16777217", "1;2"}) {
    std::string buffer = text + text;
    const auto decode = [&] { decodePrep(buffer.data(), static_cast<int>(text.size())); };
    korvane_test::expectParts(korvane_test::refusal(decode), {'"' + text + '"'});
  }
}

}  // namespace
}  // namespace host::local
