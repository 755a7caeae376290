#pragma once

#include <filesystem>
#include <functional>
#include <iosfwd>
#include <vector>

namespace app {

/// Writes a file beside its name, which it takes when it is whole: until then an earlier file stays as it was. What is
/// there and is no ordinary file, a device for instance, is written to directly.
/// @param write   puts the content out
/// @param spared  files that it must not replace
/// @throws host::local::RunError when it would, or when the file cannot be written
void writeWhole(const std::filesystem::path& file, const std::function<void(std::ostream&)>& write,
                const std::vector<std::filesystem::path>& spared = {});

}  // namespace app
