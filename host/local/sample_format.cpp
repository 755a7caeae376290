#include "host/local/sample_format.h"

#include <segyio/segy.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "host/wide.h"

namespace host::local {

namespace {

constexpr bool littleEndianMachine = std::endian::native == std::endian::little;
constexpr std::uint32_t signBit = 0x80000000;
constexpr std::int32_t infinity = 0x7f800000;  // the bits of finite floats lie below, but for the sign

inline std::uint8_t reversed(std::uint8_t word) { return word; }
inline std::uint16_t reversed(std::uint16_t word) { return __builtin_bswap16(word); }
inline std::uint32_t reversed(std::uint32_t word) { return __builtin_bswap32(word); }

/// Sign, seven bits of exponent e to the base 16, fraction of 24 bits: the value is the fraction times 2^(4e - 280),
/// taken as two times 2^(2e - 140). The first product is exact, or so large or small that the second one ends where
/// single precision does, so the value is rounded once. The bits of 2^(2e - 140) are those of the exponent in their
/// place less a constant; where they fall below 0 the value lies far below the least float, and the factor is 0.
inline float fromIbm(std::uint32_t word) {
  const std::int32_t exponent = static_cast<std::int32_t>(word & 0x7f000000);
  const float half = std::bit_cast<float>(std::max(exponent - 0x06800000, 0));
  const float magnitude = static_cast<float>(static_cast<std::int32_t>(word & 0xffffff)) * half * half;
  return std::bit_cast<float>(std::bit_cast<std::uint32_t>(magnitude) | (word & signBit));
}

template <bool reverse, class Word, class Convert>
[[gnu::always_inline]] inline bool decodeWords(const unsigned char* in, int count, float* out, Convert convert) {
  std::int32_t largest = 0;
  KORVANE_INDEPENDENT
  for (int i = 0; i < count; ++i) {
    Word word;
    std::memcpy(&word, in + static_cast<std::size_t>(i) * sizeof word, sizeof word);
    const std::uint32_t bits = std::bit_cast<std::uint32_t>(convert(reverse ? reversed(word) : word));
    std::memcpy(out + i, &bits, sizeof bits);
    largest = std::max(largest, static_cast<std::int32_t>(bits & ~signBit));
  }
  return largest < infinity;
}

template <bool reverse>
[[gnu::always_inline]] inline bool decode(int format, const unsigned char* in, int count, float* out) {
  switch (format) {
    case SEGY_IBM_FLOAT_4_BYTE:
      return decodeWords<reverse, std::uint32_t>(in, count, out, [](std::uint32_t word) { return fromIbm(word); });
    case SEGY_SIGNED_INTEGER_4_BYTE:
      return decodeWords<reverse, std::uint32_t>(
          in, count, out, [](std::uint32_t word) { return static_cast<float>(static_cast<std::int32_t>(word)); });
    case SEGY_SIGNED_SHORT_2_BYTE:
      return decodeWords<reverse, std::uint16_t>(
          in, count, out, [](std::uint16_t word) { return static_cast<float>(static_cast<std::int16_t>(word)); });
    case SEGY_SIGNED_CHAR_1_BYTE:
      return decodeWords<reverse, std::uint8_t>(
          in, count, out, [](std::uint8_t word) { return static_cast<float>(static_cast<std::int8_t>(word)); });
    default:
      return decodeWords<reverse, std::uint32_t>(in, count, out,
                                                 [](std::uint32_t word) { return std::bit_cast<float>(word); });
  }
}

KORVANE_WIDE bool decodeWide(int format, bool reverse, const unsigned char* in, int count, float* out) {
  return reverse ? decode<true>(format, in, count, out) : decode<false>(format, in, count, out);
}

KORVANE_WIDE void encodeWide(const float* in, int count, unsigned char* out) {
  KORVANE_INDEPENDENT
  for (int i = 0; i < count; ++i) {
    std::uint32_t word;
    std::memcpy(&word, in + i, sizeof word);
    if (littleEndianMachine) word = reversed(word);
    std::memcpy(out + static_cast<std::size_t>(i) * sizeof word, &word, sizeof word);
  }
}

struct Format {
  int code, bytes;
  const char *name, *key;
};

constexpr Format formats[] = {{SEGY_IBM_FLOAT_4_BYTE, 4, "IBM float", "ibm"},
                              {SEGY_SIGNED_INTEGER_4_BYTE, 4, "32-bit integer", "int32"},
                              {SEGY_SIGNED_SHORT_2_BYTE, 2, "16-bit integer", "int16"},
                              {SEGY_IEEE_FLOAT_4_BYTE, 4, "IEEE float", "ieee"},
                              {SEGY_SIGNED_CHAR_1_BYTE, 1, "8-bit integer", "int8"}};
constexpr Format unknown{0, 0, "unknown", ""};

const Format& formatOf(int code) {
  const auto at = std::find_if(std::begin(formats), std::end(formats), [&](const Format& f) { return f.code == code; });
  return at != std::end(formats) ? *at : unknown;
}

}  // namespace

const char* sampleFormatName(int format) { return formatOf(format).name; }

std::string sampleFormatKey(int format) { return formatOf(format).key; }

int sampleFormatCode(const std::string& key) {
  const auto at = std::find_if(std::begin(formats), std::end(formats), [&](const Format& f) { return key == f.key; });
  return at != std::end(formats) ? at->code : 0;
}

int sampleBytes(int format) { return formatOf(format).bytes; }

bool decodeSamples(int format, bool littleEndian, const unsigned char* in, int count, float* out) {
  return decodeWide(format, littleEndian != littleEndianMachine, in, count, out);
}

void encodeSamples(const float* in, int count, unsigned char* out) { encodeWide(in, count, out); }

}  // namespace host::local
