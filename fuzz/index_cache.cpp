#include <chrono>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>

#include "fuzz/segy_bytes.h"

// The cached index of a file's traces, forged: with the identity of the file and, mostly, the right checksum.

namespace {

using namespace host::local;
namespace fs = std::filesystem;

constexpr std::size_t headBytes = 80;

std::string sumOf(std::string_view bytes) {
  const std::size_t sum = std::hash<std::string_view>{}(bytes);
  return {reinterpret_cast<const char*>(&sum), sizeof sum};
}

/// A file of two ensembles of six traces each, and the identity that its cache bears.
class File {
  korvane_fuzz::PrivateFolder folder_;

 public:
  File() {
    input.file = folder_.path() / "gathers.sgy";
    std::string bytes(3600 + traces * traceBytes, '\0');
    const auto put = [&](std::size_t at, int value) { bytes[at - 1] = static_cast<char>(value); };
    put(3217 + 1, 100);
    put(3221 + 1, 1);
    put(3225 + 1, 5);
    for (std::size_t i = 0; i < traces; ++i) put(3600 + i * traceBytes + 24, static_cast<int>(1 + i / 6));
    std::ofstream(input.file, std::ios::binary) << bytes;
    fs::last_write_time(input.file, fs::file_time_type::clock::now() - std::chrono::hours(1));
    korvane_fuzz::Silence silence;
    SegyData(input, silence, cache);
    std::ifstream made(cache, std::ios::binary);
    const std::string all{std::istreambuf_iterator<char>(made), {}};
    std::uint64_t length = 0;
    std::memcpy(&length, all.data(), sizeof length);
    identity = all.substr(headBytes, length);
    korvane_fuzz::demand(identity.size() == length && length > 0, "a cache is made");
  }

  static constexpr std::size_t traces = 12, traceBytes = 244;
  const fs::path cache = folder_.path() / "cache";
  SegyInput input;
  std::string identity;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const File file;
  FuzzedDataProvider choice(data, size);
  const std::uint64_t counts[] = {file.identity.size(), choice.ConsumeIntegral<std::uint64_t>(),
                                  choice.ConsumeIntegral<std::uint64_t>()};
  std::string head(reinterpret_cast<const char*>(counts), sizeof counts);
  head += choice.ConsumeBytesAsString(48);
  head.resize(headBytes, '\0');
  const std::string body = choice.ConsumeRemainingBytesAsString();
  const std::string_view runs =
      std::string_view(body).substr(0, std::min(body.size(), counts[1] * sizeof(std::uint64_t)));
  const std::string_view cdps = std::string_view(body).substr(runs.size());
  head.replace(headBytes - 8, 8, sumOf(sumOf(head) + sumOf(file.identity) + sumOf(runs) + sumOf(cdps)));
  std::ofstream(file.cache, std::ios::binary) << head << file.identity << body;

  korvane_fuzz::Silence silence;
  korvane_fuzz::attempt([&] {
    SegyData segy(file.input, silence, file.cache, CacheAccess::read);
    korvane_fuzz::readAll(segy);
  });
  return 0;
}
