#include "host/local/segy_text.h"

#include <algorithm>

#include "fuzz/fuzz_target.h"

// Text headers: read as cards, and with notes added.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace host::local;
  FuzzedDataProvider choice(data, size);
  std::vector<std::string> notes(choice.ConsumeIntegralInRange<std::size_t>(0, 3));
  for (std::string& note : notes) note = choice.ConsumeRandomLengthString(200);
  SegyText text{};
  const std::string bytes = choice.ConsumeRemainingBytesAsString();
  if (!bytes.empty())
    std::generate(text.begin(), text.end(), [&, i = 0u]() mutable { return bytes[i++ % bytes.size()]; });
  addNotes(text, notes);
  const std::vector<std::string> lines = cards(text);
  korvane_fuzz::demand(
      lines.size() == 40 && std::all_of(lines.begin(), lines.end(), [](const auto& line) { return line.size() == 80; }),
      "a text header has 40 cards of 80 characters");
  return 0;
}
