#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "host/local/segy_file.h"
#include "host/local/trace_index.h"

namespace host::local {

/// The traces of a file in the order of runs, over and over. Neighbouring traces are fetched together, and the system
/// is told of those that follow, so that it reads them from the disk in the meantime.
class TraceStream {
 public:
  /// File and order must outlive the stream; the order has at least one trace.
  TraceStream(const SegyFile& file, std::span<const TraceRun> order);

  /// Goes on with the first trace of a run.
  void goTo(std::size_t run);
  /// The next trace as the file holds it, until the next call; behind the last one comes the first.
  const unsigned char* next() {
    if (next_ == fetched_) fetch();
    return block_.data() + next_++ * traceBytes_;
  }

 private:
  /// A place in the order: so many traces of a run are over.
  struct Place {
    std::size_t run = 0;
    int done = 0;
  };
  /// Neighbouring traces of the file.
  struct Block {
    int first, traces;
  };

  void fetch();
  Block blockAt(Place place) const;
  void advance(Place& place, int traces) const;

  const SegyFile& file_;
  std::span<const TraceRun> order_;
  std::size_t traceBytes_;
  int mostTraces_;   // of a block
  int aheadTraces_;  // to be announced beyond those fetched
  std::vector<unsigned char> block_;
  std::size_t fetched_ = 0, next_ = 0;  // traces of the block
  Place place_;                         // behind the block
  Place announced_;
  int announcedTraces_ = 0;  // from place_ to announced_
};

}  // namespace host::local
