#pragma once

// Executor: where jobs and coroutine resumptions run. Production code uses the
// UI thread's executor and sequenced executors of a ThreadPool; tests share one
// virtual-time TestScheduler among all their executors.
//
// A task must be bound to a serial executor (one job at a time, in post order):
// its coroutine state is only ever touched by that executor's jobs.
//
// An executor that has gone away (its pool, scheduler or loop destroyed) drops
// what it still holds and what is posted later: the jobs are destroyed unrun,
// outside its locks. A dropped resumption destroys its task (see TaskContext).

#include <atomic>
#include <memory>

#include "base/async/job.h"
#include "base/clock.h"

namespace trelvis {

// Cancels a job given to Executor::postAfter. Copies share the same job.
class TimerHandle {
 public:
  TimerHandle() = default;

  // A handle whose guard() wraps jobs so that cancelling makes them no-ops.
  static TimerHandle make() { return TimerHandle(std::make_shared<std::atomic<bool>>(false)); }

  // The job will not run unless it has already started. Idempotent, any thread.
  void cancel() const {
    if (cancelled_) cancelled_->store(true, std::memory_order_release);
  }
  bool isCancelled() const { return cancelled_ && cancelled_->load(std::memory_order_acquire); }

  Job guard(Job job) const {
    return [cancelled = cancelled_, job = std::move(job)]() mutable {
      if (!cancelled->load(std::memory_order_acquire)) job();
    };
  }

 private:
  explicit TimerHandle(std::shared_ptr<std::atomic<bool>> cancelled)
      : cancelled_(std::move(cancelled)) {}

  std::shared_ptr<std::atomic<bool>> cancelled_;
};

class Executor {
 public:
  virtual ~Executor() = default;

  // Runs `job` later, never inline. Thread-safe.
  virtual void post(Job job) = 0;

  // Runs `job` once `delay` has passed on this executor's clock. Delayed jobs run
  // in order of due time, then in order of posting.
  virtual TimerHandle postAfter(Duration delay, Job job) = 0;

  // The executor's clock: monotonic in production, virtual in tests.
  virtual Instant now() const = 0;

  // The executor whose job is running on this thread, or null.
  static Executor* current();
  bool isCurrent() const { return current() == this; }

 protected:
  // Marks `executor` as current on this thread for the lifetime of the scope.
  class ScopedCurrent {
   public:
    explicit ScopedCurrent(Executor* executor);
    ~ScopedCurrent();
    ScopedCurrent(const ScopedCurrent&) = delete;
    ScopedCurrent& operator=(const ScopedCurrent&) = delete;

   private:
    Executor* previous_;
  };
};

}  // namespace trelvis
