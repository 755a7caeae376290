#include "app/job_check.h"

#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "app/console.h"
#include "app/threads.h"
#include "host/framework.h"
#include "host/local/database.h"
#include "host/local/local_job.h"
#include "host/local/mapped_store.h"
#include "host/local/problems.h"
#include "host/local/segy_file.h"
#include "korvane/boundary.h"
#include "korvane/gather_pass.h"
#include "korvane/run_state.h"
#include "korvane/start_up.h"
#include "korvane/storage.h"

namespace app {

namespace {

namespace fs = std::filesystem;
using host::local::Database;
using host::local::EnsembleFacts;
using host::local::inMegabytes;
using host::local::JobFile;
using host::local::LocalJob;
using host::local::ParameterSet;
using host::local::Problems;
using host::local::ReadWhen;
using host::local::RunError;
using host::local::SegyData;

/// One line of the report.
[[gnu::format(printf, 2, 3)]] void tell(const char* what, const char* format, ...) {
  std::printf("%-11s ", what);
  std::va_list values;
  va_start(values, format);
  std::vprintf(format, values);
  va_end(values);
  std::putchar('\n');
}

std::string megabytes(std::int64_t bytes) { return inMegabytes(static_cast<double>(bytes)); }

std::string duration(double seconds) {
  char text[48];
  if (seconds < 0.1) return "less than 0.1 s";
  if (seconds < 100.0) {
    std::snprintf(text, sizeof text, "about %.*f s", seconds < 10.0 ? 1 : 0, seconds);
  } else {
    const auto minutes = static_cast<long long>(seconds / 60.0 + 0.5);
    std::snprintf(text, sizeof text, "about %lld h %02lld min", minutes / 60, minutes % 60);
  }
  return text;
}

fs::path folderOf(const fs::path& file) { return file.has_parent_path() ? file.parent_path() : fs::path("."); }

/// @param key  of the job, that names the folder or a file in it
void expectWritableFolder(const fs::path& folder, const char* key) {
  const std::string advice = std::string("; make it writable, or name another one in ") + key;
  std::error_code error;
  const fs::file_status there = fs::status(folder, error);
  if (there.type() == fs::file_type::not_found || (!error && !fs::is_directory(there))) {
    throw RunError(folder.string() + ": there is no such folder; make it, or name another one in " + key);
  }
  if (::access(folder.c_str(), W_OK | X_OK) != 0) throw RunError(folder.string() + ": cannot be written" + advice);
}

/// A run writes to the database, and SQLite to its folder.
void expectDatabase(const JobFile& job) {
  Database(job.database, Database::Access::read);
  if (::access(job.database.c_str(), W_OK) != 0) {
    throw RunError(job.database.string() + ": the database is write-protected; make it writable, or use a copy");
  }
  expectWritableFolder(folderOf(job.database), "`file` of [database]");
}

/// The least and the greatest of some numbers.
struct Range {
  int least = std::numeric_limits<int>::max(), greatest = std::numeric_limits<int>::min();

  void extend(int number) {
    least = std::min(least, number);
    greatest = std::max(greatest, number);
  }
  bool holds(int number) const { return least <= number && number <= greatest; }
  std::string text() const { return std::to_string(least) + " to " + std::to_string(greatest); }
};

/// Ranges of CDPs, or of inlines and crosslines.
struct Area {
  bool is3D = false;
  Range inlines, positions;  ///< positions: crosslines, or CDPs

  void extend(const EnsembleFacts& ensemble) {
    inlines.extend(ensemble.iline);
    positions.extend(is3D ? ensemble.xline : ensemble.cdp);
  }
  bool holds(const EnsembleFacts& ensemble) const {
    return is3D ? inlines.holds(ensemble.iline) && positions.holds(ensemble.xline) : positions.holds(ensemble.cdp);
  }
  std::string text() const {
    return is3D ? "inline " + inlines.text() + ", crossline " + positions.text() : "CDP " + positions.text();
  }
};

Area gridOf(const JobFile& job) {
  const ParameterSet& p = job.parameters;
  if (!job.is3D) return {.is3D = false, .inlines = {}, .positions = {p.integer("MINCDP"), p.integer("MAXCDP")}};
  return {.is3D = true,
          .inlines = {p.integer("MINILINE"), p.integer("MAXILINE")},
          .positions = {p.integer("MINXLINE"), p.integer("MAXXLINE")}};
}

/// What of the input an analysis pass takes.
struct Analysed {
  std::int64_t ensembles = 0, traces = 0;
};

/// The check of a job whose job file is right.
class JobCheck {
 public:
  JobCheck(const JobFile& job, Console& console, Problems& problems)
      : job_(job), console_(console), problems_(problems), threads_(threadsFor(job.threads)) {}

  void make() {
    open();
    if (data_ != nullptr) {
      tellInput();
      compareGrid();
      checkHeaders();
    }
    if (local_ != nullptr) withThreads(threads_, [this] { startDriver(); });
    problems_.attempt([this] { checkOutputFolder(); });
    problems_.attempt([this] { expectWritableFolder(scratch(), "`scratch` of [run]"); });
  }

 private:
  const ParameterSet& parameters() const { return job_.parameters; }
  fs::path scratch() const { return job_.scratch.empty() ? fs::path(".") : job_.scratch; }

  /// Opens input and database as a run does, and the input alone where the database is not one to run with.
  void open() {
    using host::local::CacheAccess;
    if (problems_.attempt([this] { expectDatabase(job_); })) {
      problems_.attempt([this] {
        local_ = std::make_unique<LocalJob>(job_, KORVANE_VERSION, console_, Database::Access::read);
        data_ = &local_->data();
      });
    } else {
      problems_.attempt([this] {
        alone_.emplace(job_.input, console_, host::local::indexFile(job_), CacheAccess::read);
        data_ = &*alone_;
      });
    }
  }

  void tellInput() {
    ensembles_ = data_->ensembles();
    tell("Input", "%s: %lld traces of %d samples at %g ms", job_.input.file.c_str(),
         static_cast<long long>(data_->traces()), data_->samples(), static_cast<double>(data_->interval()));
    tell("", "%zu ensembles by %s, the largest of %d traces", ensembles_.size(), job_.input.primaryKey.c_str(),
         data_->largestEnsemble());
  }

  void compareGrid() {
    const Area grid = gridOf(job_);
    const int fold = parameters().integer("FOLD");
    Area found{.is3D = job_.is3D, .inlines = {}, .positions = {}};
    std::int64_t live = 0, inside = 0;
    int largest = 0;  // inside
    for (const EnsembleFacts& ensemble : ensembles_) {
      if (!ensemble.live) continue;
      ++live;
      found.extend(ensemble);
      if (!grid.holds(ensemble)) continue;
      ++inside;
      largest = std::max(largest, ensemble.traces);
      if (ensemble.traces < fold) continue;
      ++analysed_.ensembles;
      analysed_.traces += ensemble.traces;
    }
    tell("Grid", "%s; of %lld live ensembles %lld fall inside it, of which %lld reach FOLD %d", grid.text().c_str(),
         static_cast<long long>(live), static_cast<long long>(inside), static_cast<long long>(analysed_.ensembles),
         fold);
    const std::string file = job_.input.file.string();
    if (live == 0) {
      problems_.add(file + ": no ensemble has a live trace, expected trace code 1 or 0; map TRC_TYPE in [headers]");
    } else if (inside == 0) {
      problems_.add(file + ": none of its ensembles falls inside the grid, " + grid.text() + "; they have " +
                    found.text() + ": correct the ranges of the grid, or the bytes in [headers]");
    } else if (analysed_.ensembles == 0) {
      problems_.add(parameters().where("FOLD") + ": none of the " + std::to_string(inside) +
                    " ensembles inside the grid has as many traces, the largest has " + std::to_string(largest) +
                    ": lower FOLD");
    }
  }

  /// Headers that the job works with, and that are the same everywhere.
  void checkHeaders() {
    const auto missing = [&](auto has) {
      return std::none_of(ensembles_.begin(), ensembles_.end(),
                          [&](const EnsembleFacts& e) { return e.live && has(e); });
    };
    const auto warn = [&](const std::string& what) { console_.warn(job_.input.file.string() + ": " + what); };
    if (missing([](const EnsembleFacts& e) { return e.offset; })) {
      warn(
          "OFFSET is 0 on the first live trace of every ensemble; where the file has offsets elsewhere, give the byte "
          "in [headers]");
    }
    if (parameters().isRead(ReadWhen::sectors) && missing([](const EnsembleFacts& e) { return e.azimuth; })) {
      warn(
          "source and receiver of the first live trace of every ensemble stand at one place, so all traces are of one "
          "azimuth sector; give the bytes of SOU_X, SOU_Y, REC_X, REC_Y in [headers]");
    }
    if (job_.is3D && missing([&](const EnsembleFacts& e) { return data_->find(e.cdp).has_value(); })) {
      warn(
          "no trace has a map position, which a 3D job asks the velocity table for; give the bytes of CDP_X, CDP_Y in "
          "[headers]");
    }
    if (parameters().integer("STATIC") != 0 && !data_->exists("NA_STAT")) {
      console_.warn(parameters().where("STATIC") + ": no statics are applied, since [headers] gives no NA_STAT");
    }
  }

  /// Takes the driver through its start-up as far as nothing is made, and then through a few ensembles.
  void startDriver() {
    const host::local::JobScope scope(local_->job());
    korvane::RunState run;
    const std::size_t before = problems_.texts().size();
    problems_.attempt([] { host::initStandAlone(0, nullptr, "SOCKET_TOOL"); });
    for (const korvane::StartUpStep step : korvane::readingSteps()) problems_.attempt([&] { step(run); });
    if (problems_.texts().size() > before) return;
    tellTables(run);
    problems_.attempt([&] { checkMemory(run); });
    problems_.attempt([&] { checkCheckpoint(run); });
    problems_.attempt([&] { checkDisk(run); });
    if (analysed_.ensembles > 0) problems_.attempt([&] { estimateTime(run); });
  }

  void tellTables(const korvane::RunState& run) {
    const auto functions = [](const host::Table* table) { return table == nullptr ? 0 : host::tblCountX(table); };
    tell("Tables", "from VEL \"%s\" of %s: %d functions", run.parameters.cvelname.c_str(), job_.database.c_str(),
         functions(run.tables.veltable));
    if (run.tables.hortable != nullptr) {
      tell("", "window from AHZ \"%s\": %d horizons used", run.parameters.chorname.c_str(), run.tables.nahorz);
    }
    if (run.parameters.outvel == 0) return;
    const std::string type = run.parameters.iazimuth != 0 ? "VAZ" : "VEL", name = run.parameters.cvelnamo;
    const std::vector<Database::Entry> entries = local_->database().list();
    const auto entry =
        std::find_if(entries.begin(), entries.end(), [&](const auto& e) { return e.type == type && e.name == name; });
    const char* use = entry == entries.end() ? "new" : run.parameters.ivelmeth == 1 ? "replaced" : "added to";
    tell("", "to %s \"%s\": %s%s", type.c_str(), name.c_str(), use,
         entry == entries.end() ? "" : (", it has " + std::to_string(entry->functions) + " functions").c_str());
  }

  void checkMemory(const korvane::RunState& run) {
    std::vector<std::int64_t> blocks = korvane::storeBytes(run.parameters);
    if (job_.checkpoint) {  // is written from copies
      for (const korvane::StoreBlock& block : korvane::velocityBlocks(run)) blocks.push_back(block.bytes);
    }
    const host::local::StorePlan plan = host::local::planStores(blocks);
    tell("Memory", "work arrays %s; stores %s, of %s that are there for them",
         megabytes(korvane::workBytes(run)).c_str(), megabytes(plan.inMemory).c_str(),
         megabytes(plan.memoryBudget).c_str());
    if (plan.inScratch == 0) return;
    const std::int64_t free = host::local::freeSpace(scratch()).value_or(0);
    tell("Scratch", "stores %s in %s, of %s free", megabytes(plan.inScratch).c_str(), scratch().c_str(),
         megabytes(free).c_str());
    if (plan.inScratch <= free) return;
    throw RunError(scratch().string() + ": stores need " + megabytes(plan.inScratch) + ", but " + megabytes(free) +
                   " are free; name a scratch folder with more room, or process a smaller range of CDPs");
  }

  /// A new checkpoint is written beside the one before; the largest is that of the output pass.
  void checkCheckpoint(const korvane::RunState& run) {
    if (!job_.checkpoint) return;
    korvane::RunState last;
    last.parameters = run.parameters;
    last.numiter = run.parameters.niterate + 1;
    std::int64_t bytes = 0;
    for (const korvane::StoreBlock& block : korvane::attributeBlocks(last)) bytes += 2 * block.bytes;
    for (const korvane::StoreBlock& block : korvane::velocityBlocks(last)) bytes += 2 * block.bytes;
    const fs::path folder = folderOf(job_.database);
    const std::int64_t free = host::local::freeSpace(folder).value_or(0);
    tell("Checkpoint", "two take %s in %s, of %s free", megabytes(bytes).c_str(), folder.c_str(),
         megabytes(free).c_str());
    if (bytes <= free) return;
    throw RunError(folder.string() + ": checkpoints need up to " + megabytes(bytes) + ", but " + megabytes(free) +
                   " are free; make room, or go without (checkpoint in [run])");
  }

  /// The output as large as it can become: results at every ensemble that is analysed.
  void checkDisk(const korvane::RunState& run) {
    if (!job_.output) return;
    const korvane::Parameters& p = run.parameters;
    const auto codes = std::count_if(p.outtrc.begin(), p.outtrc.end(), [](float c) { return c >= 1.0f && c < 6.0f; });
    const std::int64_t traces =
        p.iprestack != 0 ? analysed_.traces + 3 * p.nazim * analysed_.ensembles : codes * p.nazim * analysed_.ensembles;
    const std::int64_t bytes = 3600 + traces * (240 + 4 * static_cast<std::int64_t>(p.nt));
    const fs::path folder = folderOf(*job_.output);
    const std::optional<std::int64_t> free = host::local::freeSpace(folder);
    if (!free) return;  // there is no such folder
    std::error_code error;
    tell("Output", "%s: at most %lld traces, %s, of %s free%s", job_.output->c_str(), static_cast<long long>(traces),
         megabytes(bytes).c_str(), megabytes(*free).c_str(),
         fs::exists(*job_.output, error) ? "; replaces the file" : "");
    if (bytes <= *free) return;
    throw RunError(folder.string() + ": the output needs up to " + megabytes(bytes) + ", but " + megabytes(*free) +
                   " are free; make room, or name a file on another disk in `output` of [data]");
  }

  void checkOutputFolder() const {
    if (!job_.output) return;
    std::error_code error;
    if (fs::is_directory(*job_.output, error)) {
      throw RunError(job_.output->string() + ": is a folder; name a file in `output` of [data]");
    }
    expectWritableFolder(folderOf(*job_.output), "`output` of [data]");
  }

  /// From a few ensembles, analysed. The revision of a function takes about as long as the analysis of nine traces,
  /// reading a trace in the output pass about a tenth of its analysis.
  void estimateTime(korvane::RunState& run) {
    constexpr int ensembles = 65;
    constexpr double mostSeconds = 1.0, tracesOfRevision = 9.0, readingShare = 0.1;
    korvane::designFilters(run);
    const std::int64_t functions = analysed_.ensembles * run.parameters.nazim;
    korvane::makeTrialStorage(run);
    const korvane::Trial trial = korvane::tryEnsembles(run, ensembles, mostSeconds);
    if (trial.traces == 0) {
      tell("Time", "no estimate: too few ensembles were found in the first second");
      return;
    }
    const double secondsPerTrace = trial.seconds / static_cast<double>(trial.traces);
    const double traces = static_cast<double>(analysed_.traces);
    const double revision =
        tracesOfRevision * static_cast<double>(functions) * run.parameters.idiff / run.parameters.nt;
    const int busy = std::min(threads_, threadsFor(0));
    const double seconds =
        secondsPerTrace * (std::max(run.parameters.niterate, 1) * (traces + revision) / busy + readingShare * traces);
    tell("Time", "%s with %d thread%s, an estimate from %d ensembles analysed", duration(seconds).c_str(), busy,
         busy == 1 ? "" : "s", trial.ensembles);
  }

  const JobFile& job_;
  Console& console_;
  Problems& problems_;
  int threads_;
  std::unique_ptr<LocalJob> local_;
  std::optional<SegyData> alone_;
  const SegyData* data_ = nullptr;
  std::vector<EnsembleFacts> ensembles_;
  Analysed analysed_;
};

/// What can be said of the files of a job whose job file is not right.
void checkFiles(const JobFile& job, Console& console, Problems& problems) {
  if (!job.database.empty()) problems.attempt([&] { expectDatabase(job); });
  if (!job.input.file.empty()) problems.attempt([&] { host::local::SegyFile(job.input, console); });
}

std::string withoutBlankLines(const std::string& text) {
  const std::size_t first = text.find_first_not_of('\n');
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of('\n') + 1 - first);
}

}  // namespace

void checkJob(const JobArguments& arguments) {
  Console console;
  Problems problems;
  const JobFile job = host::local::readJobFile(arguments.file, arguments.settings, console, problems);
  if (problems.none()) {
    JobCheck(job, console, problems).make();
  } else {
    checkFiles(job, console, problems);
  }
  if (problems.none()) {
    tell("Ready", "%s", arguments.command("run").c_str());
    return;
  }
  const std::size_t count = problems.texts().size();
  std::string all;
  for (const std::string& text : problems.texts()) all += withoutBlankLines(text) + "\n";
  throw RunError(all + arguments.file.string() + ": " + std::to_string(count) +
                 (count == 1 ? " problem that keeps" : " problems that keep") + " a run from giving results");
}

}  // namespace app
