#include "host/local/local_job.h"

#include <optional>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

#include "host/local/database.h"
#include "host/local/header_words.h"
#include "host/local/mapped_store.h"
#include "host/local/progress_bar.h"
#include "host/local/segy_data.h"

namespace host::local {

namespace {

/// The input's ensembles, with a progress bar.
class WatchedInput : public EnsembleSource {
 public:
  explicit WatchedInput(SegyData& data) : data_(data) {}

  void deliver(int passes) override {
    total_ = data_.traces() * passes;
    data_.deliver(passes);
  }

  /// No bar stands over the first and the last ensemble of a pass: the tool prints its lines there.
  int next(float* const* traces, std::int32_t* const* heads) override {
    const int count = data_.next(traces, heads);
    if (count > 0 && data_.tracesDelivered() % data_.traces() > count) {
      bar_.show(data_.tracesDelivered(), total_);
    } else {
      bar_.clear();
    }
    return count;
  }

 private:
  SegyData& data_;
  ProgressBar bar_;
  std::int64_t total_ = 0;
};

/// The output file of a run, made when the initialisation is over.
class RunOutput : public TraceSink {
 public:
  RunOutput(const JobFile& file, const SegyData& data, std::string version)
      : file_(file), data_(data), version_(std::move(version)) {}

  void begin() {
    if (file_.output) output_.emplace(*file_.output, data_, notes());
  }
  void put(const float* trace, const std::int32_t* head) override { output_->put(trace, head); }
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
};

/// The database's tables, with the positions of the CDPs that the data know.
class RunTables : public TableStore {
 public:
  RunTables(const JobFile& file, Database& database, const SegyData& data, RunOutput& output, MessageSink& messages)
      : file_(file), database_(database), data_(data), output_(output), messages_(messages) {
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
    output_.secure();  // a full disk leaves the earlier table too
    database_.save(table, type);
    if (!table.functions().empty()) return;
    messages_.warn(file_.database.string() + ": the " + type + " table \"" + table.name() +
                   "\" is written without a function: no CDP had results; see FOLD (also of each azimuth sector), the "
                   "ranges of the grid and the angle limits of the job");
  }

 private:
  /// Functions of CDPs that came without a position take it from the data.
  void place(Table& table, const std::string& type) const {
    if (type == "AHZ") return;
    std::vector<std::pair<float, Position>> known;
    for (const auto& [x, function] : table.functions()) {
      if (function.position) continue;
      if (const auto position = data_.find(static_cast<int>(x))) known.emplace_back(x, *position);
    }
    for (const auto& [x, position] : known) table.place(x, position);
  }

  const JobFile& file_;
  Database& database_;
  const SegyData& data_;
  RunOutput& output_;
  MessageSink& messages_;
  std::set<std::pair<std::string, std::string>> outputs_;
};

const JobFile& checked(const JobFile& file, const SegyData& data) {
  file.parameters.checkAgainst(data.interval() * static_cast<float>(data.samples()));
  return file;
}

}  // namespace

std::filesystem::path indexFile(const JobFile& file) {
  return file.database.string() + "." + file.input.file.filename().string() + ".index";
}

class LocalJob::Impl : public RunLink {
 public:
  Impl(const JobFile& file, const std::string& version, MessageSink& messages)
      : database_(file.database, Database::Access::write),
        data_(file.input, messages, indexFile(file)),
        file_(checked(file, data_)),
        input_(data_),
        output_(file, data_, version),
        tables_(file, database_, data_, output_, messages),
        store_(file.scratch, messages),
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
             .messages = messages,
             .link = *this} {}

  Job& job() { return job_; }
  SegyData& data() { return data_; }
  Database& database() { return database_; }

  void recordPass(const PassRecord& pass) {
    if (record_) database_.addPass(*record_, pass);
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
  void start(int /*argc*/, char** /*argv*/, const std::string& /*kind*/) override {}
  void connect() override {}
  void setToolName(const std::string& name) override { record_ = database_.beginRun(name, file_.text); }
  void endInitialisation() override { output_.begin(); }
  void recordRun(const std::string& /*tool*/, std::int64_t traces) override { traces_ = traces; }
  void close() override {
    output_.finish();
    database_.endRun(*record_, traces_, "completed");
    record_.reset();
  }

  Database database_;
  SegyData data_;
  const JobFile& file_;
  WatchedInput input_;
  RunOutput output_;
  RunTables tables_;
  MappedStore store_;
  Job job_;
  std::optional<std::int64_t> record_;
  std::int64_t traces_ = 0;
};

LocalJob::LocalJob(const JobFile& file, const std::string& version, MessageSink& messages)
    : impl_(std::make_unique<Impl>(file, version, messages)) {}
LocalJob::~LocalJob() = default;

Job& LocalJob::job() { return impl_->job(); }
SegyData& LocalJob::data() { return impl_->data(); }
Database& LocalJob::database() { return impl_->database(); }
void LocalJob::recordPass(const PassRecord& pass) { impl_->recordPass(pass); }
void LocalJob::fail(const std::string& why) { impl_->fail(why); }

}  // namespace host::local
