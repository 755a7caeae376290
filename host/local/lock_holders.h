#pragma once

#include <filesystem>
#include <string>

namespace host::local {

/// The programs on this machine that hold a lock on the file, as " (process 1234, name)"; empty when none is found.
std::string lockHolders(const std::filesystem::path& file);

}  // namespace host::local
