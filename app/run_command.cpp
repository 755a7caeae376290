#include <CLI/CLI.hpp>
#include <memory>

#include "app/command_line.h"
#include "app/job_arguments.h"
#include "app/job_check.h"
#include "app/job_run.h"

namespace app {

void addRun(CLI::App& cli) {
  CLI::App* command = cli.add_subcommand("run", "Refine the velocities of a job");
  const auto arguments = std::make_shared<RunArguments>();
  const auto dry = std::make_shared<bool>(false);
  addJob(command, *arguments);
  command->add_flag("--dry-run", *dry, "check the job and stop, as 'korvane check' does");
  command->add_flag("--checkpoint", arguments->checkpoint, "keep the state of the run on disk between the passes");
  command->add_flag("--resume", arguments->resume, "go on from the checkpoint of a run that broke off, and keep one");
  command->add_option("--log", arguments->log, "file to add a line of JSON to for every event of the run");
  command->footer(
      "Examples:\n"
      "  korvane run line.toml\n"
      "  korvane run line.toml --set NUMITER=6 --set VELNAMO=six_passes\n"
      "  korvane run line.toml --set data.output=other.sgy --set run.threads=2\n"
      "  korvane run line.toml --checkpoint || korvane run line.toml --resume\n"
      "\nCtrl-C stops at the next ensemble and changes nothing; a second one ends at once.\n"
      "Exit status: 0 done, 1 failed, 2 not understood, 130 or 143 stopped by SIGINT or SIGTERM.");
  command->callback([arguments, dry] {
    if (*dry) {
      checkJob(*arguments);
    } else {
      runJob(*arguments);
    }
  });
}

void addCheck(CLI::App& cli) {
  CLI::App* command = cli.add_subcommand("check", "Check a job without running it; nothing is created or changed");
  const auto arguments = std::make_shared<JobArguments>();
  addJob(command, *arguments);
  command->footer(
      "Examples:\n"
      "  korvane check line.toml\n"
      "  korvane check line.toml --set MAXCDP=400 && korvane run line.toml --set MAXCDP=400\n"
      "\nExit status: 0 when 'korvane run' would give results, 1 when not; every problem found is listed.");
  command->callback([arguments] { checkJob(*arguments); });
}

}  // namespace app
