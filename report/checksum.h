#pragma once

#include <filesystem>
#include <string>

namespace report {

/// SHA-256 of a file in hexadecimal digits, as sha256sum prints it; empty when it cannot be read.
std::string sha256(const std::filesystem::path& file);

}  // namespace report
