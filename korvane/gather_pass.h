#pragma once

#include "korvane/run_state.h"

namespace korvane {

/// The analysis passes: fetches ensembles, moves them out with the current velocities, fits amplitude against angle and
/// stores intercept and gradient with their Hilbert transforms per CDP and sector; runs the update pass whenever a
/// pass is over.
/// @return traces of the ensemble in hand that opens the output pass; below 1 when the data are exhausted
int gatherPass(RunState& run);

/// What analysing some ensembles took.
struct Trial {
  int ensembles = 0;
  std::int64_t traces = 0;
  double seconds = 0.0;
};

/// Analyses the first ensembles of the grid as the first pass would, one after the other, on trial storage (see
/// storage.h): for a measure of the time that a run takes. Nothing is put out. The first one only warms up.
/// @param most     ensembles analysed
/// @param seconds  to stop after, whatever has been analysed
Trial tryEnsembles(RunState& run, int most, double seconds);

}  // namespace korvane
