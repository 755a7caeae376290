#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "app/command_line.h"
#include "app/job_arguments.h"
#include "app/whole_file.h"
#include "host/local/job_file.h"
#include "host/local/local_job.h"
#include "report/page.h"
#include "report/survey.h"

namespace app {

namespace {

struct ReportArguments : JobArguments {
  std::filesystem::path page = "report.html";
  std::vector<int> cdps;
};

/// Keeps the warnings for the page.
struct Warnings : host::local::MessageSink {
  std::vector<std::string> lines;
  void warn(const std::string& text) override { lines.push_back(text); }
};

void report(const ReportArguments& a) {
  Warnings warnings;
  const host::local::JobFile file = host::local::readJobFile(a.file, warnings, a.settings);
  host::local::LocalJob job(file, KORVANE_VERSION, warnings, host::local::Database::Access::read);
  const host::local::JobScope scope(job.job());
  const report::Survey survey(file, job);
  const std::string page = report::reportPage(report::reportData(survey, a.cdps, KORVANE_VERSION, warnings.lines));
  std::vector<std::filesystem::path> spared{file.file, file.input.file, file.database};
  if (file.output) spared.push_back(*file.output);
  writeWhole(a.page, "the report", page, spared);
  std::printf("%s: %.1f MB; open it in a browser\n", a.page.c_str(), static_cast<double>(page.size()) / 1e6);
}

}  // namespace

void addReport(CLI::App& cli) {
  CLI::App* command = cli.add_subcommand("report", "Make a page that shows whether the velocities got better");
  const auto a = std::make_shared<ReportArguments>();
  addJob(command, *a);
  command->add_option("-o,--output", a->page, "HTML file to write")->capture_default_str();
  command->add_option("--cdp", a->cdps, "gathers to show beside those that the report chooses");
  command->footer(
      "Examples:\n"
      "  korvane report line.toml\n"
      "  korvane report line.toml -o line.html --cdp 230 241\n"
      "  korvane report line.toml --set NUMITER=6 --set VELNAMO=six_passes    the run that was called like this\n\n"
      "The page holds all it needs: open it in any browser, send it, print it.");
  command->callback([a] { report(*a); });
}

}  // namespace app
