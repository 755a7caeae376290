#pragma once

namespace korvane {

struct RunState;

/// Looks on at a run between its passes. The calls come from the flow of control of the run.
class PassObserver {
 public:
  virtual ~PassObserver() = default;

  /// Start-up is over. May fill stores, numiter and numTraces with those of an earlier run, as they were when pass
  /// numiter was to begin, and have the input deliver from the ensemble that opened it.
  virtual void goOn(RunState& /*run*/) {}
  /// The first pass, here, begins.
  virtual void begins(const RunState& /*run*/) {}
  /// Every ensemble of pass numiter is analysed; A and B stay as they are until the next one.
  virtual void gathered(const RunState& /*run*/) {}
  /// The velocities are revised; numiter is the pass to come, and an ensemble of it is in hand.
  virtual void revised(const RunState& /*run*/) {}
};

}  // namespace korvane
