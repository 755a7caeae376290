#include "fuzz/segy_bytes.h"

// SEG-Y as the input of a run: the headers of the file, the index of its traces, every ensemble.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static korvane_fuzz::MemoryFile file;
  FuzzedDataProvider choice(data, size);
  const host::local::SegyInput input = korvane_fuzz::segyInput(choice, file);
  korvane_fuzz::Silence silence;
  korvane_fuzz::attempt([&] {
    host::local::SegyData segy(input, silence);
    korvane_fuzz::readAll(segy);
  });
  return 0;
}
