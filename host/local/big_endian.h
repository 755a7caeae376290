#pragma once

#include <cstdint>

namespace host::local {

/// Big-endian words in a row of bytes, whatever the order of the machine.
inline std::uint16_t loadBig16(const unsigned char* at) { return static_cast<std::uint16_t>(at[0] << 8 | at[1]); }

inline std::uint32_t loadBig32(const unsigned char* at) {
  return std::uint32_t{at[0]} << 24 | std::uint32_t{at[1]} << 16 | std::uint32_t{at[2]} << 8 | std::uint32_t{at[3]};
}

inline void storeBig16(unsigned char* at, std::uint16_t value) {
  at[0] = static_cast<unsigned char>(value >> 8);
  at[1] = static_cast<unsigned char>(value);
}

inline void storeBig32(unsigned char* at, std::uint32_t value) {
  storeBig16(at, static_cast<std::uint16_t>(value >> 16));
  storeBig16(at + 2, static_cast<std::uint16_t>(value));
}

}  // namespace host::local
