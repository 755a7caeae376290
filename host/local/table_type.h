#pragma once

#include <string>

namespace host::local {

/// A type of table that is kept, and what its axes are called.
struct TableType {
  const char* name;
  const char* xName;
  const char* yName;
  const char* zName;
  int zCount;  ///< values of a point; 0: as many as the table says
};

/// The type of that name.
/// @throws RunError that lists the types when there is none
const TableType& tableType(const std::string& name);

}  // namespace host::local
