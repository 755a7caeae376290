#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "host/local/job.h"
#include "host/local/segy_input.h"
#include "host/local/segy_text.h"

struct segy_file_handle;

namespace host::local {

/// What a SEG-Y file says of itself in front of its traces.
struct SegyFacts {
  std::int64_t bytes = 0;          ///< of the file
  SegyText text{};                 ///< as the file holds it
  std::array<char, 400> binary{};  ///< big endian, whatever the file has
  bool littleEndian = false;
  int revision = 0;             ///< the word as it stands, 0x0100 for revision 1
  int format = 0;               ///< sample format code: 1 IBM float, 2 int32, 3 int16, 5 IEEE float, 8 int8
  int extraTexts = 0;           ///< extended text headers
  int samples = 0;              ///< per trace
  int interval = 0;             ///< microseconds
  int traces = 0;               ///< whole traces
  std::int64_t strayBytes = 0;  ///< behind the last whole trace
};

/// A SEG-Y file of revision 0 or 1, opened for reading trace by trace. Every size is checked against the size of the
/// file when it is opened. Errors are RunError with file, trace and value.
///
/// The byte order is the one in which the sample format makes sense. Samples per trace and sample interval come from
/// the binary header or, where that cannot be right, from the first trace header.
class SegyFile {
 public:
  SegyFile(const SegyInput& input, MessageSink& messages);

  const SegyFacts& facts() const { return facts_; }
  int traces() const { return facts_.traces; }

  /// Announces that traces first .. first + count - 1 are read next: they are fetched together.
  void expect(int first, int count);
  /// Trace header in big-endian order. `trace` counts from 0.
  TraceHeader header(int trace);
  /// The samples of a trace as floats: IBM floats exactly where single precision has the value, integers rounded to
  /// nearest.
  void samples(int trace, float* out);

 private:
  struct Close {
    void operator()(segy_file_handle* handle) const;
    void operator()(std::FILE* stream) const;
  };

  void open();
  void readFileHeaders();
  void countExtraTexts();
  void chooseSampling();
  void countTraces();
  std::int64_t traceBytes(int samples) const;
  unsigned char* fetched(int trace);
  [[noreturn]] void refuse(const std::string& reason) const;
  void warn(const std::string& what) const;

  SegyInput input_;
  MessageSink& messages_;
  SegyFacts facts_;
  std::unique_ptr<segy_file_handle, Close> handle_;  // file headers
  std::unique_ptr<std::FILE, Close> stream_;         // traces
  long firstTrace_ = 0;                              // byte from 0
  std::vector<unsigned char> fetched_;               // whole traces as the file holds them
  int fetchedFirst_ = 0, fetchedCount_ = 0;
  int expectedEnd_ = 0;                // behind the last trace announced
  std::vector<unsigned char> buffer_;  // samples of a trace while they are decoded
};

/// Name of a sample format code.
const char* sampleFormatName(int format);

}  // namespace host::local
