#include "host/local/job_file.h"

#include "fuzz/fuzz_target.h"

// Job files, with and without settings of the command line, and the checks of the parameters.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace host::local;
  static korvane_fuzz::MemoryFile file;
  FuzzedDataProvider choice(data, size);
  const float traceLength = choice.ConsumeIntegral<std::uint16_t>();
  JobSettings settings(choice.ConsumeIntegralInRange<std::size_t>(0, 2));
  for (std::string& setting : settings) setting = choice.ConsumeRandomLengthString(40);
  file.write(choice.ConsumeRemainingBytesAsString());
  korvane_fuzz::Silence silence;
  korvane_fuzz::attempt([&] {
    const JobFile job = readJobFile(file.path(), silence, settings);
    job.parameters.emitsTraces();
    job.parameters.checkAgainst(traceLength);
  });
  return 0;
}
