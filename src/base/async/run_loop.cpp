#include "base/async/run_loop.h"

#include <condition_variable>
#include <deque>
#include <mutex>

#include "base/async/timer_queue.h"

namespace trelvis {

struct RunLoop::State {
  std::mutex mutex;
  std::condition_variable wake;
  std::deque<Job> ready;
  detail::TimerQueue timers;
};

RunLoop::RunLoop() : state_(std::make_unique<State>()) {}

RunLoop::~RunLoop() {
  // Destroying a job may post another; keep going until nothing is left.
  for (;;) {
    std::deque<Job> ready;
    std::vector<Job> timers;
    {
      std::lock_guard lock(state_->mutex);
      ready.swap(state_->ready);
      timers = state_->timers.takeAll();
    }
    if (ready.empty() && timers.empty()) break;
  }
}

std::shared_ptr<RunLoop> RunLoop::make() {
  return std::shared_ptr<RunLoop>(new RunLoop());
}

void RunLoop::post(Job job) {
  {
    std::lock_guard lock(state_->mutex);
    state_->ready.push_back(std::move(job));
  }
  state_->wake.notify_one();
}

TimerHandle RunLoop::postAfter(Duration delay, Job job) {
  auto handle = TimerHandle::make();
  {
    std::lock_guard lock(state_->mutex);
    state_->timers.add(now() + delay, handle, handle.guard(std::move(job)));
  }
  state_->wake.notify_one();
  return handle;
}

Instant RunLoop::now() const {
  return MonotonicClock::read();
}

bool RunLoop::runUntil(const std::function<bool()>& done, Duration timeout) {
  ScopedCurrent scope(this);
  Instant deadline = now() + timeout;
  while (!done()) {
    Job job;
    std::vector<Job> garbage;
    {
      std::unique_lock lock(state_->mutex);
      for (;;) {
        for (auto& due : state_->timers.takeDue(now())) state_->ready.push_back(std::move(due));
        if (!state_->ready.empty()) break;
        Instant current = now();
        if (current >= deadline) {
          lock.unlock();
          return done();
        }
        Instant wakeAt = deadline;
        if (auto next = state_->timers.nextDue(); next && *next < wakeAt) wakeAt = *next;
        state_->wake.wait_for(lock, std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                        wakeAt - current));
      }
      job = std::move(state_->ready.front());
      state_->ready.pop_front();
      garbage = state_->timers.takeGarbage();
    }
    garbage.clear();
    job();
  }
  return true;
}

}  // namespace trelvis
