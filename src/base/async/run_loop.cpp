#include "base/async/run_loop.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <vector>

#include "base/async/timer_queue.h"

namespace trelvis {

class RunLoop::LoopExecutor final : public Executor {
 public:
  void post(Job job) override {
    {
      std::lock_guard lock(mutex_);
      if (closed_) return;  // `job` is destroyed after the lock
      ready_.push_back(std::move(job));
    }
    wake_.notify_one();
  }

  TimerHandle postAfter(Duration delay, Job job) override {
    auto handle = TimerHandle::make();
    {
      std::lock_guard lock(mutex_);
      if (closed_) return handle;
      timers_.add(now() + delay, handle, handle.guard(std::move(job)));
    }
    wake_.notify_one();
    return handle;
  }

  Instant now() const override { return MonotonicClock::read(); }

  bool runUntil(const std::function<bool()>& done, Duration timeout) {
    ScopedCurrent scope(this);
    Instant deadline = now() + timeout;
    while (!done()) {
      Job job;
      std::vector<Job> garbage;
      {
        std::unique_lock lock(mutex_);
        for (;;) {
          for (auto& due : timers_.takeDue(now())) ready_.push_back(std::move(due));
          if (!ready_.empty()) break;
          Instant current = now();
          if (current >= deadline) {
            lock.unlock();
            return done();
          }
          Instant wakeAt = deadline;
          if (auto next = timers_.nextDue(); next && *next < wakeAt) wakeAt = *next;
          wake_.wait_for(lock, std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                   wakeAt - current));
        }
        job = std::move(ready_.front());
        ready_.pop_front();
        garbage = timers_.takeGarbage();
      }
      garbage.clear();
      job();
    }
    return true;
  }

  // Drops every job; what dropping them posts is dropped at once.
  void close() {
    std::deque<Job> ready;
    std::vector<Job> timers;
    {
      std::lock_guard lock(mutex_);
      closed_ = true;
      ready.swap(ready_);
      timers = timers_.takeAll();
      for (auto& job : timers_.takeGarbage()) timers.push_back(std::move(job));
    }
  }

 private:
  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<Job> ready_;
  detail::TimerQueue timers_;
  bool closed_ = false;
};

RunLoop::RunLoop() : executor_(std::make_shared<LoopExecutor>()), asExecutor_(executor_) {}

RunLoop::~RunLoop() {
  executor_->close();
}

const std::shared_ptr<Executor>& RunLoop::executor() const {
  return asExecutor_;
}

bool RunLoop::runUntil(const std::function<bool()>& done, Duration timeout) {
  return executor_->runUntil(done, timeout);
}

}  // namespace trelvis
