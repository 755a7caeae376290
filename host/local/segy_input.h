#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace host::local {

enum class HeaderFormat { int16, int32, float32 };

/// Where a trace header stands in the 240 bytes of a SEG-Y trace header.
struct HeaderField {
  int byte = 0;  ///< from 1
  HeaderFormat format = HeaderFormat::int32;
  bool operator==(const HeaderField&) const = default;
};

/// Trace headers by name. Starts with the defaults:
/// TRC_TYPE 29 int16, TR_FOLD 33 int16, OFFSET 37, COORD_SCALAR 71 int16, SOU_X 73, SOU_Y 77, REC_X 81, REC_Y 85,
/// SAMPLES 115 int16, INTERVAL 117 int16, CDP_X 181, CDP_Y 185, CDP 21, ILINE_NO 189, XLINE_NO 193. SG_CDP, NA_STAT
/// and VEL_AZIM exist only when the job maps them.
struct HeaderLayout {
  std::map<std::string, HeaderField> fields;
  HeaderLayout();
  /// Every name that a job may map.
  static const std::vector<std::string>& knownNames();
};

struct SegyInput {
  std::filesystem::path file;
  HeaderLayout layout;
  std::string primaryKey = "CDP";  ///< "CDP" or "SG_CDP"
  bool allowTruncated = false;
  int format = 0;  ///< sample format code in place of the one in the file; 0: as in the file
};

/// The 240 bytes in front of a trace, big endian.
using TraceHeader = std::array<unsigned char, 240>;

int bytesOf(HeaderFormat format);
const char* nameOf(HeaderFormat format);

/// The 32 bits of a field: an integer, sign extended, or a float.
std::uint32_t fieldBits(const TraceHeader& header, HeaderField field);
double fieldValue(std::uint32_t bits, HeaderFormat format);
/// Value of a field as the file holds it.
double readField(const TraceHeader& header, HeaderField field);
/// Stores a value: rounded to the nearest integer, and held within its range, where the field is an integer.
void writeField(TraceHeader& header, HeaderField field, double value);

/// Nearest integer within the range of an int; 0 for a value that is not a number.
std::int32_t wholeNumber(double value);

/// Coordinate scalar as a factor: a positive one multiplies, a negative one divides, 0 is 1.
double scaled(double coordinate, int scalar);

/// Trace codes 1 (live) and 0 (unset) both mean seismic data.
inline bool isLive(int traceCode) { return traceCode == 0 || traceCode == 1; }

}  // namespace host::local
