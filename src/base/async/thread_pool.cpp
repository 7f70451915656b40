#include "base/async/thread_pool.h"

#include <pthread.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "base/async/timer_queue.h"

namespace trelvis {

struct ThreadPool::Core {
  std::mutex mutex;
  std::condition_variable wake;
  std::deque<Job> ready;
  detail::TimerQueue timers;
  bool stopping = false;
  std::vector<std::thread> threads;

  // Drops the job once the pool is stopping.
  void enqueue(Job job) {
    {
      std::lock_guard lock(mutex);
      if (stopping) return;  // `job` is destroyed after the lock is released
      ready.push_back(std::move(job));
    }
    wake.notify_one();
  }

  // `job` is guarded by the returned handle by the caller, where it runs.
  void enqueueAfter(Duration delay, TimerHandle handle, Job job) {
    {
      std::lock_guard lock(mutex);
      if (stopping) return;
      timers.add(MonotonicClock::read() + delay, std::move(handle), std::move(job));
    }
    // A sleeping worker may be waiting for a later due time.
    wake.notify_one();
  }

  void work() {
    std::unique_lock lock(mutex);
    while (!stopping) {
      auto due = timers.takeDue(MonotonicClock::read());
      for (auto& job : due) ready.push_back(std::move(job));
      if (!ready.empty()) {
        Job job = std::move(ready.front());
        ready.pop_front();
        auto garbage = timers.takeGarbage();
        lock.unlock();
        garbage.clear();
        job();
        job = Job();
        lock.lock();
        continue;
      }
      if (auto next = timers.nextDue()) {
        auto garbage = timers.takeGarbage();
        if (!garbage.empty()) {
          lock.unlock();
          garbage.clear();
          lock.lock();
          continue;
        }
        auto wait = std::chrono::duration_cast<std::chrono::steady_clock::duration>(
            *next - MonotonicClock::read());
        wake.wait_for(lock, wait);
      } else {
        wake.wait(lock);
      }
    }
  }

  void stop() {
    {
      std::lock_guard lock(mutex);
      stopping = true;
    }
    wake.notify_all();
    for (auto& t : threads) t.join();
    std::deque<Job> droppedReady;
    std::vector<Job> droppedTimers;
    {
      std::lock_guard lock(mutex);
      droppedReady.swap(ready);
      droppedTimers = timers.takeAll();
    }
  }
};

// Runs its jobs one at a time by keeping at most one "drain" job in the pool.
class ThreadPool::SequencedExecutor final : public Executor,
                                            public std::enable_shared_from_this<SequencedExecutor> {
 public:
  explicit SequencedExecutor(std::shared_ptr<Core> core) : core_(std::move(core)) {}

  void post(Job job) override {
    {
      std::lock_guard lock(mutex_);
      queue_.push_back(std::move(job));
      if (scheduled_) return;
      scheduled_ = true;
    }
    core_->enqueue([self = shared_from_this()] { self->runOne(); });
  }

  TimerHandle postAfter(Duration delay, Job job) override {
    auto handle = TimerHandle::make();
    core_->enqueueAfter(delay, handle,
                        [weak = weak_from_this(), job = handle.guard(std::move(job))]() mutable {
                          if (auto self = weak.lock()) self->post(std::move(job));
                        });
    return handle;
  }

  Instant now() const override { return MonotonicClock::read(); }

 private:
  void runOne() {
    Job job;
    {
      std::lock_guard lock(mutex_);
      job = std::move(queue_.front());
      queue_.pop_front();
    }
    {
      ScopedCurrent scope(this);
      job();
      job = Job();
    }
    {
      std::lock_guard lock(mutex_);
      if (queue_.empty()) {
        scheduled_ = false;
        return;
      }
    }
    // Back of the pool's queue, so that other sequences get their turn.
    core_->enqueue([self = shared_from_this()] { self->runOne(); });
  }

  std::shared_ptr<Core> core_;
  std::mutex mutex_;
  std::deque<Job> queue_;
  bool scheduled_ = false;
};

class ThreadPool::ParallelExecutor final : public Executor {
 public:
  explicit ParallelExecutor(std::shared_ptr<Core> core) : core_(std::move(core)) {}

  void post(Job job) override {
    core_->enqueue([this, job = std::move(job)]() mutable {
      ScopedCurrent scope(this);
      job();
    });
  }

  TimerHandle postAfter(Duration delay, Job job) override {
    auto handle = TimerHandle::make();
    core_->enqueueAfter(delay, handle, [this, job = handle.guard(std::move(job))]() mutable {
      ScopedCurrent scope(this);
      job();
    });
    return handle;
  }

  Instant now() const override { return MonotonicClock::read(); }

 private:
  std::shared_ptr<Core> core_;
};

ThreadPool::ThreadPool(std::string name, int threadCount) : core_(std::make_shared<Core>()) {
  parallel_ = std::make_shared<ParallelExecutor>(core_);
  for (int i = 0; i < threadCount; ++i) {
    core_->threads.emplace_back([core = core_.get(), threadName = name + std::to_string(i)] {
      pthread_setname_np(pthread_self(), threadName.substr(0, 15).c_str());
      core->work();
    });
  }
}

ThreadPool::~ThreadPool() {
  core_->stop();
}

std::shared_ptr<Executor> ThreadPool::makeSequencedExecutor() {
  return std::make_shared<SequencedExecutor>(core_);
}

}  // namespace trelvis
