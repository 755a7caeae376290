#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace support {

/// An array between two fences, filled with a mark of its own: what a routine writes beyond its outputs shows.
template <class T>
class Fenced {
 public:
  static constexpr T mark = T(-7.25e11);

  explicit Fenced(std::size_t size) : size_(size), values_(size + 2 * width, mark) {}

  T* data() { return values_.data() + width; }
  T& operator[](std::size_t i) { return data()[i]; }
  const T& operator[](std::size_t i) const { return values_[width + i]; }
  std::size_t size() const { return size_; }
  std::vector<T> values() const { return {values_.begin() + width, values_.end() - width}; }

  bool fences_stand() const {
    return std::count(values_.begin(), values_.begin() + width, mark) == width &&
           std::count(values_.end() - width, values_.end(), mark) == width;
  }
  bool untouched() const { return std::count(values_.begin(), values_.end(), mark) == std::ptrdiff_t(values_.size()); }

 private:
  static constexpr std::ptrdiff_t width = 16;
  std::size_t size_;
  std::vector<T> values_;
};

/// Values as they stand in memory: zeros of either sign differ, and a value that is not a number equals itself.
inline std::vector<std::uint32_t> bits(const std::vector<float>& values) {
  std::vector<std::uint32_t> words;
  for (const float value : values) words.push_back(std::bit_cast<std::uint32_t>(value));
  return words;
}

}  // namespace support
