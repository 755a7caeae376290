#include "korvane/start_up.h"

#include "korvane/constants.h"
#include "korvane/parameters.h"
#include "korvane/storage.h"
#include "korvane/tables.h"

namespace korvane {

void readJob(RunState& run) {
  Parameters& p = run.parameters;
  readJobRecords(p);
  readGrid(p);
  findSupergatherHeader(p);
  setFixedConstants(p, run.constants);
  readIterations(p);
  readNeighbourhood(p);
  readWindow(p);
  if (p.method != 1) openHorizonTable(p, run.tables);
  readInputName(p);
  openInputVelocities(p, run.tables);
  readFilters(p);
  readAngles(p, run.constants.rad);
  readStatics(p);
  readAzimuths(p);
  readOutputs(p);
  if (p.outvel != 0) openOutputVelocities(p, run.tables);

  designInterpolation(p, run.constants);
  designBandFilters(p, run.constants);
  fillAvoBlock(p, run.constants);
}

void startUp(RunState& run, int argc, char** argv) {
  host::initStandAlone(argc, argv, "SOCKET_TOOL");
  host::stConnectToServer();
  host::stSetToolName("Velocity Residuals (KORVANE)");
  readJob(run);
  makeStorage(run);
  endInitialisation(run.parameters);
}

}  // namespace korvane
