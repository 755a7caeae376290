#pragma once

#include "korvane/run_state.h"

/// Run constants, the filters that are designed once, and the end of start-up.
namespace korvane {

/// Everything that depends on the sample interval alone.
void setFixedConstants(const Parameters& p, Constants& c);
/// Length of the interpolation filters from the sample interval, and the bank of 100 of them.
void designInterpolation(const Parameters& p, Constants& c);
/// The two band filters of the AVO engine: 30 Hz Ricker wavelet (Ricker 1953), 10 % white noise. Fatal: no design.
void designBandFilters(const Parameters& p, Constants& c);
/// The parameter block of the AVO engine: three-term intercept and gradient, stretch term, 50 ms end tapers.
void fillAvoBlock(const Parameters& p, Constants& c);
/// Announces the largest output ensemble; ensembles can be asked for afterwards. Fatal: it has more traces
/// than an int counts.
void endInitialisation(const Parameters& p);

}  // namespace korvane
