#pragma once

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "host/local/position.h"
#include "host/local/table.h"

/// Synthetic prestack surveys whose velocities are known.
namespace app {

/// What `korvane synth` makes. Lengths are in metres here whatever the unit of the survey.
struct SynthOptions {
  std::filesystem::path folder;  ///< where the survey is written; created when it is missing
  bool overwrite = false;        ///< replace a survey that stands in the folder
  int inlines = 1;               ///< lines of the grid; 1: a 2D line
  int crosslines = 200;          ///< CDPs along a line
  double spacing = 12.5;         ///< between CDPs and between lines, m
  int fold = 24;                 ///< traces of a CDP
  double minOffset = 100.0;      ///< m
  double maxOffset = 3000.0;     ///< m
  int samples = 500;             ///< per trace
  double interval = 4.0;         ///< sample interval, ms
  std::uint64_t seed = 1;        ///< the same seed gives the same survey
  double noise = 0.1;            ///< RMS of the noise as a fraction of the RMS of the signal
  bool mute = true;              ///< zero what moveout stretches by more than half
  double anisotropy = 0.0;       ///< e of V(azimuth) = V (1 + e cos 2(azimuth - fastAzimuth)), fraction; 3D only
  double fastAzimuth = 30.0;     ///< azimuth of the fastest velocity, degrees clockwise from +y
  double velocityError = 0.05;   ///< largest error of the starting velocities, fraction
  int sectors = 0;               ///< azimuth sectors of the job; 0: one velocity for all azimuths; 3D only
  int passes = 4;                ///< analysis passes of the job
  bool feet = false;             ///< lengths and velocities of the survey in feet
};

/// A reflection of one CDP: amplitude A + B sin^2(theta) + C sin^4(theta) at incidence angle theta.
struct Reflection {
  double time = 0.0;  ///< at zero offset, s
  double intercept = 0.0;
  double gradient = 0.0;
  double curvature = 0.0;

  /// Amplitude at an offset for RMS velocity v, with the angle of a straight ray:
  /// sin^2(theta) = (x^2 / v^2) / (t0^2 + x^2 / v^2).
  double amplitude(double offset, double velocity) const;
  /// Arrival time in s: sqrt(t0^2 + x^2 / v^2).
  double arrival(double offset, double velocity) const;
};

/// Zero-phase wavelet of unit peak (Ricker 1953); time in s, peak frequency in Hz.
double ricker(double time, double frequency);

/// A CDP of the grid; the position is in the unit of the survey, whole hundredths.
struct SynthCdp {
  int number = 0;     ///< from 1, crosslines fastest
  int inlineNo = 0;   ///< from 1
  int crossline = 0;  ///< from 1
  host::local::Position position;
};

struct SynthTrace {
  int offset = 0;        ///< unit of the survey
  double azimuth = 0.0;  ///< source to receiver, degrees clockwise from +y
  std::vector<float> samples;
};

/// The model behind a survey: reflectors whose intercept and gradient vary smoothly along it, under an interval
/// velocity that grows linearly with time, v(t) = a + b t, with a and b varying along it. Its RMS velocity (Dix 1955)
/// is
///
///     V(t0)^2 = a^2 + a b t0 + b^2 t0^2 / 3
///
/// Velocities are in the survey's length unit per second, times in s, azimuths in degrees. Everything follows from the
/// options: a gather is the same whether or not others have been made.
class SynthSurvey {
 public:
  /// @throws host::local::RunError naming the option that makes no survey
  explicit SynthSurvey(const SynthOptions& options);
  ~SynthSurvey();

  bool is3D() const;
  int cdps() const;
  SynthCdp cdp(int index) const;  ///< index from 0
  /// True RMS velocity without its azimuthal part.
  double velocity(int index, double time) const;
  double velocity(int index, double time, double azimuth) const;
  /// RMS velocity of the starting table.
  double startVelocity(int index, double time) const;
  std::vector<Reflection> reflections(int index) const;
  /// Traces by ascending offset: the sum of all reflections with a 30 Hz Ricker wavelet at their exact arrival times,
  /// noise of the same spectrum, and the mute.
  std::vector<SynthTrace> gather(int index) const;

  /// Table of type VEL with a function at every CDP.
  host::Table trueTable(const std::string& name) const;
  host::Table startTable(const std::string& name) const;
  /// Table of type VAZ: the true velocity at the centre of each sector.
  host::Table trueSectorTable(const std::string& name) const;

 private:
  struct Model;
  std::unique_ptr<const Model> model_;
};

/// Writes a survey into its folder: gathers.sgy; true.csv and start.csv, the velocities as they are and as the job
/// starts from; survey.db with both as tables `true` and `start` of type VEL, and `true` of type VAZ when the job has
/// sectors; job.toml, ready to run.
/// What a run of an earlier survey left there goes when the survey is replaced.
/// @throws host::local::RunError when a survey, or what a run of it left, stands there already, an option is not
/// usable, or a file fails
void synthesise(const SynthOptions& options, std::ostream& log);

}  // namespace app
