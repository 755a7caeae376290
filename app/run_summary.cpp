#include "app/run_summary.h"

#include <cstddef>
#include <cstdio>

namespace app {

using host::local::ReadWhen;
using host::local::RunSummary;

namespace {

void printPasses(const RunSummary& summary) {
  for (std::size_t k = 0; k < summary.passes.size(); ++k) {
    const RunSummary::Pass& pass = summary.passes[k];
    const int number = summary.firstPass + static_cast<int>(k);
    const bool output = number > 1 && number == summary.passesAsked;
    std::printf("%-11s %lld traces in %.2f s", output ? "Output pass" : ("Pass " + std::to_string(number)).c_str(),
                static_cast<long long>(pass.traces), pass.seconds);
    if (pass.seconds > 0.0) std::printf(", %.0f traces/s", static_cast<double>(pass.traces) / pass.seconds);
    std::putchar('\n');
  }
}

void printNext(const JobArguments& arguments, const host::local::JobFile& job, const RunSummary& summary) {
  std::printf("%-11s %s\n", "Next", arguments.command("report").c_str());
  if (summary.functions == 0) return;
  const std::string database = shellWord(job.database.string()), table = shellWord(summary.table);
  const std::string start = job.parameters.text("VELNAME");
  if (summary.tableType == "VEL" && summary.table != start) {
    std::printf("%-11s korvane table diff %s %s %s\n", "", database.c_str(), table.c_str(), shellWord(start).c_str());
  }
  std::printf("%-11s korvane table export %s %s %s %s\n", "", database.c_str(), summary.tableType.c_str(),
              table.c_str(), shellWord(summary.table + ".csv").c_str());
}

}  // namespace

void printSummary(const JobArguments& arguments, const host::local::JobFile& job, const RunSummary& summary,
                  int warnings) {
  double seconds = 0.0;
  for (const RunSummary::Pass& pass : summary.passes) seconds += pass.seconds;
  std::printf("\n%-11s in %.2f s, %d warning%s\n", "Done", seconds, warnings, warnings == 1 ? "" : "s");
  printPasses(summary);
  if (job.output) {
    std::printf("%-11s %s: %lld traces\n", "Written", job.output->c_str(),
                static_cast<long long>(summary.outputTraces));
  }
  if (!summary.table.empty()) {
    std::printf("%-11s %s \"%s\" in %s: %zu function%s\n", job.output ? "" : "Written", summary.tableType.c_str(),
                summary.table.c_str(), job.database.c_str(), summary.functions, summary.functions == 1 ? "" : "s");
  }
  printNext(arguments, job, summary);
}

std::string whereStopped(const RunSummary& summary) {
  if (summary.passes.empty())
    return "Stopped before pass " + std::to_string(summary.firstPass) + " of " + std::to_string(summary.passesAsked);
  const auto passes = static_cast<int>(summary.passes.size());
  return "Stopped in pass " + std::to_string(summary.firstPass + passes - 1) + " of " +
         std::to_string(summary.passesAsked) + " after " + std::to_string(summary.inputTraces) + " traces";
}

}  // namespace app
