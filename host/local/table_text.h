#pragma once

#include <filesystem>
#include <iosfwd>
#include <memory>
#include <string>

#include "host/local/table.h"
#include "host/local/text_lines.h"

namespace host::local {

/// Reads a table from CSV. Headings (any column order): VEL cdp,x,y,time,velocity (x and y optional, together), VAZ
/// cdp,time,velocity_0,..., AHZ horizon,cdp,time (stored as Z values 0, 0, time). Blank lines and lines that begin with
/// '#' are passed over. A line that cannot be used (missing or extra columns, not a number, not finite, a velocity not
/// above 0, a repeated point ...) is a RunError with file, line number and content.
std::unique_ptr<Table> readTableCsv(const std::filesystem::path& file, const std::string& type,
                                    const std::string& name);
/// The same from the lines of a file, from the first.
std::unique_ptr<Table> readTableCsv(TextLines& lines, const std::string& type, const std::string& name);

/// Writes what readTableCsv reads back to the same bits (%.9g), ascending in X and Y; x and y when every function has a
/// position.
void writeTableCsv(const Table& table, const std::string& type, std::ostream& out);

}  // namespace host::local
