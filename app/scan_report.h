#pragma once

#include <iosfwd>

#include "host/local/segy_scan.h"

namespace app {

/// Prints what a scan found.
void printScan(const host::local::SegyScan& scan, std::ostream& out);

}  // namespace app
