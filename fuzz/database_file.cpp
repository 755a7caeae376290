#include <fstream>

#include "fuzz/fuzz_target.h"
#include "host/local/database.h"

// Files that are said to be databases.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace host::local;
  static const korvane_fuzz::PrivateFolder folder;
  const std::filesystem::path file = folder.path() / "fuzz.db";
  FuzzedDataProvider choice(data, size);
  const auto access = choice.PickValueInArray({Database::Access::read, Database::Access::write});
  std::ofstream(file, std::ios::binary) << choice.ConsumeRemainingBytesAsString();
  korvane_fuzz::attempt([&] {
    Database database(file, access);
    korvane_fuzz::attempt([&] { database.runs(); });
    korvane_fuzz::attempt([&] { database.passes(1); });
    for (const auto& entry : database.list()) database.load(entry.type, entry.name);
  });
  return 0;
}
