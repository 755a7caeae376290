#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/local/index_cache.h"
#include "host/local/job.h"
#include "host/local/position.h"
#include "host/local/segy_file.h"
#include "host/local/segy_input.h"
#include "host/local/segy_writer.h"

namespace host::local {

/// Size and place of an ensemble.
struct EnsembleFacts {
  int traces = 0;
  bool live = false;  ///< some trace code says so
  // of the first live trace; the CDP of a supergather is that of its first live trace whose CDP equals SG_CDP
  int cdp = 0, iline = 0, xline = 0;
  bool offset = false;   ///< its offset is not 0
  bool azimuth = false;  ///< its source and receiver differ
};

/// Where the delivery of the ensembles stands.
struct InputPlace {
  int pass = 1;                ///< over the data
  std::int64_t run = 0;        ///< of the index: the first one of the ensemble that was delivered last
  std::int64_t delivered = 0;  ///< traces before that ensemble, over all passes
};

/// A prestack SEG-Y file as the framework's input: ensembles, trace headers, positions of the CDPs. The headers are
/// indexed when it is opened, or the index of an earlier time is taken from its cache. Errors are RunError naming file,
/// trace and value; oddities that do not stop a run go to `messages`.
class SegyData : public EnsembleSource, public HeaderSource, public CdpPositions {
 public:
  /// @param indexCache  file for the index, empty for none (see index_cache.h)
  SegyData(const SegyInput& input, MessageSink& messages, const std::filesystem::path& indexCache = {},
           CacheAccess cacheAccess = CacheAccess::write);
  ~SegyData() override;

  int samples() const;
  float interval() const;       ///< ms
  std::int64_t traces() const;  ///< of one pass
  int largestEnsemble() const;  ///< traces
  int primaryKeyWord() const;   ///< header word index from 1
  SegyFileHead head() const;    ///< text and binary header of the file, sampling filled in
  const SegyInput& input() const;
  std::int64_t tracesDelivered() const;  ///< over all passes so far

  void deliver(int passes) override;
  int next(float* const* traces, std::int32_t* const* heads) override;

  /// Of the ensemble that was delivered last.
  InputPlace place() const;
  /// Delivers from an ensemble on. RunError when none begins there.
  void goOnFrom(const InputPlace& place, int passes);
  /// A number that other traces, ensembles or positions would change, of the headers of the file and of all traces.
  std::uint64_t headerHash() const;
  /// Of the file when it was opened.
  SegyFile::State fileState() const;

  /// The same from the ensemble of that number (from 0, in the order of delivery) on.
  void deliverFrom(int ensemble, int passes);

  bool exists(const std::string& name) const override;
  int format(const std::string& name) const override;
  int index(const std::string& name) const override;
  int add(const std::string& name, const std::string& about, int format) override;

  std::optional<Position> find(int cdp) const override;

  /// Every ensemble of a pass, in order; reads the header of one trace of each, of a supergather some more.
  std::vector<EnsembleFacts> ensembles() const;

  class Impl;

 private:
  std::unique_ptr<Impl> impl_;
};

/// The framework's output traces as a SEG-Y file: trace type (TRC_TYPE) and fold (TR_FOLD) from their words, VEL_AZIM
/// at byte 233 as float32 when the run has added it, end of ensemble at 237 and line segment sequence number at 239 as
/// int16; every other byte as in the input trace that the header stems from.
class SegyOutput : public TraceSink {
 public:
  /// @param notes  lines added to the text header of the input
  SegyOutput(std::filesystem::path target, const SegyData& input, const std::vector<std::string>& notes);
  ~SegyOutput() override;
  void put(const float* trace, const std::int32_t* head) override;
  /// Brings all traces to the disk.
  void secure();
  /// Makes the file the target. Without it the target stays as it was.
  void finish();

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace host::local
