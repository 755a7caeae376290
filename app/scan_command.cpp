#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <system_error>

#include "app/command_line.h"
#include "app/console.h"
#include "app/scan_report.h"
#include "app/whole_file.h"
#include "host/local/sample_format.h"
#include "host/local/segy_scan.h"
#include "host/local/suggested_job.h"

namespace app {

namespace {

struct ScanArguments {
  std::filesystem::path file, job;
  std::string format;
};

/// Describes the file; the job to start from goes to a file of its own, or to standard output after the description.
void scanFile(const ScanArguments& arguments) {
  std::error_code error;
  if (std::filesystem::exists(arguments.job, error)) {
    throw host::local::RunError(arguments.job.string() + ": is there already; name another file for the job");
  }
  Console console;
  host::local::SegyInput input;
  input.file = arguments.file;
  input.format = host::local::sampleFormatCode(arguments.format);
  const host::local::SegyScan scan = host::local::scanSegy(input, console);
  printScan(scan, std::cout);
  if (arguments.job.empty()) {
    std::cout << "\nA job to start from:\n\n" << host::local::suggestJob(scan);
    return;
  }
  writeWhole(arguments.job, "the job", host::local::suggestJob(scan));
  std::cout << "\nA job to start from is in " << arguments.job.string() << '\n';
}

}  // namespace

void addScan(CLI::App& cli) {
  CLI::App* command = cli.add_subcommand("scan", "Describe a SEG-Y file and suggest a job for it");
  const auto arguments = std::make_shared<ScanArguments>();
  command->add_option("FILE", arguments->file, "SEG-Y file")->required();
  command->add_option("--job", arguments->job, "new file for the job to start from");
  command->add_option("--format", arguments->format, "read the samples in this format, whatever the file says of them")
      ->check(CLI::IsMember({"ibm", "ieee", "int32", "int16", "int8"}));
  command->footer(
      "Examples:\n"
      "  korvane scan gathers.sgy                    what is in the file, and a job to start from\n"
      "  korvane scan gathers.sgy --job line.toml    the job as a new file; lines with \"?\" are yours to fill in\n"
      "  korvane scan gathers.sgy --format ieee      once more, with samples that the header calls IBM by mistake");
  command->callback([arguments] { scanFile(*arguments); });
}

}  // namespace app
