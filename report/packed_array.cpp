#include "report/packed_array.h"

#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace report {

namespace {

constexpr int gzipWindow = 15 + 16;  // largest window, gzip head

std::string gzipped(const std::vector<unsigned char>& bytes) {
  z_stream stream{};
  if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, gzipWindow, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::bad_alloc();
  }
  std::string result(deflateBound(&stream, bytes.size()), '\0');
  stream.next_in = const_cast<unsigned char*>(bytes.data());
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = reinterpret_cast<unsigned char*>(result.data());
  stream.avail_out = static_cast<uInt>(result.size());
  const int status = deflate(&stream, Z_FINISH);
  result.resize(stream.total_out);
  deflateEnd(&stream);
  if (status != Z_STREAM_END) throw std::logic_error("an array cannot be compressed");
  return result;
}

std::string base64(const std::string& bytes) {
  constexpr const char* digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t count = std::min<std::size_t>(bytes.size() - i, 3);
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      group = group << 8 | (k < count ? static_cast<unsigned char>(bytes[i + k]) : 0u);
    }
    for (std::size_t k = 0; k < 4; ++k) text += k <= count ? digits[group >> (18 - 6 * k) & 63] : '=';
  }
  return text;
}

}  // namespace

nlohmann::json packed(const std::vector<float>& values, const std::vector<int>& shape, float least, float largest,
                      Depth depth) {
  const int bits = static_cast<int>(depth);
  const double steps = std::ldexp(1.0, bits) - 2.0;
  const double scale = largest > least ? steps / (static_cast<double>(largest) - static_cast<double>(least)) : 0.0;
  std::vector<unsigned char> bytes;
  bytes.reserve(values.size() * static_cast<std::size_t>(bits / 8));
  for (const float value : values) {
    const double place = std::clamp((static_cast<double>(value) - static_cast<double>(least)) * scale, 0.0, steps);
    const auto number = std::isnan(value) ? 0u : static_cast<std::uint32_t>(std::lround(place)) + 1u;
    bytes.push_back(static_cast<unsigned char>(number & 255u));
    if (depth == Depth::bits16) bytes.push_back(static_cast<unsigned char>(number >> 8));
  }
  return {{"shape", shape}, {"min", least}, {"max", largest}, {"bits", bits}, {"data", base64(gzipped(bytes))}};
}

nlohmann::json packed(const std::vector<float>& values, const std::vector<int>& shape, Depth depth) {
  float least = std::numeric_limits<float>::max(), largest = -least;
  for (const float value : values) {
    least = std::min(least, std::isnan(value) ? least : value);
    largest = std::max(largest, std::isnan(value) ? largest : value);
  }
  if (least > largest) least = largest = 0.0f;
  return packed(values, shape, least, largest, depth);
}

}  // namespace report
