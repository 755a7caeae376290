#include <benchmark/benchmark.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <vector>

#include "bench/hash.h"
#include "bench/scratch_folder.h"
#include "host/local/big_endian.h"
#include "host/local/header_words.h"
#include "host/local/sample_format.h"
#include "host/local/segy_data.h"

// Samples decoded and encoded in memory against a copy of the same bytes; and input and output of a run from and to the
// page cache: 20000 traces of 1500 samples, 60 an ensemble. The hash covers what came out.
namespace {

using namespace host::local;

constexpr int traces = 20000, samples = 1500, fold = 60;

/// Bytes that are decoded again and again: a block as it is fetched, or more than any cache holds.
constexpr int block = 40 * 4 * samples, large = 512 << 20;

std::vector<unsigned char> words(int bytes) {
  std::vector<unsigned char> result(static_cast<std::size_t>(bytes));
  std::uint32_t random = 1;
  for (int at = 0; at < bytes; at += 4) {
    random = random * 1664525 + 1013904223;
    storeBig32(&result[at], (random & 0x80ffffff) | 0x41000000);  // floats of usual size in either format
  }
  return result;
}

void copy(benchmark::State& state, int bytes) {
  const std::vector<unsigned char> in = words(bytes);
  std::vector<unsigned char> out(in.size());
  for (auto _ : state) {
    std::memcpy(out.data(), in.data(), in.size());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * bytes);
}

void decode(benchmark::State& state, int format, int bytes) {
  const std::vector<unsigned char> in = words(bytes);
  const int count = bytes / sampleBytes(format);
  std::vector<float> out(static_cast<std::size_t>(count));
  for (auto _ : state) {
    for (int i = 0; i + samples <= count; i += samples) {
      benchmark::DoNotOptimize(decodeSamples(format, false, &in[i * sampleBytes(format)], samples, &out[i]));
    }
  }
  bench::report(state, bench::hashOf(out.data(), block / 4));
  state.SetBytesProcessed(state.iterations() * bytes);
}

void encode(benchmark::State& state, int bytes) {
  std::vector<float> in(static_cast<std::size_t>(bytes) / 4, 1.5f);
  std::vector<unsigned char> out(static_cast<std::size_t>(bytes));
  for (auto _ : state) {
    for (int i = 0; i + samples <= bytes / 4; i += samples) encodeSamples(&in[i], samples, &out[4 * i]);
  }
  bench::report(state, bench::hashOf(out.data(), block));
  state.SetBytesProcessed(state.iterations() * bytes);
}

struct Silence : MessageSink {
  void warn(const std::string&) override {}
} silence;

enum class Order { cdp, shot };

/// A file of the sample format: one run of traces an ensemble, or every trace away from the others of its ensemble.
SegyInput input(int format, Order order) {
  SegyInput result;
  result.file = bench::scratchFolder() / (std::to_string(format) + (order == Order::cdp ? "cdp" : "shot") + ".sgy");
  if (std::filesystem::exists(result.file)) return result;
  std::ofstream out(result.file, std::ios::binary);
  const auto write = [&out](const std::vector<unsigned char>& bytes) {
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  };
  std::vector<unsigned char> head(3600), header(240);
  storeBig16(&head[3216], 4000);
  storeBig16(&head[3220], samples);
  storeBig16(&head[3224], static_cast<std::uint16_t>(format));
  write(head);
  const std::vector<unsigned char> trace = words(4 * samples);
  storeBig16(&header[28], 1);
  for (int i = 0; i < traces; ++i) {
    storeBig32(&header[20], static_cast<std::uint32_t>(order == Order::cdp ? i / fold : i % (traces / fold)));
    storeBig32(&header[36], static_cast<std::uint32_t>(50 * (i % fold)));
    storeBig32(&header[180], static_cast<std::uint32_t>(100 * i));
    write(header);
    write(trace);
  }
  return result;
}

/// Memory for an ensemble, as a run has it.
struct Ensemble {
  std::vector<float> values;
  std::vector<std::int32_t> words;
  std::vector<float*> traces;
  std::vector<std::int32_t*> heads;

  explicit Ensemble(int count) : values(count * samples), words(count * headerWords) {
    for (int i = 0; i < count; ++i) {
      traces.push_back(&values[i * samples]);
      heads.push_back(&words[i * headerWords]);
    }
  }
};

void read_pass(benchmark::State& state, int format, Order order) {
  SegyData data(input(format, order), silence);
  Ensemble ensemble(data.largestEnsemble());
  std::uint64_t hash = 0;
  for (auto _ : state) {
    data.deliver(1);
    hash = 0;
    while (const int count = data.next(ensemble.traces.data(), ensemble.heads.data())) {
      hash += bench::hashOf(ensemble.traces[count - 1], 10) + bench::hashOf(ensemble.heads[count - 1], headerWords);
    }
  }
  bench::report(state, hash);
  state.SetItemsProcessed(state.iterations() * traces);
}

void write_pass(benchmark::State& state) {
  SegyData data(input(5, Order::cdp), silence);
  Ensemble ensemble(data.largestEnsemble());
  const int count = data.next(ensemble.traces.data(), ensemble.heads.data());
  for (auto _ : state) {
    SegyOutput output(bench::scratchFolder() / "out.sgy", data, {});
    for (int i = 0; i < traces; ++i) output.put(ensemble.traces[i % count], ensemble.heads[i % count]);
  }
  state.SetItemsProcessed(state.iterations() * traces);
}

/// Of a file whose index is not known, or is.
void open_input(benchmark::State& state, Order order, const char* cache) {
  const SegyInput file = input(1, order);
  const std::filesystem::path kept = *cache == '\0' ? "" : bench::scratchFolder() / cache;
  for (auto _ : state) benchmark::DoNotOptimize(SegyData(file, silence, kept).largestEnsemble());
  state.SetItemsProcessed(state.iterations() * traces);
}

BENCHMARK_CAPTURE(copy, memory, block);
BENCHMARK_CAPTURE(decode, ibm, 1, block);
BENCHMARK_CAPTURE(decode, ieee, 5, block);
BENCHMARK_CAPTURE(decode, int32, 2, block);
BENCHMARK_CAPTURE(decode, int16, 3, block);
BENCHMARK_CAPTURE(decode, int8, 8, block);
BENCHMARK_CAPTURE(encode, ieee, block);
BENCHMARK_CAPTURE(copy, memory_out_of_cache, large)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(decode, ibm_out_of_cache, 1, large)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(decode, ieee_out_of_cache, 5, large)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(read_pass, ibm, 1, Order::cdp)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(read_pass, ieee, 5, Order::cdp)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(read_pass, ibm_in_shot_order, 1, Order::shot)->Unit(benchmark::kMillisecond);
BENCHMARK(write_pass)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(open_input, first_scan, Order::cdp, "")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(open_input, first_scan_in_shot_order, Order::shot, "")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(open_input, index_known, Order::cdp, "cdp.index")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(open_input, index_known_in_shot_order, Order::shot, "shot.index")->Unit(benchmark::kMillisecond);

}  // namespace
