#include "host/local/header_sample.h"

#include <cstdint>

namespace host::local {

HeaderSample::HeaderSample(const SegyFile& file, int most) : file_(file) {
  constexpr int stretch = 512;
  const int traces = file.traces();
  const int stretches = traces <= most ? 1 : std::max(1, most / stretch);
  const int length = traces <= most ? traces : std::min(stretch, most);
  std::vector<unsigned char> trace(file.traceBytes());
  for (int s = 0; s < stretches; ++s) {
    const std::int64_t first = stretches == 1 ? 0 : std::int64_t{traces - length} * s / (stretches - 1);
    for (int i = 0; i < length; ++i) {
      file.read(static_cast<int>(first) + i, 1, trace.data());
      headers_.insert(headers_.end(), trace.begin(), trace.begin() + headerBytes);
      follows_.push_back(i > 0);
    }
  }
}

std::vector<double> HeaderSample::values(HeaderField field) const {
  std::vector<double> result;
  result.reserve(follows_.size());
  for (std::size_t i = 0; i < follows_.size(); ++i) result.push_back(file_.value(&headers_[i * headerBytes], field));
  return result;
}

}  // namespace host::local
