#include <tbb/global_control.h>
#include <tbb/info.h>
#include <tbb/task_arena.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>

#include "app/command_line.h"
#include "app/console.h"
#include "app/pass_recorder.h"
#include "host/local/job_file.h"
#include "host/local/local_job.h"
#include "korvane/run.h"

namespace app {

namespace {

void runJob(const std::filesystem::path& file) {
  Console console;
  const host::local::JobFile jobFile = host::local::readJobFile(file, console);
  host::local::LocalJob job(jobFile, KORVANE_VERSION, console);
  try {
    const host::local::JobScope scope(job.job());
    const int threads = jobFile.threads > 0 ? jobFile.threads : tbb::info::default_concurrency();
    const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(threads));
    tbb::task_arena(threads).execute([&] { korvane::run(0, nullptr, PassRecorder(job)); });
  } catch (const std::exception& error) {
    job.fail(error.what());
    throw;
  }
}

}  // namespace

void addRun(CLI::App& cli) {
  CLI::App* command = cli.add_subcommand("run", "Refine the velocities of a job");
  const auto file = std::make_shared<std::filesystem::path>();
  command->add_option("JOB", *file, "job file (TOML); paths in it are relative to it")->required();
  command->callback([file] { runJob(*file); });
}

}  // namespace app
