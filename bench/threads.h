#pragma once

#include <tbb/global_control.h>
#include <tbb/task_arena.h>

#include <cstddef>

namespace bench {

/// Does the work as a run does it on that many threads.
template <class Work>
void onThreads(int threads, Work work) {
  const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(threads));
  tbb::task_arena(threads).execute(work);
}

}  // namespace bench
