#pragma once

#include <string>

#include "host/local/segy_scan.h"

namespace host::local {

/// A job file (TOML) to start from: values from the scan with what they were found from, the rest usual values with
/// their meaning. What could not be found is a line with the value "?", which a run refuses until it is filled in.
std::string suggestJob(const SegyScan& scan);

}  // namespace host::local
