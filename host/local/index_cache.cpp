#include "host/local/index_cache.h"

#include <chrono>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <string_view>
#include <system_error>
#include <type_traits>

#include "host/local/part_file.h"

namespace host::local {

namespace {

namespace fs = std::filesystem;

/// In front of the identity of the file, the runs and the CDPs. The file is for this machine, so values stand as they
/// do in memory.
struct Head {
  std::uint64_t identityBytes, runs, cdps;
  TraceIndex::Findings findings;
  std::uint64_t checksum;  ///< of all that is before and behind
};
static_assert(sizeof(Head) == 10 * 8 && sizeof(TraceRun) == 8 && sizeof(CdpRecord) == 16);

template <class T>
std::string_view asBytes(const T* values, std::size_t count) {
  static_assert(std::is_trivially_copyable_v<T>);
  return {reinterpret_cast<const char*>(values), count * sizeof(T)};
}

/// Should another library hash in another way, the cache is passed over.
std::uint64_t checksumOf(Head head, const std::string& identity, const TraceIndex& index) {
  head.checksum = 0;
  const std::uint64_t sums[] = {std::hash<std::string_view>{}(asBytes(&head, 1)),
                                std::hash<std::string_view>{}(identity),
                                std::hash<std::string_view>{}(asBytes(index.runs.data(), index.runs.size())),
                                std::hash<std::string_view>{}(asBytes(index.cdps.data(), index.cdps.size()))};
  return std::hash<std::string_view>{}(asBytes(sums, std::size(sums)));
}

/// All that an index depends on.
std::string identityOf(const SegyFile& file, const SegyFile::State& state, HeaderField key) {
  const SegyFacts& facts = file.facts();
  std::error_code ignored;
  std::ostringstream text;
  text << "index of traces, version 1\n"
       << fs::absolute(file.input().file, ignored).string() << '\n'
       << state.bytes << " bytes, changed " << state.modified << '\n'
       << facts.traces << " traces of " << facts.samples << " samples at " << facts.interval << ", format "
       << facts.format << (facts.littleEndian ? ", little endian\n" : ", big endian\n") << facts.extraTexts
       << " extended text headers\n"
       << "ensembles by byte " << key.byte << ' ' << nameOf(key.format) << '\n';
  for (const auto& [name, field] : file.input().layout.fields) {
    text << name << ' ' << field.byte << ' ' << nameOf(field.format) << '\n';
  }
  return text.str();
}

/// Whether every run lies in the file, and together they have as many traces as it.
bool fits(const TraceIndex& index, int traces) {
  std::int64_t sum = 0;
  for (const TraceRun& run : index.runs) {
    if (run.traces < 1 || run.traces > traces - static_cast<std::int64_t>(run.first)) return false;
    sum += run.traces;
  }
  return sum == traces && index.runs.front().opens != 0;
}

std::optional<TraceIndex> load(const fs::path& cache, const std::string& identity, int traces) {
  std::error_code error;
  const std::uint64_t bytes = fs::file_size(cache, error);
  if (error) return std::nullopt;
  std::ifstream in(cache, std::ios::binary);
  const auto read = [&in](auto* values, std::size_t count) {
    return static_cast<bool>(
        in.read(reinterpret_cast<char*>(values), static_cast<std::streamsize>(count * sizeof *values)));
  };
  Head head;
  if (!read(&head, 1)) return std::nullopt;
  const auto most = static_cast<std::uint64_t>(traces);
  if (head.identityBytes != identity.size() || head.runs > most || head.cdps > most ||
      bytes != sizeof head + identity.size() + head.runs * sizeof(TraceRun) + head.cdps * sizeof(CdpRecord)) {
    return std::nullopt;
  }
  std::string found(identity.size(), '\0');
  if (!read(found.data(), found.size()) || found != identity) return std::nullopt;
  TraceIndex index{std::vector<TraceRun>(head.runs), std::vector<CdpRecord>(head.cdps), head.findings};
  if (!read(index.runs.data(), index.runs.size()) || !read(index.cdps.data(), index.cdps.size()) ||
      checksumOf(head, identity, index) != head.checksum || !fits(index, traces)) {
    return std::nullopt;
  }
  return index;
}

void save(const fs::path& cache, const std::string& identity, const TraceIndex& index) {
  Head head{identity.size(), index.runs.size(), index.cdps.size(), index.findings, 0};
  head.checksum = checksumOf(head, identity, index);
  try {
    PartFile out(cache, "the index");
    for (const std::string_view bytes :
         {asBytes(&head, 1), std::string_view(identity), asBytes(index.runs.data(), index.runs.size()),
          asBytes(index.cdps.data(), index.cdps.size())}) {
      out.write(bytes.data(), bytes.size());
    }
    out.commit();
  } catch (const RunError&) {  // then the index is made again next time
  }
}

/// Whether the file changed so recently that another change might bear the same time. The clocks of file systems tick
/// every few milliseconds, of some every second or two.
bool isFresh(const SegyFile::State& state) {
  constexpr std::int64_t second = 1'000'000'000;
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const std::int64_t age = std::chrono::duration_cast<std::chrono::nanoseconds>(now).count() - state.modified;
  return age < (state.modified % second == 0 ? 2 * second : second / 50);
}

}  // namespace

TraceIndex cachedIndex(const fs::path& cache, const SegyFile& file, HeaderField key, CacheAccess access) {
  const SegyFile::State state = file.state();
  const bool fresh = isFresh(state);
  const std::string identity = identityOf(file, state, key);
  if (std::optional<TraceIndex> known = load(cache, identity, file.traces())) return *std::move(known);
  TraceIndex index = indexTraces(file, key);
  if (access == CacheAccess::write && !fresh && file.state() == state) save(cache, identity, index);
  return index;
}

}  // namespace host::local
