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

  // `job` is guarded by `handle` by the caller, where it runs.
  void enqueueAt(Instant due, TimerHandle handle, Job job) {
    {
      std::lock_guard lock(mutex);
      if (stopping) return;
      timers.add(due, std::move(handle), std::move(job));
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
    // Dropping jobs closes their sequences, which drops the tasks waiting there;
    // whatever that posts is dropped at once, since the pool is stopping.
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
// Its delayed jobs wait in its own timer queue, and a pool timer moves those that
// are due into the sequence under its lock, so they enter it in due order even
// when several workers fire pool timers at once. When the pool drops one of its
// jobs unrun (the pool is stopping), the sequence closes and drops the rest.
class ThreadPool::SequencedExecutor final : public Executor,
                                            public std::enable_shared_from_this<SequencedExecutor> {
 public:
  explicit SequencedExecutor(std::shared_ptr<Core> core) : core_(std::move(core)) {}

  void post(Job job) override {
    {
      std::lock_guard lock(mutex_);
      // While a job runs, even a closed sequence queues: the running job may
      // belong to the task that the dropped one would abandon.
      if (closed_ && !running_) return;  // `job` is destroyed after the lock
      queue_.push_back(std::move(job));
      if (scheduled_ || closed_) return;
      scheduled_ = true;
    }
    core_->enqueue(PoolJob{shared_from_this(), &SequencedExecutor::runOne});
  }

  TimerHandle postAfter(Duration delay, Job job) override {
    auto handle = TimerHandle::make();
    Instant due = now() + delay;
    {
      std::lock_guard lock(mutex_);
      if (closed_ && !running_) return handle;
      timers_.add(due, handle, handle.guard(std::move(job)));
      if (closed_) return handle;
    }
    core_->enqueueAt(due, TimerHandle(),
                     PoolJob{shared_from_this(), &SequencedExecutor::moveDueTimers});
    return handle;
  }

  Instant now() const override { return MonotonicClock::read(); }

 private:
  // A job of this sequence in the pool: runs `step`, or closes the sequence when
  // dropped unrun.
  struct PoolJob {
    std::shared_ptr<SequencedExecutor> self;
    void (SequencedExecutor::*step)();

    PoolJob(std::shared_ptr<SequencedExecutor> s, void (SequencedExecutor::*f)())
        : self(std::move(s)), step(f) {}
    PoolJob(PoolJob&&) noexcept = default;
    PoolJob& operator=(PoolJob&&) = delete;
    ~PoolJob() {
      if (self) self->close();
    }
    void operator()() { (std::exchange(self, nullptr).get()->*step)(); }
  };

  void runOne() {
    Job job;
    {
      std::lock_guard lock(mutex_);
      job = std::move(queue_.front());
      queue_.pop_front();
      running_ = true;
    }
    {
      ScopedCurrent scope(this);
      job();
      job = Job();
    }
    std::vector<Job> dropped;  // destroyed outside the lock
    {
      std::lock_guard lock(mutex_);
      running_ = false;
      if (closed_ || queue_.empty()) {
        scheduled_ = false;
        if (closed_) dropped = takeAllLocked();
        return;
      }
    }
    // Back of the pool's queue, so that other sequences get their turn.
    core_->enqueue(PoolJob{shared_from_this(), &SequencedExecutor::runOne});
  }

  void moveDueTimers() {
    std::vector<Job> garbage;
    bool schedule = false;
    {
      std::lock_guard lock(mutex_);
      if (closed_) return;
      for (auto& job : timers_.takeDue(now())) queue_.push_back(std::move(job));
      garbage = timers_.takeGarbage();
      if (!queue_.empty() && !scheduled_) schedule = scheduled_ = true;
    }
    garbage.clear();
    if (schedule) core_->enqueue(PoolJob{shared_from_this(), &SequencedExecutor::runOne});
  }

  void close() {
    std::vector<Job> dropped;
    {
      std::lock_guard lock(mutex_);
      closed_ = true;
      if (running_) return;  // runOne drops everything when its job returns
      dropped = takeAllLocked();
    }
  }

  // Every waiting job, for destruction outside the lock.
  std::vector<Job> takeAllLocked() {
    auto all = timers_.takeAll();
    for (auto& job : timers_.takeGarbage()) all.push_back(std::move(job));
    for (auto& job : queue_) all.push_back(std::move(job));
    queue_.clear();
    return all;
  }

  std::shared_ptr<Core> core_;
  std::mutex mutex_;
  std::deque<Job> queue_;
  detail::TimerQueue timers_;
  bool scheduled_ = false;
  bool running_ = false;
  bool closed_ = false;
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
    core_->enqueueAt(now() + delay, handle,
                     [this, job = handle.guard(std::move(job))]() mutable {
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
