#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "app/checkpointer.h"
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
  bool dry = false, checkpoint = false, resume = false;
};

/// What a run that broke off has left, and how it is taken up.
std::string whatIsLeft(Checkpointer* checkpoint, const RunArguments& arguments) {
  const int pass = checkpoint != nullptr ? checkpoint->settle() : 0;
  if (pass == 0) return "Start again with: " + arguments.command("run");
  return "Go on with pass " + std::to_string(pass) + ": " + arguments.command("run") + " --resume";
}

/// @return false when there is nothing left to do
bool takeUp(Checkpointer& checkpoint, const JobFile& file) {
  const std::string name = Checkpointer::fileOf(file).string();
  switch (checkpoint.find()) {
    case Checkpointer::Found::nothing:
      std::fprintf(stderr, "%s: there is no checkpoint; the run begins with the first pass\n", name.c_str());
      return true;
    case Checkpointer::Found::completedRun:
      std::fprintf(stderr, "%s: the run of this checkpoint was completed; nothing is left to do\n", name.c_str());
      checkpoint.remove();
      return false;
    case Checkpointer::Found::brokenRun:
      break;
  }
  return true;
}

void runJob(const RunArguments& arguments) {
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);  // a log shows every line as it is printed
  Console console;
  const JobFile jobFile = host::local::readJobFile(arguments.file, console, arguments.settings);
  LocalJob job(jobFile, KORVANE_VERSION, console);
  PassRecorder recorder(job);
  std::vector<korvane::PassObserver*> observers = {&recorder};
  std::unique_ptr<Checkpointer> checkpoint;
  if (arguments.resume || arguments.checkpoint || jobFile.checkpoint) {
    checkpoint = std::make_unique<Checkpointer>(jobFile, job);
    if (arguments.resume && !takeUp(*checkpoint, jobFile)) return;
    observers.push_back(checkpoint.get());
  }
  const host::local::StopSignals signals;
  try {
    const host::local::JobScope scope(job.job());
    withThreads(threadsFor(jobFile.threads), [&] { korvane::run(0, nullptr, observers); });
    if (checkpoint != nullptr) checkpoint->remove();
  } catch (const Stopped& stop) {
    job.fail(stop.what());
    throw Stopped(stop.signal,
                  whereStopped(job.summary()) + "; nothing was changed. " + whatIsLeft(checkpoint.get(), arguments));
  } catch (const std::exception& error) {
    job.fail(error.what());
    if (checkpoint == nullptr || checkpoint->settle() == 0) throw;
    throw host::local::RunError(std::string(error.what()) + "\n" + whatIsLeft(checkpoint.get(), arguments));
  }
  printSummary(arguments, jobFile, job.summary(), console.warnings());
}

}  // namespace

void addRun(CLI::App& cli) {
  CLI::App* command = cli.add_subcommand("run", "Refine the velocities of a job");
  const auto arguments = std::make_shared<RunArguments>();
  addJob(command, *arguments);
  command->add_flag("--dry-run", arguments->dry, "check the job and stop, as 'korvane check' does");
  command->add_flag("--checkpoint", arguments->checkpoint, "keep the state of the run on disk between the passes");
  command->add_flag("--resume", arguments->resume, "go on from the checkpoint of a run that broke off, and keep one");
  command->footer(
      "Examples:\n"
      "  korvane run line.toml\n"
      "  korvane run line.toml --set NUMITER=6 --set VELNAMO=six_passes\n"
      "  korvane run line.toml --set data.output=other.sgy --set run.threads=2\n"
      "  korvane run line.toml --checkpoint || korvane run line.toml --resume\n"
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
