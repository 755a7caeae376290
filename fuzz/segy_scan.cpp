#include "fuzz/segy_bytes.h"
#include "host/local/job_file.h"
#include "host/local/suggested_job.h"

// A scan of a SEG-Y file: what it finds, and a suggested job, which has to be TOML whatever was found.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace host::local;
  static korvane_fuzz::MemoryFile file;
  FuzzedDataProvider choice(data, size);
  ScanLimits limits;
  limits.judgedHeaders = choice.PickValueInArray({8192, 1, 3});
  if (choice.ConsumeBool()) limits.wholeBytes = 0;
  limits.sampledTraces = choice.PickValueInArray({4096, 1, 3});
  const SegyInput input = korvane_fuzz::segyInput(choice, file);
  korvane_fuzz::Silence silence;
  std::string job;
  korvane_fuzz::attempt([&] { job = suggestJob(scanSegy(input, silence, limits)); });
  if (job.empty()) return 0;
  file.write(job);
  Problems problems;
  readJobFile(file.path(), {}, silence, problems);
  return 0;
}
