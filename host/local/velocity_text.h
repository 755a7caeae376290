#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/local/table.h"
#include "host/local/velocity_units.h"

namespace host::local {

enum class VelocityForm { csv, columns, parameters, handvel, lines };

/// What is told of a file of velocities; what is left out is found in the file.
struct VelocityTextOptions {
  std::optional<VelocityForm> form = {};
  std::vector<VelocityColumn> columns = {};     ///< of the forms csv and columns = {}; empty: the file names them
  std::optional<TimeUnit> times = {};           ///< of the file
  std::optional<VelocityUnit> velocities = {};  ///< of the file
  std::optional<VelocityUnit> to = {};          ///< of the table; as in the file when left out
};

/// A table of velocities, and how its text was understood.
struct VelocityText {
  std::unique_ptr<Table> table = {};
  VelocityForm form = VelocityForm::csv;
  std::optional<VelocityUnit> unit = {};  ///< of the table; not known of our own CSV
  std::string units = {};                 ///< the units in words, with the reasons; empty for our own CSV
};

/// Reads a VEL table from a text of any of the forms. Times become milliseconds, velocities the unit asked for; numbers
/// that need no conversion are rounded once, to single precision. Our own CSV (headings cdp,time,velocity with x and y
/// or without) holds ms, and its velocities are converted only between units that are both told.
/// @throws RunError where the form or a unit is not clear, with the option that tells it; for a line that cannot be
/// used, and for a time that does not come after the one before it of its CDP, with file, line number and content
VelocityText readVelocities(const std::filesystem::path& file, const std::string& name,
                            const VelocityTextOptions& options);

}  // namespace host::local
