#include "host/local/trace_stream.h"

#include <algorithm>
#include <cstdint>

namespace host::local {

namespace {

constexpr std::size_t blockBytes = 256 << 10;  // stays in the second-level cache while it is decoded
constexpr std::size_t aheadBytes = 4 << 20;

int tracesWithin(std::size_t bytes, const SegyFile& file) {
  return static_cast<int>(
      std::clamp<std::size_t>(bytes / file.traceBytes(), 1, static_cast<std::size_t>(file.traces())));
}

}  // namespace

TraceStream::TraceStream(const SegyFile& file, std::span<const TraceRun> order)
    : file_(file),
      order_(order),
      traceBytes_(file.traceBytes()),
      mostTraces_(tracesWithin(blockBytes, file)),
      aheadTraces_(tracesWithin(aheadBytes, file)),
      block_(static_cast<std::size_t>(mostTraces_) * traceBytes_) {}

void TraceStream::goTo(std::size_t run) {
  fetched_ = next_ = 0;
  place_ = announced_ = {.run = run};
  announcedTraces_ = 0;
}

void TraceStream::fetch() {
  while (announcedTraces_ < aheadTraces_) {
    const Block block = blockAt(announced_);
    file_.announce(block.first, block.traces);
    advance(announced_, block.traces);
    announcedTraces_ += block.traces;
  }
  fetched_ = next_ = 0;
  const Block block = blockAt(place_);
  const int got = file_.read(block.first, block.traces, block_.data());
  advance(place_, got);
  announcedTraces_ -= got;
  fetched_ = static_cast<std::size_t>(got);
}

TraceStream::Block TraceStream::blockAt(Place place) const {
  const TraceRun& run = order_[place.run];
  Block block{static_cast<int>(run.first) + place.done, run.traces - place.done};
  for (std::size_t next = place.run + 1; next < order_.size() && block.traces < mostTraces_; ++next) {
    if (static_cast<int>(order_[next].first) != block.first + block.traces) break;
    block.traces += order_[next].traces;
  }
  block.traces = std::min(block.traces, mostTraces_);
  return block;
}

void TraceStream::advance(Place& place, int traces) const {
  place.done += traces;
  while (place.run < order_.size() && place.done >= order_[place.run].traces) {
    place.done -= order_[place.run].traces;
    ++place.run;
  }
  if (place.run == order_.size()) place = {};
}

}  // namespace host::local
