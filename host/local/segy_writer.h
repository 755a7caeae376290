#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace host::local {

/// What stands in front of the traces of a SEG-Y file that we write.
struct SegyFileHead {
  std::array<char, 3200> text{};   ///< 40 cards of 80 characters as they go to the file (EBCDIC or ASCII)
  std::array<char, 400> binary{};  ///< big endian; interval, samples, format and revision are set by the writer
  int samples = 0;                 ///< per trace
  float interval = 0.0f;           ///< ms
};

/// Writes SEG-Y revision 1, IEEE float, big endian, beside the target under another name; commit() makes it the target.
/// A writer that goes without commit() removes what it wrote and leaves an earlier target as it was.
/// Errors are RunError with file name and reason.
class SegyWriter {
 public:
  SegyWriter(std::filesystem::path target, const SegyFileHead& head);
  ~SegyWriter();
  SegyWriter(const SegyWriter&) = delete;
  SegyWriter& operator=(const SegyWriter&) = delete;

  /// One trace: 240 header bytes (big endian, written as they are but for the trace sequence numbers in bytes 1-8,
  /// which count from 1) and the samples.
  void write(const std::array<unsigned char, 240>& header, const float* samples);
  /// Brings all that is written to the disk, so that little can go wrong with commit().
  void secure();
  void commit();

 private:
  class File;
  std::unique_ptr<File> file_;
};

/// 3200 bytes of EBCDIC from up to 40 lines of ASCII text; "C nn" card numbers are put in front.
std::array<char, 3200> ebcdicText(const std::vector<std::string>& lines);

/// Stores a big-endian integer or float in a trace header; `byte` counts from 1.
void putInt16(std::array<unsigned char, 240>& header, int byte, std::int16_t value);
void putInt32(std::array<unsigned char, 240>& header, int byte, std::int32_t value);
void putFloat32(std::array<unsigned char, 240>& header, int byte, float value);

}  // namespace host::local
