#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace app {

/// Writes a file, which takes its name when it is whole: until then an earlier one stays as it was. What is there and
/// is no ordinary file, a device for instance, is written to directly.
/// @param what    the file for the user, such as "the report"
/// @param spared  files that it must not replace
/// @throws host::local::RunError when it would, or when the file cannot be written
void writeWhole(const std::filesystem::path& file, const std::string& what, const std::string& content,
                const std::vector<std::filesystem::path>& spared = {});

}  // namespace app
