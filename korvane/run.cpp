#include "korvane/run.h"

#include <cstdio>

#include "korvane/gather_pass.h"
#include "korvane/output_pass.h"
#include "korvane/start_up.h"

namespace korvane {

void run(int argc, char** argv, const std::function<void(const RunState&)>& afterRevision) {
  RunState state;
  state.afterRevision = afterRevision;
  startUp(state, argc, argv);
  const int tracesInHand = gatherPass(state);
  outputPass(state, tracesInHand);
  shutDown(state);
  std::fflush(stdout);
}

}  // namespace korvane
