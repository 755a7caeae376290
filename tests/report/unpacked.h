#pragma once

#include <zlib.h>

#include <cstring>
#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

namespace korvane_test {

/// The values of an array as a page reads them; not a number where there is none.
inline std::vector<double> unpacked(const nlohmann::json& array) {
  const std::string digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string zipped;
  unsigned group = 0, bits = 0;
  for (const char c : array.at("data").get<std::string>()) {
    if (c == '=') break;
    group = group << 6 | static_cast<unsigned>(digits.find(c));
    bits += 6;
    if (bits >= 8) zipped += static_cast<char>(group >> (bits -= 8) & 255);
  }
  const unsigned width = array.at("bits").get<unsigned>() / 8;
  std::size_t count = 1;
  for (const int length : array.at("shape")) count *= static_cast<std::size_t>(length);

  std::vector<unsigned char> bytes(count * width + 1);
  z_stream stream{};
  inflateInit2(&stream, 15 + 16);
  stream.next_in = reinterpret_cast<unsigned char*>(zipped.data());
  stream.avail_in = static_cast<uInt>(zipped.size());
  stream.next_out = bytes.data();
  stream.avail_out = static_cast<uInt>(bytes.size());
  const int status = inflate(&stream, Z_FINISH);
  const std::size_t found = stream.total_out;
  inflateEnd(&stream);
  if (status != Z_STREAM_END || found != count * width) throw std::logic_error("the array is not what its shape says");

  const double least = array.at("min"), step = (array.at("max").get<double>() - least) / (width == 1 ? 254.0 : 65534.0);
  std::vector<double> values;
  for (std::size_t i = 0; i < count; ++i) {
    const unsigned number = width == 1 ? bytes[i] : bytes[2 * i] | static_cast<unsigned>(bytes[2 * i + 1]) << 8;
    values.push_back(number == 0 ? std::numeric_limits<double>::quiet_NaN() : least + (number - 1) * step);
  }
  return values;
}

}  // namespace korvane_test
