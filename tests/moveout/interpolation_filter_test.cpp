#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <utility>
#include <vector>

#include "moveout/moveout.h"
#include "tests/support/fenced.h"

namespace {

using support::Fenced;
using Vector = std::vector<float>;

/// The bank by its definition, shifts carrying the rounding of their additions; the last column is left alone.
Vector defined_bank(int taps, float edge) {
  const auto correlation = [=](float lag) {
    const float phase = (lag * 3.1415927f) * edge;
    return phase == 0.0f ? 1.0f : std::sin(phase) / phase;
  };
  Vector bank(100 * taps, Fenced<float>::mark), acor(taps), ccor(taps), work(taps), filter(taps);
  for (int k = 0; k < taps; ++k) acor[k] = correlation(static_cast<float>(k));
  float shift = 0.0f;
  for (int k = 1; k <= 50; ++k) {
    shift = shift + 0.01f;
    float lag = static_cast<float>(1 - taps / 2) - shift;
    for (int j = 0; j < taps; ++j, lag = lag + 1.0f) ccor[j] = correlation(lag);
    moveout::a_mwienr(taps, acor.data(), ccor.data(), work.data(), filter.data());
    for (int j = 0; j < taps; ++j) {
      if (k < 50) bank[(99 - k) * taps + taps - 1 - j] = filter[j];
      bank[(k - 1) * taps + j] = filter[j];
    }
  }
  return bank;
}

TEST(InterpolationBank, HasTheBitsOfItsDefinitionAndEstimatesTheSignalAtEveryShift) {
  // one design for each range of sample intervals
  for (const auto& [n, edge] : {std::pair{12, 0.8f}, {10, 0.75f}, {8, 0.7f}, {4, 0.45f}}) {
    Fenced<float> acor(n), ccor(n), filter(n), work(n), bank(100 * n);
    moveout::a_mcofgn(n, edge, acor.data(), ccor.data(), filter.data(), work.data(), bank.data());
    for (const Fenced<float>* array : {&acor, &ccor, &filter, &work, &bank}) EXPECT_TRUE(array->fences_stand());
    EXPECT_EQ(bank.values(), defined_bank(n, edge)) << n << " taps";

    const double omega = 0.5 * edge * std::numbers::pi;
    for (int k = 1; k <= 99; ++k) {
      double estimate = 0.0;
      for (int j = 1; j <= n; ++j) estimate += bank[(k - 1) * n + j - 1] * std::sin(omega * j + 1.0);
      EXPECT_NEAR(estimate, std::sin(omega * (n / 2 + 0.01 * k) + 1.0), 0.01) << n << " taps, column " << k;
    }
  }
}

}  // namespace
