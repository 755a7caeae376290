#pragma once

#include <map>
#include <string>
#include <variant>
#include <vector>

#include "host/local/job.h"
#include "host/local/problems.h"

namespace host::local {

enum class ParameterType { integer, real, text };

/// The modes in which a parameter is read.
enum class ReadWhen {
  always,
  survey3D,
  survey2D,
  fixedWindow,     ///< METHOD 1
  otherWindow,     ///< METHOD not 1
  sectors,         ///< AZIMTH not 0
  stackOutput,     ///< PRESTACK 0
  outputTable,     ///< PRESTACK 0, OUTVEL not 0
  azimuthalTable,  ///< the same, AZIMTH not 0
  ordinaryTable,   ///< the same, AZIMTH 0
};

/// One key of the parameter set.
struct ParameterKey {
  const char* name;
  ParameterType type;
  const char* unit;
  const char* about;
  const char* fallback;  ///< value when the job gives none; null: required where it is read
  ReadWhen when;
  double least, most;  ///< range of a number, both included
};

/// Every key, in the order in which the tool reads them.
const std::vector<ParameterKey>& parameterKeys();
const char* describe(ParameterType type);
const char* describe(ReadWhen when);

/// The parameters of one job: checked, complete for the modes that it chose.
class ParameterSet : public ParameterSource {
 public:
  using Value = std::variant<int, float, std::string>;
  struct Given {
    Value value;
    std::string place;  ///< "file:line", or what else a message on the value begins with
  };

  /// Holds nothing.
  ParameterSet() = default;

  /// @param file      the job file, for messages
  /// @param given     values by key; keys and types are checked already
  /// @param problems  takes a missing required key, a value out of its range, a maximum below its minimum; then the set
  ///                  is not to be used
  /// Fills in the defaults; a warning for a key that the chosen modes do not read.
  ParameterSet(std::string file, bool is3D, std::map<std::string, Given> given, MessageSink& messages,
               Problems& problems);

  int integer(const std::string& key) const override;
  float real(const std::string& key) const override;
  std::string text(const std::string& key) const override;

  bool isRead(ReadWhen when) const;
  /// The run emits traces: prestack output, or an output code that stands for a trace.
  bool emitsTraces() const;
  /// Checks against the data: the output interval, neither too long nor too short. @param traceLength  ms
  void checkAgainst(float traceLength) const;

  /// "file:line: [parameters] KEY = value" for messages; without a line when the value is a default.
  std::string where(const std::string& key) const;

 private:
  void checkRange(const ParameterKey& key) const;
  void checkPair(const char* least, const char* most) const;
  /// Numbers from the one to the other.
  double span(const char* least, const char* most) const;
  void checkGridSize() const;
  void warnOfSmallNeighbourhood(MessageSink& messages) const;

  std::string file_;
  bool is3D_ = false;
  std::map<std::string, Given> values_;
};

}  // namespace host::local
