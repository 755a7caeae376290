#pragma once

#include <iosfwd>
#include <optional>
#include <string>

#include "host/local/table.h"

namespace app {

/// Prints what a table spans and draws it: velocity functions over time, of VEL at the CDP asked for or at the first,
/// middle and last one, of VAZ per sector at the CDP asked for or the middle one; of AHZ the horizons along the line.
/// @throws host::local::RunError when the table holds no points, or the CDP is outside or asked for with AHZ
void showTable(const host::Table& table, const std::string& type, std::optional<float> cdp, std::ostream& out);

}  // namespace app
