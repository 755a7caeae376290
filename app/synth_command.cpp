#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>

#include "app/command_line.h"
#include "app/synth.h"

namespace app {

void addSynth(CLI::App& cli) {
  CLI::App* command = cli.add_subcommand("synth", "Make a synthetic survey with known velocities and a job for it");
  const auto options = std::make_shared<SynthOptions>();
  SynthOptions& o = *options;
  command->option_defaults()->always_capture_default();
  command->add_option("DIR", o.folder, "folder to write to")->required()->capture_default_str();
  command->add_flag("--force", o.overwrite, "replace a survey that is there");
  command->add_option("--inlines", o.inlines, "lines of the grid; 1: a 2D line");
  command->add_option("--crosslines", o.crosslines, "CDPs along a line");
  command->add_option("--spacing", o.spacing, "between CDPs and between lines, m");
  command->add_option("--fold", o.fold, "traces of a CDP");
  command->add_option("--min-offset", o.minOffset, "m");
  command->add_option("--max-offset", o.maxOffset, "m");
  command->add_option("--samples", o.samples, "per trace");
  command->add_option("--interval", o.interval, "sample interval, ms");
  command->add_option("--seed", o.seed, "the same seed gives the same survey");
  command->add_option("--noise", o.noise, "RMS of the noise as a fraction of the RMS of the signal");
  command->add_flag("--mute,!--no-mute", o.mute, "zero what moveout stretches by more than half");
  command->add_option("--anisotropy", o.anisotropy, "azimuthal change of velocity, fraction (3D)");
  command->add_option("--fast-azimuth", o.fastAzimuth, "azimuth of the fastest velocity, degrees");
  command->add_option("--velocity-error", o.velocityError, "largest error of the starting velocities, fraction");
  command->add_option("--sectors", o.sectors, "azimuth sectors of the job; 0: none (3D)");
  command->add_option("--passes", o.passes, "analysis passes of the job");
  command->add_flag("--feet", o.feet, "lengths and velocities in feet");
  command->footer(R"(Examples:
  korvane synth line                                   # a 2D line in the folder line
  korvane run line/job.toml
  korvane table diff line/survey.db refined true       # what is left of the error

  korvane synth grid --inlines 20 --crosslines 30      # a 3D grid
  korvane synth fast --inlines 9 --crosslines 30 --anisotropy 0.04 --sectors 4   # per azimuth sector)");
  command->callback([options] { synthesise(*options, std::cout); });
}

}  // namespace app
