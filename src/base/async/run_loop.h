#pragma once

// RunLoop: a serial executor whose jobs run on the thread that calls runUntil().
// It stands in for the UI thread where there is no UI event loop: in tests that
// use real threads, and in command-line programs. Posting is thread-safe.
//
// The loop owns its queue; tasks hold its executor(). Destroying the loop drops
// the jobs that have not run (a task whose resumption is dropped is destroyed),
// and later posts to its executor are dropped too.

#include <functional>
#include <memory>

#include "base/async/executor.h"

namespace trelvis {

class RunLoop {
 public:
  RunLoop();
  ~RunLoop();
  RunLoop(const RunLoop&) = delete;
  RunLoop& operator=(const RunLoop&) = delete;

  const std::shared_ptr<Executor>& executor() const;

  // Runs jobs on this thread until `done()` holds (checked before waiting and
  // after every job) or `timeout` of real time has passed. Returns done().
  bool runUntil(const std::function<bool()>& done, Duration timeout);

 private:
  class LoopExecutor;
  std::shared_ptr<LoopExecutor> executor_;
  std::shared_ptr<Executor> asExecutor_;
};

}  // namespace trelvis
