#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "host/local/header_words.h"
#include "host/local/job.h"
#include "host/local/table.h"

namespace korvane_test {

/// An input or output trace with the headers that the tests set or look at; all others are 0.
struct Trace {
  int cdp = 0;
  float offset = 0.0f;
  float receiverX = 0.0f, receiverY = 0.0f;  ///< from the source, which stands at the origin
  float naStat = 0.0f;
  int type = 1;
  int supergather = 0;  ///< header "SG_CDP", when the job has one
  int endOfEnsemble = 0, fold = 0;
  float azimuth = 0.0f;  ///< header "VEL_AZIM", on output
  std::vector<float> samples = {};
};

/// A job made of vectors behind the framework's boundary. It keeps what the tool emits and records its calls.
class MemoryJob : private host::local::ParameterSource,
                  private host::local::HeaderSource,
                  private host::local::EnsembleSource,
                  private host::local::TraceSink,
                  private host::local::TableStore,
                  private host::local::BlockSource,
                  private host::local::MessageSink,
                  private host::local::RunLink {
 public:
  MemoryJob(float dt, int nt);

  // what the job holds; to be set before the run
  std::map<std::string, std::variant<int, float, std::string>> parameterValues;
  std::vector<std::vector<Trace>> ensembles;
  std::map<std::pair<std::string, std::string>, host::Table*> stored;  ///< by type and name; not owned
  std::map<std::string, std::pair<int, int>> extraHeaders;             ///< name: format, word
  std::size_t roomForStores = 9;                                       ///< stores that there is room for
  std::size_t faultAtCall = std::numeric_limits<std::size_t>::max();   ///< from 0: throws the name of that call

  // what came of it
  mutable std::vector<std::string> calls;
  std::vector<Trace> output;
  std::vector<std::string> warnings;
  std::map<std::string, std::unique_ptr<host::Table>> saved;  ///< by type

  host::local::Job& job() { return job_; }
  /// Supergathers: maps header "SG_CDP" and makes it the primary key.
  void sortBySupergather();
  /// A 2D job with an input velocity "vin" of 2000 at CDPs 1 and 1000 that runs on dt, nt; tests change what they test.
  static std::unique_ptr<MemoryJob> line(float dt, int nt);

 private:
  /// Every call of the tool begins here.
  void record(const std::string& call) const;

  template <class Value>
  Value parameter(const std::string& key) const {
    record("get " + key);
    return std::get<Value>(parameterValues.at(key));
  }
  int integer(const std::string& key) const override { return parameter<int>(key); }
  float real(const std::string& key) const override { return parameter<float>(key); }
  std::string text(const std::string& key) const override { return parameter<std::string>(key); }

  bool exists(const std::string& name) const override { return extraHeaders.contains(name); }
  int format(const std::string& name) const override { return extraHeaders.at(name).first; }
  int index(const std::string& name) const override { return extraHeaders.at(name).second; }
  int add(const std::string& name, const std::string& about, int format) override;

  void deliver(int passes) override;
  int next(float* const* traces, std::int32_t* const* heads) override;
  void put(const float* trace, const std::int32_t* head) override;
  std::unique_ptr<host::Table> load(const std::string& type, const std::string& name) override;
  void save(host::Table& table, const std::string& type) override;
  void* map(std::int64_t bytes) override;
  void warn(const std::string& text) override { warnings.push_back(text); }

  void start(int argc, char** argv, const std::string& kind) override;
  void connect() override { record("connect"); }
  void setToolName(const std::string& name) override { record("name " + name); }
  void endInitialisation() override;
  void recordRun(const std::string& tool, std::int64_t traces) override;
  void close() override { record("close"); }

  void fillHead(const Trace& trace, std::int32_t* head) const;

  host::local::Job job_;
  int passes_ = 0, pass_ = 1;
  std::size_t nextEnsemble_ = 0;
  std::size_t storesMade_ = 0;
  std::vector<std::vector<std::int32_t>> blocks_;
  std::vector<std::unique_ptr<host::Table>> owned_;
};

}  // namespace korvane_test
