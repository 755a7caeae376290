#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>

namespace bench {

/// Of the bits of an array; the sum of hashes does not depend on the order of the arrays.
template <class T>
std::uint64_t hashOf(const T* values, std::int64_t count) {
  std::uint64_t result = 0xcbf29ce484222325u;
  for (std::int64_t i = 0; i < count; ++i) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, values + i, sizeof(T));
    result = (result ^ bits) * 0x100000001b3u;
  }
  return result;
}

/// The hash as a counter: what a double and its printed form keep whole.
inline void report(benchmark::State& state, std::uint64_t hash) {
  state.counters["hash"] = static_cast<double>(hash % 1000000);
}

}  // namespace bench
