#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <iterator>
#include <map>
#include <string>
#include <vector>

// Runs the benchmarks and sets what came of them against the goals: one line a goal, with the ratio of the medians of
// all repetitions.
namespace {

/// Figures of every repetition, by benchmark and counter; the counter "time" is the time of an iteration in s.
class Figures {
 public:
  void take(const benchmark::BenchmarkReporter::Run& run) {
    if (run.run_type != benchmark::BenchmarkReporter::Run::RT_Iteration || run.error_occurred) return;
    auto& counters = figures_[run.run_name.function_name + (run.run_name.args.empty() ? "" : "/" + run.run_name.args)];
    counters["time"].push_back(run.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(run.time_unit));
    for (const auto& [name, counter] : run.counters) counters[name].push_back(counter.value);
  }

  /// Not a number when the benchmark did not run.
  double median(const std::string& benchmark, const std::string& counter) const {
    const auto found = figures_.find(benchmark);
    if (found == figures_.end()) return std::nan("");
    std::vector<double> values = found->second.at(counter);
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
  }

  /// Whether all repetitions of both benchmarks had one result.
  bool sameHash(const std::string& one, const std::string& other) const {
    std::vector<double> hashes;
    for (const std::string& name : {one, other}) {
      const auto found = figures_.find(name);
      if (found == figures_.end() || !found->second.contains("hash")) continue;
      hashes.insert(hashes.end(), found->second.at("hash").begin(), found->second.at("hash").end());
    }
    return std::adjacent_find(hashes.begin(), hashes.end(), std::not_equal_to<>()) == hashes.end();
  }

 private:
  std::map<std::string, std::map<std::string, std::vector<double>>> figures_;
};

/// A figure of one benchmark, or its ratio to that of another.
struct Goal {
  const char* about;
  const char* counter;
  const char* benchmark;
  const char* to;  ///< null: the figure itself
  char bound;      ///< '>' at least, '<' at most
  double limit;
  const char* unit;
  bool sameResult = false;  ///< both must have the same hash
};

constexpr Goal goals[] = {
    {"update pass: a position at 21 x 21 against 3 x 3", "position", "update_pass/side:21/threads:1",
     "update_pass/side:3/threads:1", '<', 2.0, "x"},
    {"neighbourhood sums at 21 x 21: plain against shipped", "position", "sums_plain/21", "sums_shipped/21", '>', 100.0,
     "x", true},
    {"gather of 60 x 1500: plain against shipped", "time", "gather/plain", "gather/shipped", '>', 6.0, "x", true},
    {"gather of 60 x 1500: traces analysed", "items_per_second", "gather/shipped", nullptr, '>', 100000.0, "/s"},
    {"gather pass: one thread against two", "time", "gather_pass/threads:1", "gather_pass/threads:2", '>', 1.85, "x",
     true},
    {"update pass at 3 x 3: one thread against two", "time", "update_pass/side:3/threads:1",
     "update_pass/side:3/threads:2", '>', 1.85, "x", true},
    {"update pass at 21 x 21: one thread against two", "time", "update_pass/side:21/threads:1",
     "update_pass/side:21/threads:2", '>', 1.85, "x", true},
    {"IBM samples: copied in memory against decoded", "time", "copy/memory", "decode/ibm", '>', 0.5, "x"},
    {"IEEE samples: copied in memory against decoded", "time", "copy/memory", "decode/ieee", '>', 0.5, "x"},
    {"SEG-Y to SEG-Y with prestack output: traces", "items_per_second", "prestack_run", nullptr, '>', 60000.0, "/s"},
    {"30000 CDPs against 1000: time a CDP", "CDP", "growth/30000", "growth/1000", '<', 1.1, "x"},
    {"six sectors, checkpoint against none: the first pass", "first", "sectors/checkpoint", "sectors/plain", '<', 1.05,
     "x", true},
    {"six sectors, checkpoint against none: a later pass", "others", "sectors/checkpoint", "sectors/plain", '<', 1.05,
     "x", true},
    {"index known: to the first ensemble", "time", "start_up/index_known", nullptr, '<', 0.05, "s"},
    {"first scan of 101 MB: to the first ensemble", "time", "start_up/first_scan", nullptr, '<', 1.0, "s"},
    {"table of 30000 x 200 written", "time", "table_write", nullptr, '<', 2.0, "s"},
    {"table of 30000 x 200 read", "time", "table_read", nullptr, '<', 2.0, "s"},
};

class GoalReporter : public benchmark::ConsoleReporter {
 public:
  GoalReporter() : ConsoleReporter(OO_None) {}

  /// Of repetitions the median is printed.
  void ReportRuns(const std::vector<Run>& runs) override {
    std::vector<Run> printed;
    std::copy_if(runs.begin(), runs.end(), std::back_inserter(printed),
                 [](const Run& run) { return run.repetitions <= 1 || run.aggregate_name == "median"; });
    if (!printed.empty()) ConsoleReporter::ReportRuns(printed);
    for (const Run& run : runs) figures_.take(run);
  }

  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("\n%-58s %12s %12s\n", "goal", "reached", "asked");
    for (const Goal& goal : goals) print(goal);
    std::fflush(stdout);
  }

 private:
  void print(const Goal& goal) const {
    double value = figures_.median(goal.benchmark, goal.counter);
    if (goal.to != nullptr) value /= figures_.median(goal.to, goal.counter);
    if (std::isnan(value)) return;  // left out by a filter
    const bool same = !goal.sameResult || figures_.sameHash(goal.benchmark, goal.to);
    const bool reached = goal.bound == '>' ? value >= goal.limit : value <= goal.limit;
    std::printf("%-58s %10.4g %-2s %c %8.4g %-2s %s\n", goal.about, value, goal.unit, goal.bound, goal.limit, goal.unit,
                !same ? "RESULTS DIFFER" : (reached ? "met" : "MISSED"));
  }

  Figures figures_;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  GoalReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
}
