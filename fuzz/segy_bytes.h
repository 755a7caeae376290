#pragma once

#include <algorithm>

#include "fuzz/fuzz_target.h"
#include "host/local/header_words.h"
#include "host/local/segy_data.h"

namespace korvane_fuzz {

/// A SEG-Y file whose bytes behind the text header are those left over.
inline void writeSegy(FuzzedDataProvider& choice, MemoryFile& file) {
  file.write(std::string(3200, '\x40') + choice.ConsumeRemainingBytesAsString());
}

/// Such a file, and a foreign job's idea of it.
inline host::local::SegyInput segyInput(FuzzedDataProvider& choice, MemoryFile& file) {
  using namespace host::local;
  SegyInput input{.file = file.path(), .layout = {}};
  input.allowTruncated = choice.ConsumeBool();
  input.format = choice.PickValueInArray({0, 0, 1, 2, 3, 5, 8});
  for (int moved = choice.ConsumeIntegralInRange(0, 3); moved > 0; --moved) {
    const std::vector<std::string>& names = HeaderLayout::knownNames();
    HeaderField& field = input.layout.fields[names[choice.ConsumeIntegralInRange<std::size_t>(0, names.size() - 1)]];
    field.byte = choice.ConsumeIntegralInRange(-5, 250);
    field.format = choice.PickValueInArray({HeaderFormat::int16, HeaderFormat::int32, HeaderFormat::float32});
  }
  if (choice.ConsumeBool()) input.primaryKey = "SG_CDP";
  writeSegy(choice, file);
  return input;
}

/// Reads all that there is to read.
inline void readAll(host::local::SegyData& data) {
  const auto traces = static_cast<std::size_t>(data.largestEnsemble());
  const auto samples = static_cast<std::size_t>(data.samples());
  std::vector<float> values(traces * samples);
  std::vector<std::int32_t> words(traces * host::local::headerWords);
  std::vector<float*> traceStarts;
  std::vector<std::int32_t*> heads;
  for (std::size_t i = 0; i < traces; ++i) {
    traceStarts.push_back(values.data() + i * samples);
    heads.push_back(words.data() + i * host::local::headerWords);
  }
  std::int64_t delivered = 0;
  data.deliver(2);
  while (const int count = data.next(traceStarts.data(), heads.data())) {
    delivered += count;
    data.find(words[static_cast<std::size_t>(host::local::standardHeaders.icdp - 1)]);
  }
  demand(delivered == 2 * data.traces(), "two passes deliver every trace twice");
  const auto ensembles = static_cast<int>(data.ensembles().size());
  data.deliverFrom(ensembles - 1, 1);
  data.next(traceStarts.data(), heads.data());
}

}  // namespace korvane_fuzz
