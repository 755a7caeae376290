#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

#include "app/command_line.h"
#include "app/console.h"
#include "app/job_arguments.h"
#include "app/job_check.h"
#include "app/pass_recorder.h"
#include "app/run_summary.h"
#include "app/threads.h"
#include "host/local/job_file.h"
#include "host/local/local_job.h"
#include "host/local/stop_signals.h"
#include "korvane/run.h"

namespace app {

namespace {

using host::local::JobFile;
using host::local::LocalJob;
using host::local::Stopped;

struct RunArguments : JobArguments {
  bool dry = false;
};

void runJob(const RunArguments& arguments) {
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);  // a log shows every line as it is printed
  Console console;
  const JobFile jobFile = host::local::readJobFile(arguments.file, console, arguments.settings);
  LocalJob job(jobFile, KORVANE_VERSION, console);
  const host::local::StopSignals signals;
  try {
    const host::local::JobScope scope(job.job());
    withThreads(threadsFor(jobFile.threads), [&] { korvane::run(0, nullptr, PassRecorder(job)); });
  } catch (const Stopped& stop) {
    job.fail(stop.what());
    throw Stopped(stop.signal,
                  whereStopped(job.summary()) + "; nothing was changed. Start again with: " + arguments.command("run"));
  } catch (const std::exception& error) {
    job.fail(error.what());
    throw;
  }
  printSummary(arguments, jobFile, job.summary(), console.warnings());
}

}  // namespace

void addRun(CLI::App& cli) {
  CLI::App* command = cli.add_subcommand("run", "Refine the velocities of a job");
  const auto arguments = std::make_shared<RunArguments>();
  addJob(command, *arguments);
  command->add_flag("--dry-run", arguments->dry, "check the job and stop, as 'korvane check' does");
  command->footer(
      "Examples:\n"
      "  korvane run line.toml\n"
      "  korvane run line.toml --set NUMITER=6 --set VELNAMO=six_passes\n"
      "  korvane run line.toml --set data.output=other.sgy --set run.threads=2\n"
      "\nCtrl-C stops at the next ensemble and changes nothing; a second one ends at once.\n"
      "Exit status: 0 done, 1 failed, 2 not understood, 130 or 143 stopped by SIGINT or SIGTERM.");
  command->callback([arguments] {
    if (arguments->dry) {
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
