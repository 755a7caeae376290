#include "host/local/trace_index.h"

#include <algorithm>
#include <tuple>

#include "host/local/trace_stream.h"

namespace host::local {

namespace {

Position positionOf(const CdpRecord& record, HeaderFormat x, HeaderFormat y) {
  return {scaled(fieldValue(record.x, x), record.scalar), scaled(fieldValue(record.y, y), record.scalar)};
}

/// The first records of the CDPs, of records that come in the order of the traces. Repetitions are dropped now and
/// then, so that memory follows the CDPs and not the traces.
class FirstRecords {
 public:
  void add(const CdpRecord& record) {
    if (!records_.empty() && records_.back().cdp == record.cdp) return;
    records_.push_back(record);
    if (records_.size() < limit_) return;
    dropRepetitions();
    limit_ = std::max(limit_, 2 * records_.size());
  }

  std::vector<CdpRecord> take() {
    dropRepetitions();
    records_.shrink_to_fit();
    return std::move(records_);
  }

 private:
  void dropRepetitions() {
    std::stable_sort(records_.begin(), records_.end(), [](const auto& a, const auto& b) { return a.cdp < b.cdp; });
    const auto repeats = [](const CdpRecord& a, const CdpRecord& b) { return a.cdp == b.cdp; };
    records_.erase(std::unique(records_.begin(), records_.end(), repeats), records_.end());
  }

  std::vector<CdpRecord> records_;
  std::size_t limit_ = 4096;
};

struct KeyedRun {
  std::int32_t key, first, traces;
};

std::vector<TraceRun> inOrderOfKeys(std::vector<KeyedRun> keyed) {
  std::sort(keyed.begin(), keyed.end(),
            [](const KeyedRun& a, const KeyedRun& b) { return std::tie(a.key, a.first) < std::tie(b.key, b.first); });
  std::vector<TraceRun> runs;
  runs.reserve(keyed.size());
  for (std::size_t i = 0; i < keyed.size(); ++i) {
    const bool opens = i == 0 || keyed[i - 1].key != keyed[i].key;
    runs.push_back({static_cast<std::uint32_t>(keyed[i].first) & 0x7fffffffu, opens, keyed[i].traces});
  }
  return runs;
}

}  // namespace

std::string Tally::text() const {
  return std::to_string(traces) + (traces == 1 ? " trace (trace " : " traces (the first is trace ") +
         std::to_string(first + 1) + ")";
}

std::size_t TraceIndex::behind(std::size_t run) const {
  ++run;
  while (run < runs.size() && runs[run].opens == 0) ++run;
  return run;
}

int TraceIndex::largestEnsemble() const {
  int largest = 0, traces = 0;
  for (const TraceRun& run : runs) {
    traces = run.opens != 0 ? run.traces : traces + run.traces;
    largest = std::max(largest, traces);
  }
  return largest;
}

std::optional<Position> TraceIndex::find(int cdp, const HeaderLayout& layout) const {
  const auto at =
      std::lower_bound(cdps.begin(), cdps.end(), cdp, [](const auto& record, int n) { return record.cdp < n; });
  if (findings.positions == 0 || at == cdps.end() || at->cdp != cdp) return std::nullopt;
  const Position position = positionOf(*at, layout.fields.at("CDP_X").format, layout.fields.at("CDP_Y").format);
  return fitsHeaders(position) ? std::optional(position) : std::nullopt;
}

TraceIndex indexTraces(const SegyFile& file, HeaderField key) {
  const SegyFacts& facts = file.facts();
  const std::map<std::string, HeaderField>& fields = file.input().layout.fields;
  const HeaderField cdp = fields.at("CDP"), code = fields.at("TRC_TYPE"), scalar = fields.at("COORD_SCALAR");
  const HeaderField x = fields.at("CDP_X"), y = fields.at("CDP_Y");
  const HeaderField samples = fields.at("SAMPLES"), interval = fields.at("INTERVAL");

  TraceIndex index;
  TraceIndex::Findings& findings = index.findings;
  FirstRecords records;
  std::vector<KeyedRun> runs;
  const TraceRun whole{0, 1, file.traces()};
  TraceStream stream(file, {&whole, 1});
  for (int trace = 0; trace < file.traces(); ++trace) {
    const TraceHeader header = file.header(stream.next());
    const auto integer = [&header](HeaderField field) { return wholeNumber(readField(header, field)); };

    const int keyValue = integer(key);
    if (runs.empty() || runs.back().key != keyValue) runs.push_back({keyValue, trace, 0});
    ++runs.back().traces;

    if (trace == 0) findings.firstCode = integer(code);
    if (isLive(integer(code))) {
      findings.live.count(trace);
      const CdpRecord record{integer(cdp), fieldBits(header, x), fieldBits(header, y), integer(scalar)};
      const Position position = positionOf(record, x.format, y.format);
      findings.positions += position.x != 0.0 || position.y != 0.0;
      records.add(record);
    }
    const int theirSamples = integer(samples) & 0xffff, theirInterval = integer(interval);
    if ((theirSamples != 0 && theirSamples != facts.samples) ||
        (theirInterval != 0 && theirInterval != facts.interval)) {
      findings.otherSampling.count(trace);
    }
  }
  index.runs = inOrderOfKeys(std::move(runs));
  index.cdps = records.take();
  return index;
}

}  // namespace host::local
