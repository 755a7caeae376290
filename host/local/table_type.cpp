#include "host/local/table_type.h"

#include <algorithm>
#include <array>

#include "host/local/job.h"

namespace host::local {

const TableType& tableType(const std::string& name) {
  static constexpr std::array types{TableType{"VEL", "CDP", "TIME", "VEL_RMS", 1},
                                    TableType{"VAZ", "CDP", "TIME", "VELAZRMS", 0},
                                    TableType{"AHZ", "HORIZON", "CDP", "TIME", 3}};
  const auto found = std::find_if(types.begin(), types.end(), [&](const TableType& type) { return name == type.name; });
  if (found == types.end())
    throw RunError("there is no table type \"" + name +
                   "\"; use VEL (velocities), VAZ (velocities by azimuth sector) or AHZ (horizon times)");
  return *found;
}

}  // namespace host::local
