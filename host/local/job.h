#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "host/framework.h"

/// Our own host behind host/framework.h. The framework's free functions act on one current job, set by a JobScope; the
/// job is made of the interfaces below, so that a test can serve one made of vectors.
namespace host::local {

/// What stErrFatal throws and what every failure of the local host is: the text is the whole message to the user.
class RunError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Parameter values by key; the checks are made before a job exists, so every key that is asked for has a value.
class ParameterSource {
 public:
  virtual ~ParameterSource() = default;
  virtual int integer(const std::string& key) const = 0;
  virtual float real(const std::string& key) const = 0;
  virtual std::string text(const std::string& key) const = 0;
};

/// Names, formats and word positions of the trace headers beyond the standard ones.
class HeaderSource {
 public:
  virtual ~HeaderSource() = default;
  virtual bool exists(const std::string& name) const = 0;
  virtual int format(const std::string& name) const = 0;                               ///< hdrInteger or hdrFloat
  virtual int index(const std::string& name) const = 0;                                ///< word, from 0
  virtual int add(const std::string& name, const std::string& about, int format) = 0;  ///< word; negative: failed
};

/// Ensembles, ascending in the primary key, file order inside, the whole data as often as asked for.
class EnsembleSource {
 public:
  virtual ~EnsembleSource() = default;
  virtual void deliver(int passes) = 0;
  /// Next ensemble; 0 when the last pass is over.
  virtual int next(float* const* traces, std::int32_t* const* heads) = 0;
};

/// Where the output traces go.
class TraceSink {
 public:
  virtual ~TraceSink() = default;
  virtual void put(const float* trace, const std::int32_t* head) = 0;
};

/// Stored tables by type and name.
class TableStore {
 public:
  virtual ~TableStore() = default;
  /// Null when there is no such table; an output table of the run that is not stored yet comes as an empty one.
  virtual std::unique_ptr<Table> load(const std::string& type, const std::string& name) = 0;
  /// May complete the table by what the store knows of its functions.
  virtual void save(Table& table, const std::string& type) = 0;
};

/// Large blocks for the run; null when there is no room.
class BlockSource {
 public:
  virtual ~BlockSource() = default;
  virtual void* map(std::int64_t bytes) = 0;
};

/// Warnings to the user.
class MessageSink {
 public:
  virtual ~MessageSink() = default;
  virtual void warn(const std::string& text) = 0;
};

/// Lifecycle of a run.
class RunLink {
 public:
  virtual ~RunLink() = default;
  virtual void start(int argc, char** argv, const std::string& kind) = 0;
  virtual void connect() = 0;
  virtual void setToolName(const std::string& name) = 0;
  virtual void endInitialisation() = 0;
  virtual void recordRun(const std::string& tool, std::int64_t traces) = 0;
  virtual void close() = 0;
};

/// Everything the framework's operations act on.
struct Job {
  RuntimeRecord runtime;
  MiscRecord misc;
  StandardHeaders headerWords;
  const ParameterSource& parameters;
  HeaderSource& headers;
  EnsembleSource& input;
  TraceSink& output;
  TableStore& tables;
  BlockSource& blocks;
  MessageSink& messages;
  RunLink& link;
};

/// Makes a job the current one for as long as the scope lives; tables that the run leaves open are released with it.
class JobScope {
 public:
  explicit JobScope(Job& job);
  ~JobScope();
  JobScope(const JobScope&) = delete;
  JobScope& operator=(const JobScope&) = delete;
};

}  // namespace host::local
