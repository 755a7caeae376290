#pragma once

#include <tbb/global_control.h>
#include <tbb/info.h>
#include <tbb/task_arena.h>

#include <cstddef>

namespace app {

/// Threads that a job computes with. @param asked  0: every core
inline int threadsFor(int asked) { return asked > 0 ? asked : tbb::info::default_concurrency(); }

/// Does the work with that many threads at hand.
template <class Work>
void withThreads(int threads, Work work) {
  const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(threads));
  tbb::task_arena(threads).execute(work);
}

}  // namespace app
