#pragma once

#include <cstdint>

#include "korvane/run_state.h"

namespace korvane {

/// The analysis passes: fetches ensembles, moves them out with the current velocities, fits amplitude against angle and
/// stores intercept and gradient with their Hilbert transforms per CDP and sector; runs the update pass whenever a
/// pass is over.
/// @return traces of the ensemble in hand that opens the output pass; below 1 when the data are exhausted
int gatherPass(RunState& run);

/// Azimuth sector of a trace; an azimuth and its opposite share one. 0 without azimuth sectors.
int azimuthSector(const Parameters& p, const Constants& c, const std::int32_t* head);

/// Moves a trace of nt samples out in its place.
/// @param sloth    squared slowness, nt + 2 values from index 0
/// @param scratch  arrays of one flow; its trsave, tempTrc1, tempTrc2 and the last column of its rcoef are written
void moveTraceOut(const Parameters& p, const Constants& c, const float* sloth, float offset, float* trace,
                  Work& scratch);

/// The current pass puts out its moved traces.
bool emitsPrestack(const RunState& run);

/// Transforms A and B of a row of the stores.
// reads: parameters, constants, stores.astore, bstore   writes: stores.ahstore, bhstore
void storeHilbertTransforms(const RunState& run, std::int64_t slot);

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
