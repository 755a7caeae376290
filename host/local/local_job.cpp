#include "host/local/local_job.h"

#include <chrono>
#include <optional>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

#include "host/local/header_words.h"
#include "host/local/mapped_store.h"
#include "host/local/progress_bar.h"
#include "host/local/stop_signals.h"

namespace host::local {

namespace {

/// The time that each pass over the data takes.
class PassTimes {
 public:
  /// An ensemble is asked for. The tool revises velocities with the ensemble that opens a pass in hand, so that the
  /// pass before it ends here.
  void ask(std::int64_t delivered) {
    if (passes_.empty()) start_ = Clock::now();
    if (opened_ && passes_.size() > 1) end(passes_[passes_.size() - 2]);
    opened_ = false;
    delivered_ = delivered;
  }

  /// @param delivered  traces up to the ensemble that was asked for
  void deliver(bool opens, std::int64_t delivered) {
    if (delivered > delivered_) {
      if (opens || passes_.empty()) passes_.emplace_back();  // a run may go on behind the first ensemble of a pass
      passes_.back().traces += delivered - delivered_;
    } else if (!passes_.empty()) {
      end(passes_.back());
    }
    opened_ = opens;
  }

  /// The passes before that one were made earlier.
  void goOn(int pass) { first_ = pass; }

  int first() const { return first_; }  ///< number of the first pass here
  int current() const { return first_ + static_cast<int>(passes_.size()) - 1; }
  const std::vector<RunSummary::Pass>& passes() const { return passes_; }

 private:
  using Clock = std::chrono::steady_clock;

  void end(RunSummary::Pass& pass) {
    const Clock::time_point now = Clock::now();
    pass.seconds += std::chrono::duration<double>(now - std::exchange(start_, now)).count();
  }

  std::vector<RunSummary::Pass> passes_;
  int first_ = 1;
  bool opened_ = false;  ///< the ensemble in hand opens a pass
  std::int64_t delivered_ = 0;
  Clock::time_point start_;
};

/// Warnings on lines of their own, also where the progress bar stands.
class MessagesBesideBar : public MessageSink {
 public:
  MessagesBesideBar(MessageSink& messages, ProgressBar& bar) : messages_(messages), bar_(bar) {}

  void warn(const std::string& text) override {
    bar_.clear();
    messages_.warn(text);
  }

 private:
  MessageSink& messages_;
  ProgressBar& bar_;
};

/// The input's ensembles: with a progress bar, until the user stops the run.
class WatchedInput : public EnsembleSource {
 public:
  WatchedInput(SegyData& data, ProgressBar& bar) : data_(data), bar_(bar) {}

  void deliver(int passes) override {
    passes_ = passes;
    data_.deliver(passes);
  }

  /// No bar stands over the first and the last ensemble of a pass: the tool prints its lines there.
  int next(float* const* traces, std::int32_t* const* heads) override {
    if (const int signal = StopSignals::received()) throw Stopped(signal);
    times_.ask(data_.tracesDelivered());
    const int count = data_.next(traces, heads);
    const std::int64_t delivered = data_.tracesDelivered();
    times_.deliver(count > 0 && (delivered - count) % data_.traces() == 0, delivered);
    if (count > 0 && delivered % data_.traces() > count) {
      bar_.show({.pass = times_.current(), .passes = passes_, .done = delivered, .total = data_.traces() * passes_});
    } else {
      bar_.clear();
    }
    return count;
  }

  int passesAsked() const { return passes_; }

  InputPlace place() const { return data_.place(); }
  void goOnFrom(const InputPlace& place) {
    data_.goOnFrom(place, passes_);
    times_.goOn(place.pass);
  }
  const PassTimes& times() const { return times_; }

 private:
  SegyData& data_;
  ProgressBar& bar_;
  PassTimes times_;
  int passes_ = 0;
};

/// The output file of a run, made when the initialisation is over.
class RunOutput : public TraceSink {
 public:
  RunOutput(const JobFile& file, const SegyData& data, std::string version)
      : file_(file), data_(data), version_(std::move(version)) {}

  void begin() {
    if (file_.output) output_.emplace(*file_.output, data_, notes());
  }
  void put(const float* trace, const std::int32_t* head) override {
    output_->put(trace, head);
    ++traces_;
  }
  std::int64_t traces() const { return traces_; }
  void secure() {
    if (output_) output_->secure();
  }
  void finish() {
    if (output_) output_->finish();
  }

 private:
  std::vector<std::string> notes() const {
    const ParameterSet& p = file_.parameters;
    const auto whole = [&](const char* key) { return std::string(" ") + key + " " + std::to_string(p.integer(key)); };
    const std::string outputs = p.isRead(ReadWhen::stackOutput) ? "OUTPUT " + p.text("OUTPUT") : "PRESTACK 1";
    return {"KORVANE " + version_ + " VELOCITY RESIDUALS  " + outputs,
            "VELNAME " + p.text("VELNAME") + whole("NUMITER") + whole("NUMXSUM") + whole("NUMYSUM") + whole("METHOD"),
            "VELFILT " + std::to_string(p.integer("VELFILT")) + whole("FOLD") + whole("CORRWIN") + whole("AZIMTH")};
  }

  const JobFile& file_;
  const SegyData& data_;
  std::string version_;
  std::optional<SegyOutput> output_;
  std::int64_t traces_ = 0;
};

/// The database's tables, with the positions of the CDPs that the data know.
class RunTables : public TableStore {
 public:
  RunTables(const JobFile& file, Database& database, const SegyData& data, MessageSink& messages)
      : file_(file), database_(database), data_(data), messages_(messages) {
    const ParameterSet& parameters = file.parameters;
    for (const auto& [when, type, key] : {std::tuple{ReadWhen::ordinaryTable, "VEL", "VELNAMO"},
                                          std::tuple{ReadWhen::azimuthalTable, "VAZ", "VAZNAMO"}}) {
      if (parameters.isRead(when)) outputs_.emplace(type, parameters.text(key));
    }
    outputs_.erase({"VEL", parameters.text("VELNAME")});  // an input has to be there
  }

  std::unique_ptr<Table> load(const std::string& type, const std::string& name) override {
    std::unique_ptr<Table> table = database_.load(type, name);
    if (table != nullptr) {
      place(*table, type);
    } else if (outputs_.contains({type, name})) {
      table = std::make_unique<Table>(name);
    } else {
      const std::string database = file_.database.string();
      messages_.warn(database + ": no " + type + " table \"" + name + "\"; 'korvane table list " + database +
                     "' shows those that are there, 'korvane table import' adds one");
    }
    return table;
  }

  void save(Table& table, const std::string& type) override {
    place(table, type);
    savedType_ = type;
    saved_.emplace(std::move(table));
    if (!saved_->functions().empty()) return;
    messages_.warn(file_.database.string() + ": the " + type + " table \"" + saved_->name() +
                   "\" is written without a function: no CDP had results; see FOLD (also of each azimuth sector), the "
                   "ranges of the grid and the angle limits of the job");
  }

  void describe(RunSummary& summary) const {
    if (!saved_) return;
    summary.tableType = savedType_;
    summary.table = saved_->name();
    summary.functions = saved_->functions().size();
  }

  /// What the run wrote; null: nothing.
  const Table* saved() const { return saved_ ? &*saved_ : nullptr; }
  const std::string& savedType() const { return savedType_; }

 private:
  /// Functions of CDPs that came without a position take it from the data.
  void place(Table& table, const std::string& type) const {
    if (type == "AHZ") return;
    std::vector<std::pair<float, Position>> known;
    for (const auto& [x, function] : table.functions()) {
      if (function.position) continue;
      if (const auto position = data_.find(wholeNumber(x))) known.emplace_back(x, *position);
    }
    for (const auto& [x, position] : known) table.place(x, position);
  }

  const JobFile& file_;
  Database& database_;
  const SegyData& data_;
  MessageSink& messages_;
  std::set<std::pair<std::string, std::string>> outputs_;
  std::string savedType_;
  std::optional<Table> saved_;  ///< stored when the run completes, so that all of its results change together
};

}  // namespace

std::filesystem::path indexFile(const JobFile& file) {
  return file.database.string() + "." + file.input.file.filename().string() + ".index";
}

class LocalJob::Impl : public RunLink {
 public:
  Impl(const JobFile& file, const std::string& version, MessageSink& messages, Database::Access access)
      : messages_(messages, bar_),
        database_(file.database, access),
        data_(file.input, messages_, indexFile(file),
              access == Database::Access::read ? CacheAccess::read : CacheAccess::write),
        file_(file),
        version_(version),
        input_(data_, bar_),
        output_(file, data_, version),
        tables_(file, database_, data_, messages_),
        store_(file.scratch, messages_),
        job_{.runtime = {.samprat = data_.interval(),
                         .numsmp = data_.samples(),
                         .maxdtr = data_.largestEnsemble(),
                         .nth = headerWords,
                         .ipkey = data_.primaryKeyWord()},
             .misc = {.iunits = file.feet ? 1 : 0, .i3d = file.is3D ? 1 : 0},
             .headerWords = standardHeaders,
             .parameters = file.parameters,
             .headers = data_,
             .input = input_,
             .output = output_,
             .tables = tables_,
             .blocks = store_,
             .messages = messages_,
             .link = *this} {}

  Job& job() { return job_; }
  SegyData& data() { return data_; }
  Database& database() { return database_; }

  void recordPass(const PassRecord& pass) {
    if (!record_) return;
    try {
      database_.addPass(*record_, pass);
    } catch (const RunError& error) {  // the run is worth more than its record
      messages_.warn(error.what());
    }
  }

  RunIdentity identity() const { return runIdentity(file_, data_, database_, version_); }

  std::int64_t record() const { return record_.value_or(0); }
  bool takeUp(std::int64_t record) {
    for (const Database::Run& run : database_.runs()) {
      if (run.id != record) continue;
      if (run.result == "completed") return false;
      database_.resumeRun(record);
      record_ = record;
    }
    return true;
  }

  InputPlace place() const { return input_.place(); }
  void goOnFrom(const InputPlace& place) { input_.goOnFrom(place); }

  RunSummary summary() const {
    RunSummary summary;
    summary.firstPass = input_.times().first();
    summary.passes = input_.times().passes();
    summary.passesAsked = input_.passesAsked();
    summary.inputTraces = data_.tracesDelivered();
    summary.outputTraces = output_.traces();
    tables_.describe(summary);
    return summary;
  }

  void fail(const std::string& why) {
    if (!record_) return;
    try {
      database_.endRun(*record_, data_.tracesDelivered(), why);
    } catch (const RunError& error) {  // not in place of the reason why the run failed
      job_.messages.warn(error.what());
    }
    record_.reset();
  }

 private:
  void start(int /*argc*/, char** /*argv*/, const std::string& /*kind*/) override {
    file_.parameters.checkAgainst(data_.interval() * static_cast<float>(data_.samples()));
  }
  void connect() override {}
  void setToolName(const std::string& name) override {
    if (!record_) record_ = database_.beginRun(name, file_.text);
  }
  void endInitialisation() override { output_.begin(); }
  void recordRun(const std::string& /*tool*/, std::int64_t traces) override { traces_ = traces; }
  void close() override {
    output_.secure();
    database_.completeRun(*record_, traces_, tables_.saved(), tables_.savedType(), [this] { output_.finish(); });
    record_.reset();
  }

  ProgressBar bar_;
  MessagesBesideBar messages_;
  Database database_;
  SegyData data_;
  const JobFile& file_;
  std::string version_;
  WatchedInput input_;
  RunOutput output_;
  RunTables tables_;
  MappedStore store_;
  Job job_;
  std::optional<std::int64_t> record_;
  std::int64_t traces_ = 0;
};

LocalJob::LocalJob(const JobFile& file, const std::string& version, MessageSink& messages, Database::Access access)
    : impl_(std::make_unique<Impl>(file, version, messages, access)) {}
LocalJob::~LocalJob() = default;

Job& LocalJob::job() { return impl_->job(); }
SegyData& LocalJob::data() { return impl_->data(); }
Database& LocalJob::database() { return impl_->database(); }
RunIdentity LocalJob::identity() const { return impl_->identity(); }
std::int64_t LocalJob::record() const { return impl_->record(); }
bool LocalJob::takeUp(std::int64_t record) { return impl_->takeUp(record); }
InputPlace LocalJob::place() const { return impl_->place(); }
void LocalJob::goOnFrom(const InputPlace& place) { impl_->goOnFrom(place); }
void LocalJob::recordPass(const PassRecord& pass) { impl_->recordPass(pass); }
RunSummary LocalJob::summary() const { return impl_->summary(); }
void LocalJob::fail(const std::string& why) { impl_->fail(why); }

}  // namespace host::local
