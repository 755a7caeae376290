#include "host/local/segy_input.h"

#include <bit>
#include <cmath>
#include <limits>

#include "host/local/big_endian.h"
#include "host/local/segy_writer.h"

namespace host::local {

namespace {

constexpr HeaderFormat int16 = HeaderFormat::int16;
constexpr HeaderFormat int32 = HeaderFormat::int32;

template <class Integer>
Integer nearest(double value) {
  if (std::isnan(value)) return 0;
  constexpr double least = std::numeric_limits<Integer>::min();
  constexpr double greatest = std::numeric_limits<Integer>::max();
  if (value <= least) return std::numeric_limits<Integer>::min();
  if (value >= greatest) return std::numeric_limits<Integer>::max();
  return static_cast<Integer>(std::lround(value));
}

}  // namespace

HeaderLayout::HeaderLayout()
    : fields{{"CDP", {21, int32}},          {"TRC_TYPE", {29, int16}},  {"TR_FOLD", {33, int16}},
             {"OFFSET", {37, int32}},       {"SOU_X", {73, int32}},     {"SOU_Y", {77, int32}},
             {"COORD_SCALAR", {71, int16}}, {"REC_X", {81, int32}},     {"REC_Y", {85, int32}},
             {"SAMPLES", {115, int16}},     {"INTERVAL", {117, int16}}, {"CDP_X", {181, int32}},
             {"CDP_Y", {185, int32}},       {"ILINE_NO", {189, int32}}, {"XLINE_NO", {193, int32}}} {}

const std::vector<std::string>& HeaderLayout::knownNames() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> all;
    for (const auto& [name, field] : HeaderLayout().fields) all.push_back(name);
    all.insert(all.end(), {"SG_CDP", "NA_STAT", "VEL_AZIM"});
    return all;
  }();
  return names;
}

int bytesOf(HeaderFormat format) { return format == HeaderFormat::int16 ? 2 : 4; }

const char* nameOf(HeaderFormat format) {
  switch (format) {
    case HeaderFormat::int16:
      return "int16";
    case HeaderFormat::int32:
      return "int32";
    case HeaderFormat::float32:
      break;
  }
  return "float32";
}

std::uint32_t fieldBits(const TraceHeader& header, HeaderField field) {
  const unsigned char* at = header.data() + field.byte - 1;
  if (field.format != HeaderFormat::int16) return loadBig32(at);
  return static_cast<std::uint32_t>(static_cast<std::int16_t>(loadBig16(at)));
}

double fieldValue(std::uint32_t bits, HeaderFormat format) {
  if (format == HeaderFormat::float32) return std::bit_cast<float>(bits);
  return static_cast<std::int32_t>(bits);
}

double readField(const TraceHeader& header, HeaderField field) {
  return fieldValue(fieldBits(header, field), field.format);
}

void writeField(TraceHeader& header, HeaderField field, double value) {
  switch (field.format) {
    case HeaderFormat::int16:
      return putInt16(header, field.byte, nearest<std::int16_t>(value));
    case HeaderFormat::int32:
      return putInt32(header, field.byte, nearest<std::int32_t>(value));
    case HeaderFormat::float32:
      return putFloat32(header, field.byte, static_cast<float>(value));
  }
}

std::int32_t wholeNumber(double value) { return nearest<std::int32_t>(value); }

double scaled(double coordinate, int scalar) {
  if (scalar == 0) return coordinate;
  return scalar > 0 ? coordinate * scalar : coordinate / -static_cast<double>(scalar);
}

}  // namespace host::local
