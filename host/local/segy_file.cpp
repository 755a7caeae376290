#include "host/local/segy_file.h"

#include <fcntl.h>
#include <segyio/segy.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <numeric>

#include "host/local/big_endian.h"
#include "host/local/sample_format.h"

namespace host::local {

namespace {

constexpr std::int64_t fileHeaderBytes = SEGY_TEXT_HEADER_SIZE + SEGY_BINARY_HEADER_SIZE;

int binaryWord(const std::array<char, 400>& binary, int byte) {
  unsigned char word[2];
  std::memcpy(word, binary.data() + byte - 3201, sizeof word);
  return static_cast<std::int16_t>(loadBig16(word));
}

/// Counts that do not fit a signed word are written as unsigned ones.
int unsignedWord(double value) { return value < 0.0 ? wholeNumber(value) + 65536 : wholeNumber(value); }

/// For each byte of a big-endian trace header the byte of a little-endian one that it is: turned over are the mapped
/// fields, and those of revision 1 that none of them overlaps.
std::array<unsigned char, 240> turnedBytes(const HeaderLayout& layout) {
  struct Run {
    int fields, bytes;
  };
  static constexpr Run runs[] = {{7, 4}, {4, 2}, {8, 4}, {2, 2}, {4, 4}, {46, 2}, {5, 4},
                                 {2, 2}, {1, 4}, {5, 2}, {1, 4}, {1, 2}, {1, 4},  {2, 2}};
  std::array<unsigned char, 240> source;
  std::iota(source.begin(), source.end(), static_cast<unsigned char>(0));
  const auto turn = [&](int byte, int bytes) {
    for (int i = 0; i < bytes; ++i) {
      source[static_cast<std::size_t>(byte - 1 + i)] = static_cast<unsigned char>(byte + bytes - 2 - i);
    }
  };
  const auto isMapped = [&](int byte, int bytes) {
    return std::any_of(layout.fields.begin(), layout.fields.end(), [&](const auto& named) {
      const HeaderField& field = named.second;
      return field.byte < byte + bytes && byte < field.byte + bytesOf(field.format);
    });
  };
  int byte = 1;
  for (const Run& run : runs) {
    for (int i = 0; i < run.fields; ++i, byte += run.bytes) {
      if (!isMapped(byte, run.bytes)) turn(byte, run.bytes);
    }
  }
  for (const auto& [name, field] : layout.fields) turn(field.byte, bytesOf(field.format));
  return source;
}

}  // namespace

SegyFile::SegyFile(const SegyInput& input, MessageSink& messages) : input_(input), messages_(messages) {
  for (const auto& [name, field] : input_.layout.fields) {
    if (field.byte < 1 || field.byte > 241 - bytesOf(field.format)) {
      refuse("header " + name + " at byte " + std::to_string(field.byte) + " (" + nameOf(field.format) +
             ") does not lie within bytes 1 to 240 of a trace header. Correct its byte in [headers].");
    }
  }
  open();
  readFileHeaders();
  countExtraTexts();
  chooseSampling();
  countTraces();
}

void SegyFile::open() {
  std::error_code error;
  const auto status = std::filesystem::status(input_.file, error);
  if (status.type() == std::filesystem::file_type::not_found)
    refuse("there is no such file. Correct the name, in a job `input` of [data].");
  if (error) refuse("cannot be opened: " + error.message() + ". Check that you may read it.");
  if (!std::filesystem::is_regular_file(status)) refuse("is a folder or a device, expected a SEG-Y file.");
  facts_.bytes = static_cast<std::int64_t>(std::filesystem::file_size(input_.file, error));
  if (error) refuse("its size cannot be found: " + error.message() + ".");
  if (facts_.bytes == 0) refuse("is empty.");
  if (facts_.bytes < fileHeaderBytes) {
    refuse("is no SEG-Y file: it has " + std::to_string(facts_.bytes) + " bytes, and the headers in front of the " +
           "traces alone take " + std::to_string(fileHeaderBytes) + ".");
  }
  descriptor_.number = ::open(input_.file.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor_.number < 0) refuse("cannot be opened. Check that you may read it.");
}

void SegyFile::readFileHeaders() {
  // Read here because the library hands the text out in ASCII only.
  if (readAt(0, facts_.text.data(), facts_.text.size()) < facts_.text.size()) refuse("its text header cannot be read.");

  const std::unique_ptr<segy_file, int (*)(segy_file*)> handle(segy_open(input_.file.c_str(), "rb"), segy_close);
  if (!handle) refuse("cannot be opened. Check that you may read it.");
  const auto readBinary = [&](int order) {
    segy_set_format(handle.get(), SEGY_IBM_FLOAT_4_BYTE | order);
    if (segy_binheader(handle.get(), facts_.binary.data()) != SEGY_OK) refuse("its binary header cannot be read.");
    facts_.format = binaryWord(facts_.binary, SEGY_BIN_FORMAT);
  };
  // A code from 1 to 16 in one order is a multiple of 256 in the other, so at most one of them makes sense.
  const auto makesSense = [&] { return facts_.format >= 1 && facts_.format <= 16; };
  readBinary(SEGY_MSB);
  const int asBigEndian = facts_.format;
  if (!makesSense()) {
    readBinary(SEGY_LSB);
    facts_.littleEndian = true;
    turned_ = turnedBytes(input_.layout);
  }
  if (!makesSense() && input_.format != 0) {
    readBinary(SEGY_MSB);
    facts_.littleEndian = false;
  } else if (!makesSense()) {
    refuse(
        "is no SEG-Y file, or one without a sample format: bytes 3225-3226 have " + std::to_string(asBigEndian) +
        ", which means nothing in either byte order. If it is one, name the format: `format = \"ibm\"` (or \"ieee\", " +
        "\"int32\", \"int16\", \"int8\") in [data]; the file is then read as big endian.");
  }
  facts_.statedFormat = facts_.format;
  if (input_.format != 0) facts_.format = input_.format;
  if (sampleBytes(facts_.format) == 0) {
    refuse("sample format " + std::to_string(facts_.format) + " (bytes 3225-3226) cannot be read. Convert the file " +
           "to IBM float (1), 32-bit integer (2), 16-bit integer (3), IEEE float (5) or 8-bit integer (8), or set " +
           "`format` in [data] if it is in one of these.");
  }
  facts_.revision = binaryWord(facts_.binary, SEGY_BIN_SEGY_REVISION) & 0xffff;
}

void SegyFile::countExtraTexts() {
  // Revision 0 leaves that word unassigned.
  const int count = facts_.revision == 0 ? 0 : binaryWord(facts_.binary, SEGY_BIN_EXT_HEADERS);
  const std::int64_t behind = fileHeaderBytes + std::int64_t{count} * SEGY_TEXT_HEADER_SIZE;
  if (count > 0 && behind + SEGY_TRACE_HEADER_SIZE < facts_.bytes) {
    facts_.extraTexts = count;
  } else if (count != 0) {
    warn("the binary header counts " + std::to_string(count) + " extended text headers; taken as 0.");
  }
  firstTrace_ = fileHeaderBytes + std::int64_t{facts_.extraTexts} * SEGY_TEXT_HEADER_SIZE;
}

std::int64_t SegyFile::bytesWith(int samples) const {
  return SEGY_TRACE_HEADER_SIZE + std::int64_t{samples} * sampleBytes(facts_.format);
}

void SegyFile::chooseSampling() {
  const std::int64_t body = facts_.bytes - firstTrace_;
  if (body < SEGY_TRACE_HEADER_SIZE) refuse("holds no traces.");
  TraceHeader raw;
  if (readAt(firstTrace_, raw.data(), raw.size()) < raw.size()) refuseTrace(0);
  const TraceHeader first = header(raw.data());

  const auto fits = [&](int samples) { return samples > 0 && body % bytesWith(samples) == 0; };
  const int samples = binaryWord(facts_.binary, SEGY_BIN_SAMPLES) & 0xffff;
  const int inTrace = unsignedWord(readField(first, input_.layout.fields.at("SAMPLES")));
  facts_.samples = samples;
  if (inTrace != samples && inTrace <= 65535 && (fits(inTrace) || samples == 0) && !fits(samples) && inTrace > 0) {
    warn("the binary header has " + std::to_string(samples) + " samples per trace, which does not go with the size " +
         "of the file; the " + std::to_string(inTrace) + " of the first trace header are used.");
    facts_.samples = inTrace;
  }
  if (facts_.samples == 0) {
    refuse("neither the binary header (bytes 3221-3222) nor the first trace header has the samples per trace. " +
           std::string("Correct the file."));
  }

  const int interval = binaryWord(facts_.binary, SEGY_BIN_INTERVAL);
  facts_.interval = interval;
  if (interval <= 0) {
    facts_.interval = wholeNumber(readField(first, input_.layout.fields.at("INTERVAL")));
    if (facts_.interval <= 0) {
      refuse("neither the binary header (bytes 3217-3218: " + std::to_string(interval) +
             ") nor the first trace header (" + std::to_string(facts_.interval) +
             ") has a sample interval above 0 microseconds. Correct the file.");
    }
    warn("the binary header has a sample interval of " + std::to_string(interval) + " microseconds; the " +
         std::to_string(facts_.interval) + " of the first trace header are used.");
  }
}

void SegyFile::countTraces() {
  const std::int64_t body = facts_.bytes - firstTrace_;
  const std::int64_t size = bytesWith(facts_.samples);
  const std::int64_t count = body / size;
  facts_.strayBytes = body % size;
  if (count > std::numeric_limits<int>::max()) {
    refuse("holds " + std::to_string(count) + " traces, more than the " +
           std::to_string(std::numeric_limits<int>::max()) + " that one file may have. Split it.");
  }
  facts_.traces = static_cast<int>(count);
  if (count == 0) {
    refuse("holds no whole trace: " + std::to_string(body) + " bytes stand behind the file headers, and a trace of " +
           std::to_string(facts_.samples) + " samples takes " + std::to_string(size) + ".");
  }
  if (facts_.strayBytes == 0) return;
  const std::string what = "ends inside trace " + std::to_string(count + 1) + ": " + std::to_string(count) +
                           " whole traces and " + std::to_string(facts_.strayBytes) + " stray bytes";
  if (!input_.allowTruncated) {
    refuse(what + ". Replace it by a whole copy, or set `allow_truncated = true` in [data] to use the whole traces.");
  }
  warn(what + "; the whole traces are used.");
}

std::size_t SegyFile::readAt(std::int64_t byte, void* out, std::size_t bytes) const {
  std::size_t done = 0;
  while (done < bytes) {
    const ssize_t got =
        pread(descriptor_.number, static_cast<char*>(out) + done, bytes - done, byte + static_cast<std::int64_t>(done));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    done += static_cast<std::size_t>(got);
  }
  return done;
}

int SegyFile::read(int first, int count, unsigned char* out) const {
  const std::size_t bytes = traceBytes();
  const std::int64_t from = firstTrace_ + first * static_cast<std::int64_t>(bytes);
  const int whole = static_cast<int>(readAt(from, out, static_cast<std::size_t>(count) * bytes) / bytes);
  if (whole == 0) refuseTrace(first);
  return whole;
}

void SegyFile::announce(int first, int count) const {
  const std::int64_t bytes = static_cast<std::int64_t>(traceBytes());
  posix_fadvise(descriptor_.number, firstTrace_ + first * bytes, count * bytes, POSIX_FADV_WILLNEED);
}

double SegyFile::value(const unsigned char* trace, HeaderField field) const {
  unsigned char bytes[4];
  const int count = bytesOf(field.format);
  std::memcpy(bytes, trace + field.byte - 1, static_cast<std::size_t>(count));
  if (facts_.littleEndian) std::reverse(bytes, bytes + count);
  if (field.format == HeaderFormat::int16) return static_cast<std::int16_t>(loadBig16(bytes));
  return fieldValue(loadBig32(bytes), field.format);
}

TraceHeader SegyFile::header(const unsigned char* trace) const {
  TraceHeader header;
  if (facts_.littleEndian) {
    for (std::size_t i = 0; i < header.size(); ++i) header[i] = trace[turned_[i]];
  } else {
    std::memcpy(header.data(), trace, header.size());
  }
  return header;
}

bool SegyFile::samples(const unsigned char* trace, float* out) const {
  return decodeSamples(facts_.format, facts_.littleEndian, trace + SEGY_TRACE_HEADER_SIZE, facts_.samples, out);
}

SegyFile::State SegyFile::state() const {
  struct stat status {};
  if (fstat(descriptor_.number, &status) != 0) return {};
  return {status.st_size, status.st_mtim.tv_sec * std::int64_t{1'000'000'000} + status.st_mtim.tv_nsec};
}

void SegyFile::refuseTrace(int trace) const {
  refuse("trace " + std::to_string(trace + 1) + " cannot be read. Has the file changed since it was opened?");
}

void SegyFile::refuse(const std::string& reason) const { throw RunError(input_.file.string() + ": " + reason); }

void SegyFile::warn(const std::string& what) const { messages_.warn(input_.file.string() + ": " + what); }

}  // namespace host::local
