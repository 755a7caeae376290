#include "host/local/segy_file.h"

#include <segyio/segy.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>

#include "host/local/big_endian.h"

namespace host::local {

namespace {

constexpr std::int64_t blockBytes = 1 << 20;  // most that is fetched at once, one trace apart
constexpr std::int64_t fileHeaderBytes = SEGY_TEXT_HEADER_SIZE + SEGY_BINARY_HEADER_SIZE;

int binaryWord(const std::array<char, 400>& binary, int byte) {
  unsigned char word[2];
  std::memcpy(word, binary.data() + byte - 3201, sizeof word);
  return static_cast<std::int16_t>(loadBig16(word));
}

/// Counts that do not fit a signed word are written as unsigned ones.
int unsignedWord(double value) { return value < 0.0 ? wholeNumber(value) + 65536 : wholeNumber(value); }

int sampleBytes(int format) {
  switch (format) {
    case SEGY_IBM_FLOAT_4_BYTE:
    case SEGY_SIGNED_INTEGER_4_BYTE:
    case SEGY_IEEE_FLOAT_4_BYTE:
      return 4;
    case SEGY_SIGNED_SHORT_2_BYTE:
      return 2;
    case SEGY_SIGNED_CHAR_1_BYTE:
      return 1;
    default:
      return 0;
  }
}

/// A little-endian trace header in big-endian order: the mapped fields, and those of revision 1 that none of them
/// overlaps.
TraceHeader bigEndian(const TraceHeader& little, const HeaderLayout& layout) {
  struct Run {
    int fields, bytes;
  };
  static constexpr Run runs[] = {{7, 4}, {4, 2}, {8, 4}, {2, 2}, {4, 4}, {46, 2}, {5, 4},
                                 {2, 2}, {1, 4}, {5, 2}, {1, 4}, {1, 2}, {1, 4},  {2, 2}};
  TraceHeader big = little;
  const auto reverse = [&](int byte, int bytes) {
    std::reverse_copy(little.begin() + byte - 1, little.begin() + byte - 1 + bytes, big.begin() + byte - 1);
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
      if (!isMapped(byte, run.bytes)) reverse(byte, run.bytes);
    }
  }
  for (const auto& [name, field] : layout.fields) reverse(field.byte, bytesOf(field.format));
  return big;
}

/// Sign, seven bits of exponent to the base 16 less 64, fraction of 24 bits: exact in double, normalised or not. What
/// single precision cannot reach becomes infinite.
float fromIbm(std::uint32_t word) {
  const int exponent = static_cast<int>(word >> 24 & 0x7f);
  const double scale = std::bit_cast<double>(static_cast<std::uint64_t>(1023 + 4 * (exponent - 64) - 24) << 52);
  const double magnitude = static_cast<double>(word & 0xffffff) * scale;
  return static_cast<float>(word >> 31 != 0 ? -magnitude : magnitude);
}

/// Words of a little-endian file in big-endian order.
void reverseWords(std::vector<unsigned char>& words, int bytes) {
  for (auto word = words.begin(); word != words.end(); word += bytes) std::reverse(word, word + bytes);
}

template <class Word>
void convert(const unsigned char* native, std::size_t count, float* out) {
  for (std::size_t i = 0; i < count; ++i) {
    Word word;
    std::memcpy(&word, native + i * sizeof word, sizeof word);
    out[i] = static_cast<float>(word);
  }
}

}  // namespace

const char* sampleFormatName(int format) {
  switch (format) {
    case SEGY_IBM_FLOAT_4_BYTE:
      return "IBM float";
    case SEGY_SIGNED_INTEGER_4_BYTE:
      return "32-bit integer";
    case SEGY_SIGNED_SHORT_2_BYTE:
      return "16-bit integer";
    case SEGY_IEEE_FLOAT_4_BYTE:
      return "IEEE float";
    case SEGY_SIGNED_CHAR_1_BYTE:
      return "8-bit integer";
    default:
      return "unknown";
  }
}

void SegyFile::Close::operator()(segy_file_handle* handle) const { segy_close(handle); }
void SegyFile::Close::operator()(std::FILE* stream) const { std::fclose(stream); }

SegyFile::SegyFile(const SegyInput& input, MessageSink& messages) : input_(input), messages_(messages) {
  for (const auto& [name, field] : input_.layout.fields) {
    if (field.byte < 1 || field.byte + bytesOf(field.format) - 1 > 240) {
      refuse("header " + name + " at byte " + std::to_string(field.byte) + " (" + nameOf(field.format) +
             ") does not lie within bytes 1 to 240 of a trace header. Correct its byte in [headers].");
    }
  }
  open();
  readFileHeaders();
  countExtraTexts();
  chooseSampling();
  countTraces();
  fetchedCount_ = 0;  // the first header was read before the length of a trace was known
  buffer_.resize(static_cast<std::size_t>(facts_.samples) * static_cast<std::size_t>(sampleBytes(facts_.format)));
}

void SegyFile::open() {
  std::error_code error;
  const auto status = std::filesystem::status(input_.file, error);
  if (!std::filesystem::exists(status)) refuse("there is no such file. Check `input` in [data].");
  if (!std::filesystem::is_regular_file(status)) refuse("is no file that traces can be read from.");
  facts_.bytes = static_cast<std::int64_t>(std::filesystem::file_size(input_.file, error));
  if (error) refuse("its size cannot be found: " + error.message() + ".");
  if (facts_.bytes == 0) refuse("is empty.");
  if (facts_.bytes < fileHeaderBytes) {
    refuse("is no SEG-Y file: it has " + std::to_string(facts_.bytes) + " bytes, and the headers in front of the " +
           "traces alone take " + std::to_string(fileHeaderBytes) + ".");
  }
  handle_.reset(segy_open(input_.file.c_str(), "rb"));
  stream_.reset(std::fopen(input_.file.c_str(), "rb"));
  if (!handle_ || !stream_) refuse("cannot be opened. Check that you may read it.");
  std::setvbuf(stream_.get(), nullptr, _IONBF, 0);  // blocks are read into a buffer of ours
}

void SegyFile::readFileHeaders() {
  // Read here because the library hands the text out in ASCII only.
  std::ifstream stream(input_.file, std::ios::binary);
  if (!stream.read(facts_.text.data(), static_cast<std::streamsize>(facts_.text.size()))) {
    refuse("its text header cannot be read.");
  }

  const auto readBinary = [&](int order) {
    segy_set_format(handle_.get(), SEGY_IBM_FLOAT_4_BYTE | order);
    if (segy_binheader(handle_.get(), facts_.binary.data()) != SEGY_OK) refuse("its binary header cannot be read.");
    facts_.format = binaryWord(facts_.binary, SEGY_BIN_FORMAT);
  };
  // A code from 1 to 16 in one order is a multiple of 256 in the other, so at most one of them makes sense.
  const auto makesSense = [&] { return facts_.format >= 1 && facts_.format <= 16; };
  readBinary(SEGY_MSB);
  const int asBigEndian = facts_.format;
  if (!makesSense()) {
    readBinary(SEGY_LSB);
    facts_.littleEndian = true;
  }
  if (!makesSense()) {
    refuse("is no SEG-Y file: the sample format in bytes 3225-3226 is " + std::to_string(asBigEndian) +
           ", which means nothing in either byte order.");
  }
  if (sampleBytes(facts_.format) == 0) {
    refuse("sample format " + std::to_string(facts_.format) + " (bytes 3225-3226) cannot be read. Convert the file " +
           "to IBM float (1), 32-bit integer (2), 16-bit integer (3), IEEE float (5) or 8-bit integer (8).");
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
  firstTrace_ = static_cast<long>(fileHeaderBytes + std::int64_t{facts_.extraTexts} * SEGY_TEXT_HEADER_SIZE);
}

std::int64_t SegyFile::traceBytes(int samples) const {
  return SEGY_TRACE_HEADER_SIZE + std::int64_t{samples} * sampleBytes(facts_.format);
}

void SegyFile::chooseSampling() {
  const std::int64_t body = facts_.bytes - firstTrace_;
  if (body < SEGY_TRACE_HEADER_SIZE) refuse("holds no traces.");
  const TraceHeader first = header(0);

  const auto fits = [&](int samples) { return samples > 0 && body % traceBytes(samples) == 0; };
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
  const std::int64_t size = traceBytes(facts_.samples);
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

void SegyFile::expect(int first, int count) { expectedEnd_ = std::min(first + count, facts_.traces); }

/// The bytes of a trace. Read here and not through the library, whose seek and read for every header and every trace
/// took a fifth of a run: traces that are expected come together, as many as a block holds.
unsigned char* SegyFile::fetched(int trace) {
  const std::int64_t bytes = traceBytes(facts_.samples);
  if (trace < fetchedFirst_ || trace >= fetchedFirst_ + fetchedCount_) {
    const int most = static_cast<int>(std::max<std::int64_t>(blockBytes / bytes, 1));
    const int count = std::clamp(expectedEnd_ - trace, 1, most);
    const auto size = static_cast<std::size_t>(count * bytes);
    fetchedCount_ = 0;
    fetched_.resize(size);
    const bool there = fseeko(stream_.get(), firstTrace_ + trace * bytes, SEEK_SET) == 0;
    const std::size_t read = there ? std::fread(fetched_.data(), 1, size, stream_.get()) : 0;
    fetchedCount_ = static_cast<int>(read / static_cast<std::size_t>(bytes));
    if (fetchedCount_ == 0) {
      refuse("trace " + std::to_string(trace + 1) + " cannot be read. Has the file changed since it was opened?");
    }
    fetchedFirst_ = trace;
  }
  return fetched_.data() + (trace - fetchedFirst_) * bytes;
}

TraceHeader SegyFile::header(int trace) {
  TraceHeader raw;
  std::memcpy(raw.data(), fetched(trace), raw.size());
  return facts_.littleEndian ? bigEndian(raw, input_.layout) : raw;
}

void SegyFile::samples(int trace, float* out) {
  const std::size_t count = static_cast<std::size_t>(facts_.samples);
  std::memcpy(buffer_.data(), fetched(trace) + SEGY_TRACE_HEADER_SIZE, buffer_.size());
  if (facts_.littleEndian) reverseWords(buffer_, sampleBytes(facts_.format));
  if (facts_.format == SEGY_IBM_FLOAT_4_BYTE) {
    // The library's own decoder takes every fraction for a normalised one.
    for (std::size_t i = 0; i < count; ++i) out[i] = fromIbm(loadBig32(buffer_.data() + 4 * i));
    return;
  }
  segy_to_native(facts_.format, facts_.samples, buffer_.data());
  switch (facts_.format) {
    case SEGY_SIGNED_INTEGER_4_BYTE:
      return convert<std::int32_t>(buffer_.data(), count, out);
    case SEGY_SIGNED_SHORT_2_BYTE:
      return convert<std::int16_t>(buffer_.data(), count, out);
    case SEGY_SIGNED_CHAR_1_BYTE:
      return convert<std::int8_t>(buffer_.data(), count, out);
    default:
      return convert<float>(buffer_.data(), count, out);
  }
}

void SegyFile::refuse(const std::string& reason) const { throw RunError(input_.file.string() + ": " + reason); }

void SegyFile::warn(const std::string& what) const { messages_.warn(input_.file.string() + ": " + what); }

}  // namespace host::local
