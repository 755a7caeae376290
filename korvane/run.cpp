#include "korvane/run.h"

#include <cstdio>

#include "korvane/boundary.h"
#include "korvane/gather_pass.h"
#include "korvane/output_pass.h"
#include "korvane/start_up.h"

namespace korvane {

void run(int argc, char** argv, std::span<PassObserver* const> observers) {
  RunState state;
  state.observers = observers;
  startUp(state, argc, argv);
  for (PassObserver* observer : observers) observer->goOn(state);
  for (PassObserver* observer : observers) observer->begins(state);
  const int tracesInHand = outputComes(state) ? 0 : gatherPass(state);
  outputPass(state, tracesInHand);
  shutDown(state);
  std::fflush(stdout);
}

}  // namespace korvane
