#pragma once

#include <stdexcept>

namespace CLI {
class App;
}

/// The command line: `korvane SUBCOMMAND ...`, one source a subcommand.
namespace app {

/// Parses the arguments and runs the subcommand. Failures are one message on standard error.
/// @return exit status: 0 done, 1 failed, 2 the words make no command, 128 and the signal that stopped a run
int commandLine(int argc, char** argv);

/// Gives the program its description, its options and every subcommand.
void addCommands(CLI::App& cli);

// Each adds its subcommand with what it does when chosen.
void addRun(CLI::App& cli);
void addCheck(CLI::App& cli);
void addTable(CLI::App& cli);
void addParams(CLI::App& cli);
void addReport(CLI::App& cli);
void addScan(CLI::App& cli);
void addSynth(CLI::App& cli);

}  // namespace app
