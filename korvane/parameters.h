#pragma once

#include "korvane/run_state.h"

/// The parameter set, in the order in which it is read: a step a group of keys. Times come in ms and become samples by
/// single-precision division with truncation. Keys are asked for only in the modes that use them.
namespace korvane {

/// Sampling, ensemble size, header length, 2D or 3D.
void readJobRecords(Parameters& p);
/// MINILINE .. MAXXLINE, or MINCDP and MAXCDP. Fatal: no slots, or more than an int counts.
void readGrid(Parameters& p);
/// Supergathers: integer header "SG_CDP" that is the primary sort key.
void findSupergatherHeader(Parameters& p);
/// NUMITER; asks the framework for one delivery of the data more.
void readIterations(Parameters& p);
/// NUMXSUM, NUMYSUM: made odd and at least 1.
void readNeighbourhood(Parameters& p);
/// METHOD, with START and END, or HORNAME. Fatal: an empty window.
void readWindow(Parameters& p);
/// VELNAME.
void readInputName(Parameters& p);
/// VELFILT, FOLD, CORRWIN.
void readFilters(Parameters& p);
/// THMIN, THMAX. Fatal: no range of angles.
void readAngles(Parameters& p, float rad);
/// STATIC: without a header "NA_STAT" there are none.
void readStatics(Parameters& p);
/// AZIMTH, NAZIM; makes header "VEL_AZIM". Fatal: no slots, or more than an int counts; that header has another type or
/// cannot be made.
void readAzimuths(Parameters& p);
/// PRESTACK, or OUTPUT, OUTVEL, VELMETH, VELSAMP and the name of the output table. Fatal: an empty list of outputs.
void readOutputs(Parameters& p);
}  // namespace korvane
