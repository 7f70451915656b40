#include "core/lookup/lookup_stream_deadline.h"

#include <utility>

#include "base/async/sleep.h"
#include "core/lookup/lookup_error.h"

namespace trelvis {

LookupStreamDeadline::LookupStreamDeadline(std::shared_ptr<Executor> executor,
                                           EventContinuation continuation)
    : executor_(std::move(executor)), continuation_(std::move(continuation)) {}

void LookupStreamDeadline::arm(Duration after, LookupTimeoutPhase phase) {
  uint64_t generation;
  Task<void> old;
  {
    std::lock_guard lock(mutex_);
    if (stopped_) return;
    generation = ++generation_;
    old = std::exchange(timer_, {});
  }
  old.cancel();
  std::weak_ptr<LookupStreamDeadline> weak = shared_from_this();
  auto timer = spawn(executor_, [weak, after, generation, phase]() -> Async<void> {
    co_await sleepFor(after);
    if (auto deadline = weak.lock()) deadline->expire(generation, phase);
  });
  {
    std::lock_guard lock(mutex_);
    if (!stopped_ && generation_ == generation) {
      timer_ = std::move(timer);
      return;
    }
  }
  timer.cancel();
}

void LookupStreamDeadline::expire(uint64_t generation, LookupTimeoutPhase phase) {
  Task<void> timer, worker;
  {
    std::lock_guard lock(mutex_);
    if (stopped_ || generation != generation_) return;
    stopped_ = true;
    ++generation_;
    timer = std::exchange(timer_, {});
    worker = std::exchange(worker_, {});
  }
  continuation_.finishThrowing(LookupTransportError::timeout(phase));
  worker.cancel();
}

void LookupStreamDeadline::stop() {
  Task<void> timer;
  {
    std::lock_guard lock(mutex_);
    if (stopped_) return;
    stopped_ = true;
    ++generation_;
    timer = std::exchange(timer_, {});
  }
  timer.cancel();
}

void LookupStreamDeadline::cancel() {
  Task<void> timer, worker;
  {
    std::lock_guard lock(mutex_);
    stopped_ = true;
    ++generation_;
    timer = std::exchange(timer_, {});
    worker = std::exchange(worker_, {});
  }
  timer.cancel();
  worker.cancel();
}

void LookupStreamDeadline::bind(Task<void> worker) {
  {
    std::lock_guard lock(mutex_);
    if (!stopped_) {
      worker_ = std::move(worker);
      return;
    }
  }
  worker.cancel();
}

}  // namespace trelvis
