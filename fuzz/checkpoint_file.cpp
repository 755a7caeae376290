#include "host/local/checkpoint_file.h"

#include <xxhash.h>

#include <array>
#include <cstring>

#include "fuzz/fuzz_target.h"

// Checkpoints, forged: the text behind the blocks has the right hash, or the file is whatever the fuzzer thinks of.

namespace {

constexpr std::size_t pageBytes = 4096, blockBytes = 64;

/// A first page for a text that stands behind one block.
std::string pageFor(const std::string& text) {
  const std::array<std::uint64_t, 4> numbers = {1, pageBytes + blockBytes, text.size(),
                                                XXH3_64bits(text.data(), text.size())};
  std::string page = "KORVANE checkpoint";
  page.resize(24, '\0');
  page.append(reinterpret_cast<const char*>(numbers.data()), sizeof numbers);
  page.resize(pageBytes, '\0');
  return page;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace host::local;
  static korvane_fuzz::MemoryFile file;
  FuzzedDataProvider options(data, size);
  const bool forged = options.ConsumeBool();
  const std::string bytes = options.ConsumeRemainingBytesAsString();
  file.write(forged ? pageFor(bytes) + std::string(blockBytes, 'v') + bytes : bytes);

  korvane_fuzz::attempt([&] {
    const CheckpointReader reader(file.path(), {{"NUMITER", "4"}});
    std::array<char, blockBytes> block;
    reader.read({"velocity", block.data(), blockBytes});
    korvane_fuzz::demand(!forged || block[0] == 'v', "a block that is read is the one that is there");
  });
  return 0;
}
