#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

namespace host::local {

/// A file that takes the name of its target only when it is whole. Until commit() it is TARGET.part, which goes with
/// the object; one that a killed program left is taken over, one that another program is writing is refused. Errors are
/// RunError with the target, the reason and that nothing was changed.
class PartFile {
 public:
  /// @param what  the file for the user, such as "the output file"
  PartFile(const std::filesystem::path& target, std::string what);
  ~PartFile();
  PartFile(const PartFile&) = delete;
  PartFile& operator=(const PartFile&) = delete;

  const std::filesystem::path& part() const { return part_; }
  /// Writes at the end, or at a byte from 0; never both in one file.
  void write(const void* data, std::size_t bytes);
  void writeAt(const void* data, std::size_t bytes, std::int64_t byte);
  /// Brings all that is written to the disk, so that little can go wrong with commit().
  void secure();
  /// Makes the file the target, in place of an earlier one.
  void commit();
  /// Ends with an errno value.
  [[noreturn]] void fail(int reason) const;

 private:
  void open();
  void refuseFolder() const;

  std::filesystem::path target_, part_;
  std::string what_;
  int descriptor_ = -1;
};

}  // namespace host::local
