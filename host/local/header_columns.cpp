#include "host/local/header_columns.h"

#include <algorithm>
#include <cmath>

namespace host::local {

namespace {

/// Standard headers have 32 bits at these places, and 16 elsewhere up to byte 180.
bool isWide(int byte) { return byte < 29 || (byte >= 37 && byte < 69) || (byte >= 73 && byte < 89) || byte >= 181; }

bool isMapped(const HeaderLayout& layout, HeaderField field) {
  return std::any_of(layout.fields.begin(), layout.fields.end(), [&](const auto& named) {
    const HeaderField& other = named.second;
    return field.byte < other.byte + bytesOf(other.format) && other.byte < field.byte + bytesOf(field.format);
  });
}

/// Numbers of a usual size; whole numbers read as floats are next to nothing.
bool isReal(const HeaderColumn& column) {
  constexpr double least = 1e-3, most = 1e8;
  return column.varies() && std::all_of(column.values.begin(), column.values.end(), [](double value) {
           return value == 0.0 || (std::abs(value) >= least && std::abs(value) <= most);
         });
}

/// Four bytes that nothing maps are one number or two, whichever makes sense of them.
std::vector<HeaderColumn> readPlace(const HeaderSample& sample, int byte) {
  const HeaderColumn both(sample, {byte, HeaderFormat::int32});
  const HeaderColumn high(sample, {byte, HeaderFormat::int16}), low(sample, {byte + 2, HeaderFormat::int16});
  const bool large = std::max(std::abs(both.least), std::abs(both.greatest)) > 32768.0;
  const bool filled = low.greatest - low.least > 16384.0 && low.distinct >= high.distinct;
  if (!isWide(byte)) {
    if (large && filled && high.varies()) return {both};
    return {high, low};
  }
  if (byte >= 181) {
    const HeaderColumn real(sample, {byte, HeaderFormat::float32});
    if (isReal(real)) return {real};
  }
  if (byte >= 201 && large && !filled) return {high, low};
  return {both};
}

}  // namespace

HeaderColumn::HeaderColumn(const HeaderSample& sample, HeaderField place, const std::string& name)
    : field(place), values(sample.values(place)), mapped(name) {
  for (double& value : values) {
    if (!std::isfinite(value)) value = 0.0;
  }
  for (std::size_t i = 0; i < values.size(); ++i) {
    whole = whole && values[i] == std::round(values[i]);
    if (!sample.follows(static_cast<int>(i))) continue;
    const double difference = values[i] - values[i - 1];
    if (neighbours++ == 0) step = difference;
    same += difference == 0.0;
    up += difference == 1.0;
    rising += difference > 0.0;
    falling += difference < 0.0;
    steady += difference == step;
  }
  TraceValues sorted = values;
  std::sort(sorted.begin(), sorted.end());
  least = sorted.front();
  greatest = sorted.back();
  distinct = static_cast<int>(std::unique(sorted.begin(), sorted.end()) - sorted.begin());
}

bool HeaderColumn::inRuns(int stretches) const {
  const int runs = neighbours - same + stretches;
  return distinct > 1 && same > 0 && runs <= 1.02 * distinct + stretches - 1;
}

void HeaderColumn::say(const std::string& what, const std::string& reason) {
  if (!looks.empty()) return;
  looks = what;
  why = reason;
}

std::vector<HeaderColumn> readColumns(const HeaderSample& sample, HeaderLayout& layout) {
  std::vector<HeaderColumn> columns;
  for (auto& [name, field] : layout.fields) {
    columns.emplace_back(sample, field, name);
    if (name != "OFFSET" || field.format != HeaderFormat::int32) continue;
    HeaderColumn real(sample, {field.byte, HeaderFormat::float32}, name);
    if (!isReal(real)) continue;
    field = real.field;
    columns.back() = std::move(real);
  }
  for (int byte = 1; byte <= static_cast<int>(HeaderSample::headerBytes); byte += 4) {
    for (HeaderColumn& column : readPlace(sample, byte)) {
      if (!column.isZero() && !isMapped(layout, column.field)) columns.push_back(std::move(column));
    }
  }
  std::stable_sort(columns.begin(), columns.end(),
                   [](const HeaderColumn& a, const HeaderColumn& b) { return a.field.byte < b.field.byte; });
  return columns;
}

int findZeroWord(const HeaderSample& sample, const HeaderLayout& layout) {
  for (int byte = 121; byte <= 180; byte += 2) {
    const HeaderField field{byte, HeaderFormat::int16};
    if (!isMapped(layout, field) && HeaderColumn(sample, field).isZero()) return byte;
  }
  return 0;
}

}  // namespace host::local
