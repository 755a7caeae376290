#include "host/local/table_text.h"

#include <sstream>

#include "fuzz/fuzz_target.h"

// Tables in CSV: what was read and is written reads back as the same text, and can be interpolated anywhere.

namespace {

using namespace host::local;

std::string written(const host::Table& table, const std::string& type) {
  std::ostringstream text;
  writeTableCsv(table, type, text);
  return text.str();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static korvane_fuzz::MemoryFile file;
  FuzzedDataProvider options(data, size);
  const std::string type = options.PickValueInArray({"VEL", "VAZ", "AHZ"});
  const float x = options.ConsumeFloatingPoint<float>(), y = options.ConsumeFloatingPoint<float>();
  file.write(options.ConsumeRemainingBytesAsString());

  const auto csv = [&] { return readTableCsv(file.path(), type, "fuzz"); };
  korvane_fuzz::attempt([&] {
    const auto table = csv();
    korvane_fuzz::interpolate(*table, x, y);
    const std::string text = written(*table, type);
    file.write(text);
    korvane_fuzz::demand(written(*csv(), type) == text, "a table that is written reads back as it was");
  });
  return 0;
}
