#include <algorithm>

#include "fuzz/fuzz_target.h"
#include "host/local/numeric.h"

// Lists of numbers such as OUTPUT: decoding gives the count that preparing has promised.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  korvane_fuzz::attempt([&] {
    std::vector<char> list(2 * size);  // not a character more than decodePrep may use
    std::copy_n(data, size, list.begin());
    const int count = host::local::decodePrep(list.data(), static_cast<int>(size));
    std::vector<float> values(static_cast<std::size_t>(count));
    const int stored = host::local::floatDecode(list.data(), count, values.data(), 0);
    korvane_fuzz::demand(stored == count, "as many values are decoded as were counted");
  });
  return 0;
}
