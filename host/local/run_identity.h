#pragma once

#include <string>
#include <utility>
#include <vector>

#include "host/local/database.h"
#include "host/local/job_file.h"
#include "host/local/segy_data.h"

namespace host::local {

/// What the results of a run depend on, a name and a value each: two runs of one identity give the same bits.
using RunIdentity = std::vector<std::pair<std::string, std::string>>;

/// @param version  of the program
RunIdentity runIdentity(const JobFile& file, const SegyData& data, const Database& database,
                        const std::string& version);

}  // namespace host::local
