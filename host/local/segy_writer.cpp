#include "host/local/segy_writer.h"

#include <segyio/segy.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <future>
#include <utility>

#include "host/local/big_endian.h"
#include "host/local/job.h"
#include "host/local/part_file.h"
#include "host/local/sample_format.h"
#include "host/local/segy_input.h"

namespace host::local {

namespace {

constexpr std::size_t bufferBytes = 1 << 20;  // written at once

void putBinary(std::array<char, 400>& binary, int byte, int value) {
  unsigned char word[2];
  storeBig16(word, static_cast<std::uint16_t>(value));
  std::memcpy(binary.data() + byte - 3201, word, sizeof word);
}

}  // namespace

/// Collects what is written and writes it beside the calling thread.
class SegyWriter::File {
 public:
  File(std::filesystem::path target, int samples) : file_(std::move(target), "the output file"), samples_(samples) {}
  ~File() {
    if (writing_.valid()) writing_.wait();
  }

  void begin(const SegyFileHead& head, int microseconds) {
    std::array<char, 400> binary = head.binary;
    putBinary(binary, SEGY_BIN_INTERVAL, microseconds);
    putBinary(binary, SEGY_BIN_SAMPLES, head.samples);
    putBinary(binary, SEGY_BIN_FORMAT, SEGY_IEEE_FLOAT_4_BYTE);
    putBinary(binary, SEGY_BIN_SEGY_REVISION, 0x0100);
    putBinary(binary, SEGY_BIN_TRACE_FLAG, 1);
    putBinary(binary, SEGY_BIN_EXT_HEADERS, 0);
    std::memcpy(room(head.text.size()), head.text.data(), head.text.size());
    std::memcpy(room(binary.size()), binary.data(), binary.size());
  }

  void write(TraceHeader header, const float* samples) {
    ++traces_;
    putInt32(header, 1, traces_);
    putInt32(header, 5, traces_);
    unsigned char* trace = room(header.size() + static_cast<std::size_t>(samples_) * sizeof(float));
    std::memcpy(trace, header.data(), header.size());
    encodeSamples(samples, samples_, trace + header.size());
  }

  void secure() {
    writeAll();
    file_.secure();
  }

  void commit() {
    writeAll();
    file_.commit();
  }

 private:
  /// Room for that many bytes behind those that wait to be written.
  unsigned char* room(std::size_t bytes) {
    if (used_ + bytes > buffer_.size()) flush();
    return buffer_.data() + std::exchange(used_, used_ + bytes);
  }

  /// Writes what waits, beside the calling thread.
  void flush() {
    finishWriting();
    std::swap(buffer_, written_);
    writing_ = std::async(std::launch::async,
                          [this, bytes = std::exchange(used_, 0)] { file_.write(written_.data(), bytes); });
  }
  void finishWriting() {
    if (writing_.valid()) writing_.get();
  }
  void writeAll() {
    flush();
    finishWriting();
  }

  PartFile file_;
  int samples_;
  std::int32_t traces_ = 0;
  std::vector<unsigned char> buffer_ = std::vector<unsigned char>(bufferBytes);
  std::size_t used_ = 0;                          // bytes of the buffer
  std::vector<unsigned char> written_ = buffer_;  // is being written
  std::future<void> writing_;
};

SegyWriter::SegyWriter(std::filesystem::path target, const SegyFileHead& head) {
  const long microseconds = std::lround(1000.0 * static_cast<double>(head.interval));
  if (head.samples < 1 || head.samples > 65535) {
    throw RunError(target.string() + ": a SEG-Y file holds 1 to 65535 samples per trace, not " +
                   std::to_string(head.samples) + ".");
  }
  if (microseconds < 1 || microseconds > 32767) {
    throw RunError(target.string() + ": a SEG-Y file holds sample intervals of 0.001 to 32.767 ms, not " +
                   std::to_string(head.interval) + ".");
  }
  file_ = std::make_unique<File>(std::move(target), head.samples);
  file_->begin(head, static_cast<int>(microseconds));
}

SegyWriter::~SegyWriter() = default;

void SegyWriter::write(const TraceHeader& header, const float* samples) { file_->write(header, samples); }
void SegyWriter::secure() { file_->secure(); }
void SegyWriter::commit() { file_->commit(); }

void putInt16(TraceHeader& header, int byte, std::int16_t value) {
  storeBig16(header.data() + byte - 1, static_cast<std::uint16_t>(value));
}

void putInt32(TraceHeader& header, int byte, std::int32_t value) {
  storeBig32(header.data() + byte - 1, static_cast<std::uint32_t>(value));
}

void putFloat32(TraceHeader& header, int byte, float value) {
  storeBig32(header.data() + byte - 1, std::bit_cast<std::uint32_t>(value));
}

}  // namespace host::local
