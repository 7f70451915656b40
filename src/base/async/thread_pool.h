#pragma once

// ThreadPool: a few worker threads for the work that leaves the UI thread. It
// makes sequenced executors (one job at a time, in post order: one for each API
// client and for the auth coordinator) and offers a parallel executor for
// detached work such as image encoding. Delayed jobs run on the monotonic clock.
//
// Destroying the pool stops and joins its threads; jobs that have not started
// are dropped, and posts that come later are ignored.

#include <memory>
#include <string>

#include "base/async/executor.h"

namespace trelvis {

class ThreadPool {
 public:
  // Thread names are `name` plus a number, cut to the system's 15 characters.
  ThreadPool(std::string name, int threadCount);
  ~ThreadPool();
  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;

  std::shared_ptr<Executor> makeSequencedExecutor();

  // Runs its jobs concurrently on any worker; not for tasks, which need a serial
  // executor.
  std::shared_ptr<Executor> parallelExecutor() const { return parallel_; }

 private:
  struct Core;
  class SequencedExecutor;
  class ParallelExecutor;
  std::shared_ptr<Core> core_;
  std::shared_ptr<Executor> parallel_;
};

}  // namespace trelvis
