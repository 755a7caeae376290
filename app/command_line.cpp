#include "app/command_line.h"

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <system_error>

#include "host/local/stop_signals.h"

namespace app {

namespace {

/// The message as it stands, ended by a new line.
void report(const std::string& message) {
  std::fflush(stdout);
  std::fputs(message.c_str(), stderr);
  if (!message.ends_with('\n')) std::fputc('\n', stderr);
}

/// What CLI11 says of a usage error, and the words that were taken for nothing where it says only what is missing.
std::string usageError(const CLI::App* cli, const CLI::Error& error) {
  std::string message;
  if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError)) {
    for (const std::string& word : cli->remaining(true)) message += "Not understood: " + word + "\n";
  }
  return message + CLI::FailureMessage::simple(cli, error);
}

const char* examples = R"(Every day:
  korvane scan gathers.sgy --job line.toml              # what is in the file; a job to start from
  korvane table import gathers.db VEL initial vel.csv   # starting velocities: cdp,time,velocity
  korvane check line.toml                               # whether job, data and tables fit
  korvane run line.toml
  korvane report line.toml                              # a page to look at the result

'korvane COMMAND --help' tells the rest.)";

}  // namespace

void addCommands(CLI::App& cli) {
  cli.description("KORVANE refines RMS velocities from the amplitudes of prestack CDP gathers.");
  cli.name("korvane");
  cli.set_version_flag("--version", "korvane " KORVANE_VERSION);
  cli.require_subcommand(1);
  addRun(cli);
  addCheck(cli);
  addTable(cli);
  addReport(cli);
  addScan(cli);
  addParams(cli);
  addSynth(cli);
  cli.footer(examples);  // at the end, since subcommands take over the footer that is there
}

int commandLine(int argc, char** argv) {
  std::signal(SIGXFSZ, SIG_IGN);  // a file that may not grow is an error of writing
  CLI::App cli;
  addCommands(cli);
  cli.failure_message(usageError);
  try {
    cli.parse(argc, argv);
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return 0;
    report("standard output: cannot be written as a whole; see that the disk has room");
    return 1;
  } catch (const CLI::ParseError& error) {
    return cli.exit(error) == 0 ? 0 : 2;
  } catch (const host::local::Stopped& stop) {
    report(stop.what());
    return 128 + stop.signal;
  } catch (const std::bad_alloc&) {
    report("The system gives no more memory. Free some, or ask for less: fewer threads, a smaller grid.");
    return 1;
  } catch (const std::system_error& error) {
    const bool limit = error.code() == std::errc::resource_unavailable_try_again;
    report("The system refuses what the program needs: " + std::string(error.what()) +
           (limit ? ". See the limits on memory and processes (ulimit -a), or take fewer threads." : ""));
    return 1;
  } catch (const std::exception& error) {
    report(error.what());
    return 1;
  }
}

}  // namespace app
