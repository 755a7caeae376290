#pragma once

#include <filesystem>

#include "host/local/segy_file.h"
#include "host/local/trace_index.h"

namespace host::local {

enum class CacheAccess {
  write,  ///< used when it is there, made when it is not
  read    ///< used when it is there
};

/// The index of a file as indexTraces makes it, from a cache when that was made of the same file, by name, size and
/// time of change, with the same header layout and key. A cache that is damaged or of another file is passed over in
/// silence, and a new one takes its place; one that cannot be written is none.
TraceIndex cachedIndex(const std::filesystem::path& cache, const SegyFile& file, HeaderField key,
                       CacheAccess access = CacheAccess::write);

}  // namespace host::local
