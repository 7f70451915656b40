#pragma once

// TestScheduler: virtual time for tests. Every executor made by one scheduler
// shares its single queue and clock, so a test runs all of its tasks on the test's
// own thread in one deterministic order, and a 30-second timeout passes in
// microseconds. Nothing runs until the test calls runUntilIdle(), advanceBy()
// or advanceUntilIdle(). Posting is thread-safe; running is for one thread.
//
// It is also the virtual Clock (monotonic and continuous alike) of those tests.

#include <memory>

#include "base/async/executor.h"
#include "base/clock.h"

namespace trelvis {

class TestScheduler final : public Clock {
 public:
  TestScheduler();
  // Pending jobs are dropped, and so are later posts to its executors; a task
  // whose resumption is dropped is destroyed.
  ~TestScheduler() override;
  TestScheduler(const TestScheduler&) = delete;
  TestScheduler& operator=(const TestScheduler&) = delete;

  // A serial executor on this scheduler. Jobs of all its executors run in one
  // global post order.
  std::shared_ptr<Executor> makeExecutor();

  Instant now() const override;

  // Runs jobs that are due now, including those they post, until none is left.
  // Time does not move.
  void runUntilIdle();

  // Moves time forward by `duration` (not negative), stopping at each delayed job's due time
  // to run it and everything it causes.
  void advanceBy(Duration duration);

  // Moves time forward until no job or delayed job is left, but not further
  // than `limit` (a job that keeps re-arming a timer would never leave).
  void advanceUntilIdle(Duration limit = std::chrono::hours(24));

  // Jobs waiting to run now plus delayed jobs not cancelled.
  std::size_t pendingCount() const;

 private:
  struct Core;
  class TestExecutor;
  std::shared_ptr<Core> core_;
};

}  // namespace trelvis
