#include <benchmark/benchmark.h>

#include <filesystem>

#include "bench/hash.h"
#include "bench/scratch_folder.h"
#include "host/local/database.h"

// A velocity table of 30000 functions of 200 points to SQLite, as one transaction over the table that is there, and
// back. The hash covers the values that come back.
namespace {

using host::local::Database;

host::Table velocities() {
  host::Table table("vel", 1, "CDP", "TIME", "VEL_RMS");
  for (int cdp = 1; cdp <= 30000; ++cdp) {
    for (int k = 0; k < 200; ++k) {
      const float velocity = 1500.0f + 10.25f * static_cast<float>(k) + 0.5f * static_cast<float>(cdp % 7);
      table.add(static_cast<float>(cdp), 20.0f * static_cast<float>(k), &velocity);
    }
    table.place(static_cast<float>(cdp), {.x = 25.0 * cdp, .y = 12.5 * (cdp % 200)});
  }
  return table;
}

void table_write(benchmark::State& state) {
  const host::Table table = velocities();
  for (auto _ : state) {
    Database database(bench::scratchFolder() / "write.db", Database::Access::create);
    database.save(table, "VEL");
  }
}

void table_read(benchmark::State& state) {
  const auto file = bench::scratchFolder() / "read.db";
  Database(file, Database::Access::create).save(velocities(), "VEL");
  std::unique_ptr<host::Table> table;
  for (auto _ : state) table = Database(file, Database::Access::read).load("VEL", "vel");
  std::uint64_t hash = 0;
  for (const auto& [cdp, function] : table->functions()) {
    hash += bench::hashOf(function.z.data(), static_cast<std::int64_t>(function.z.size()));
  }
  bench::report(state, hash);
}

BENCHMARK(table_write)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(table_read)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
