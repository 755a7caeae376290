#include "korvane/start_up.h"

#include "korvane/constants.h"
#include "korvane/parameters.h"
#include "korvane/storage.h"
#include "korvane/tables.h"

namespace korvane {

std::span<const StartUpStep> readingSteps() {
  static constexpr StartUpStep steps[] = {
      [](RunState& run) { readJobRecords(run.parameters); },
      [](RunState& run) { readGrid(run.parameters); },
      [](RunState& run) { findSupergatherHeader(run.parameters); },
      [](RunState& run) { setFixedConstants(run.parameters, run.constants); },
      [](RunState& run) { readIterations(run.parameters); },
      [](RunState& run) { readNeighbourhood(run.parameters); },
      [](RunState& run) { readWindow(run.parameters); },
      [](RunState& run) {
        if (run.parameters.method != 1) openHorizonTable(run.parameters, run.tables);
      },
      [](RunState& run) { readInputName(run.parameters); },
      [](RunState& run) { openInputVelocities(run.parameters, run.tables); },
      [](RunState& run) { readFilters(run.parameters); },
      [](RunState& run) { readAngles(run.parameters, run.constants.rad); },
      [](RunState& run) { readStatics(run.parameters); },
      [](RunState& run) { readAzimuths(run.parameters); },
      [](RunState& run) { readOutputs(run.parameters); },
      [](RunState& run) {
        if (run.parameters.outvel != 0) openOutputVelocities(run.parameters, run.tables);
      },
  };
  return steps;
}

void designFilters(RunState& run) {
  designInterpolation(run.parameters, run.constants);
  designBandFilters(run.parameters, run.constants);
  fillAvoBlock(run.parameters, run.constants);
}

void readJob(RunState& run) {
  for (const StartUpStep step : readingSteps()) step(run);
  designFilters(run);
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
