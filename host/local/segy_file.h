#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "host/local/descriptor.h"
#include "host/local/job.h"
#include "host/local/sample_format.h"
#include "host/local/segy_input.h"
#include "host/local/segy_text.h"

namespace host::local {

/// What a SEG-Y file says of itself in front of its traces.
struct SegyFacts {
  std::int64_t bytes = 0;          ///< of the file
  SegyText text{};                 ///< as the file holds it
  std::array<char, 400> binary{};  ///< big endian, whatever the file has
  bool littleEndian = false;
  int revision = 0;             ///< the word as it stands, 0x0100 for revision 1
  int format = 0;               ///< sample format code in use
  int statedFormat = 0;         ///< that of the binary header
  int extraTexts = 0;           ///< extended text headers
  int samples = 0;              ///< per trace
  int interval = 0;             ///< microseconds
  int traces = 0;               ///< whole traces
  std::int64_t strayBytes = 0;  ///< behind the last whole trace
};

/// A SEG-Y file of revision 0 or 1, opened for reading. Every size is checked against the size of the file when it is
/// opened. Traces are numbered from 0 here and from 1 in messages. Errors are RunError with file, trace and value.
///
/// The byte order is the one in which the sample format makes sense, big endian where it makes none and is given.
/// Samples per trace and sample interval come from the binary header or, where that cannot be right, from the first
/// trace header.
class SegyFile {
 public:
  SegyFile(const SegyInput& input, MessageSink& messages);

  const SegyInput& input() const { return input_; }
  const SegyFacts& facts() const { return facts_; }
  int traces() const { return facts_.traces; }
  std::size_t traceBytes() const { return static_cast<std::size_t>(bytesWith(facts_.samples)); }

  /// Reads `count` neighbouring traces as the file holds them, traceBytes() each; the number of those that are there.
  /// Not even the first one is an error.
  int read(int first, int count, unsigned char* out) const;
  /// Has the system fetch neighbouring traces that are read soon.
  void announce(int first, int count) const;

  /// Value of any field of a trace that was read, as the file holds it.
  double value(const unsigned char* trace, HeaderField field) const;
  /// Header of a trace that was read, in big-endian order.
  TraceHeader header(const unsigned char* trace) const;
  /// Samples of a trace that was read, decoded as in sample_format.h; whether all are finite.
  bool samples(const unsigned char* trace, float* out) const;

  /// What changes with the content of a file.
  struct State {
    std::int64_t bytes = -1;
    std::int64_t modified = 0;  ///< ns since 1970
    bool operator==(const State&) const = default;
  };
  State state() const;

 private:
  void open();
  void readFileHeaders();
  void countExtraTexts();
  void chooseSampling();
  void countTraces();
  std::int64_t bytesWith(int samples) const;
  std::size_t readAt(std::int64_t byte, void* out, std::size_t bytes) const;
  [[noreturn]] void refuse(const std::string& reason) const;
  [[noreturn]] void refuseTrace(int trace) const;
  void warn(const std::string& what) const;

  SegyInput input_;
  MessageSink& messages_;
  SegyFacts facts_;
  Descriptor descriptor_;
  std::int64_t firstTrace_ = 0;              // byte from 0
  std::array<unsigned char, 240> turned_{};  // see turnedBytes
};

}  // namespace host::local
