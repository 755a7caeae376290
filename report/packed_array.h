#pragma once

#include <limits>
#include <nlohmann/json.hpp>
#include <vector>

namespace report {

/// Stands for no value in an array.
inline constexpr float noValue = std::numeric_limits<float>::quiet_NaN();

enum class Depth { bits8 = 8, bits16 = 16 };

/// An array as the page reads it: {shape, min, max, bits, data}. Values from `least` to `largest` are rounded to
/// integers from 1, others are held within that range, and noValue is 0; the integers are little endian, gzipped and
/// written in base64.
/// @param shape  values along each dimension, the last one fastest
nlohmann::json packed(const std::vector<float>& values, const std::vector<int>& shape, float least, float largest,
                      Depth depth);

/// The same, over the range of the values.
nlohmann::json packed(const std::vector<float>& values, const std::vector<int>& shape, Depth depth);

}  // namespace report
