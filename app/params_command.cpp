#include <CLI/CLI.hpp>
#include <cstdio>

#include "app/command_line.h"
#include "host/local/parameter_set.h"

namespace app {

namespace {

void printParameters() {
  std::printf("%-9s %-7s %-10s %-10s %-40s %s\n", "key", "type", "unit", "default", "read when", "meaning");
  for (const host::local::ParameterKey& key : host::local::parameterKeys()) {
    std::printf("%-9s %-7s %-10s %-10s %-40s %s\n", key.name, host::local::describe(key.type), key.unit,
                key.fallback != nullptr ? key.fallback : "required", host::local::describe(key.when), key.about);
  }
}

}  // namespace

void addParams(CLI::App& cli) {
  CLI::App* command = cli.add_subcommand("params", "List every parameter of a job");
  command->footer(R"(Examples:
  korvane params                    # what a job may set under [parameters], with units and defaults
  korvane params | grep required    # what it has to set)");
  command->callback(printParameters);
}

}  // namespace app
