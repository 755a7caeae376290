#pragma once

#include "korvane/run_state.h"

/// The tables of a run: which are opened, what they must hold, how the velocity at a CDP is asked for.
namespace korvane {

/// VELNAME: the velocity field to refine. Fatal: it cannot be opened.
void openInputVelocities(const Parameters& p, Tables& tables);
/// HORNAME: the horizons that bound the output window. Fatal: they cannot be opened.
void openHorizonTable(const Parameters& p, Tables& tables);
/// The output table, new or to append to. Fatal: no name, or an azimuthal table with other sectors or samples.
void openOutputVelocities(const Parameters& p, Tables& tables);

/// Velocity function of a CDP from the input table: nt samples at interval dt from time 0. 3D asks at map position
/// (x, y), 2D at the CDP number.
/// @return 0 on success
int inputVelocity(const Parameters& p, const Tables& tables, int cdp, float x, float y, float* function);

}  // namespace korvane
