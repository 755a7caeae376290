#pragma once

#include <tbb/task_arena.h>
#include <tbb/task_group.h>

#include <atomic>

namespace korvane {

/// Independent work for threads that have nothing to do. One piece may wait for each thread; the next is done at once
/// by the thread that brings it.
class SideWork {
 public:
  SideWork() = default;
  ~SideWork() {
    tasks_.cancel();
    tasks_.wait();
  }
  SideWork(const SideWork&) = delete;
  SideWork& operator=(const SideWork&) = delete;

  /// Does the piece now or leaves it to another thread.
  template <class Piece>
  void run(Piece piece) {
    if (waiting_ >= mostWaiting_) return piece();
    ++waiting_;
    tasks_.run([this, piece] {
      --waiting_;
      piece();
    });
  }

  /// Returns when every piece is done. Throws what one of them threw.
  void finish() { tasks_.wait(); }

 private:
  const int mostWaiting_ = tbb::this_task_arena::max_concurrency() > 1 ? tbb::this_task_arena::max_concurrency() : 0;
  std::atomic<int> waiting_ = 0;  ///< pieces that no thread has begun
  tbb::task_group tasks_;
};

}  // namespace korvane
