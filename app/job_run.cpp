#include "app/job_run.h"

#include <unistd.h>

#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "app/checkpointer.h"
#include "app/console.h"
#include "app/pass_recorder.h"
#include "app/run_summary.h"
#include "app/threads.h"
#include "host/local/local_job.h"
#include "host/local/stop_signals.h"
#include "korvane/run.h"

namespace app {

using host::local::JobFile;
using host::local::LocalJob;
using host::local::RunError;
using host::local::Stopped;

namespace {

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

/// Runs the job and ends its record, whatever happens.
void runToItsEnd(const RunArguments& arguments, const JobFile& jobFile, LocalJob& job, Console& console, RunLog& log) {
  PassRecorder recorder(job, log);
  std::vector<korvane::PassObserver*> observers = {&recorder};
  std::unique_ptr<Checkpointer> checkpoint;
  if (arguments.resume || arguments.checkpoint || jobFile.checkpoint) {
    checkpoint = std::make_unique<Checkpointer>(jobFile, job, log);
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
    throw RunError(std::string(error.what()) + "\n" + whatIsLeft(checkpoint.get(), arguments));
  }
  printSummary(arguments, jobFile, job.summary(), console.warnings());
}

}  // namespace

void runJob(const RunArguments& arguments) {
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);  // a log shows every line as it is printed
  RunLog log(arguments.log);
  Console console(&log);
  const auto end = [&](int status, const std::string& result) {
    log.write("end", {{"status", status}, {"result", result}, {"warnings", console.warnings()}});
  };
  log.write("start", {{"job", arguments.file.string()}, {"version", KORVANE_VERSION}, {"process", getpid()}});
  try {
    const JobFile jobFile = host::local::readJobFile(arguments.file, console, arguments.settings);
    LocalJob job(jobFile, KORVANE_VERSION, console);
    runToItsEnd(arguments, jobFile, job, console, log);
    end(0, "completed");
  } catch (const Stopped& stop) {
    end(128 + stop.signal, stop.what());
    throw;
  } catch (const std::exception& error) {
    end(1, error.what());
    throw;
  }
}

}  // namespace app
