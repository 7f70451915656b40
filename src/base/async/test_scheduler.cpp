#include "base/async/test_scheduler.h"

#include <deque>
#include <iterator>
#include <mutex>
#include <utility>

#include "base/async/timer_queue.h"
#include "base/check.h"

namespace trelvis {

struct TestScheduler::Core {
  struct ReadyJob {
    std::shared_ptr<Executor> executor;
    Job job;
  };

  mutable std::mutex mutex;
  Instant now;
  std::deque<ReadyJob> ready;
  detail::TimerQueue timers;
  bool running = false;
  bool closed = false;  // the scheduler is gone: posts are dropped
};

class TestScheduler::TestExecutor final : public Executor,
                                          public std::enable_shared_from_this<TestExecutor> {
 public:
  explicit TestExecutor(std::shared_ptr<Core> core) : core_(std::move(core)) {}

  void post(Job job) override {
    std::lock_guard lock(core_->mutex);
    if (core_->closed) return;  // `job` is destroyed after the lock
    core_->ready.push_back({shared_from_this(), std::move(job)});
  }

  TimerHandle postAfter(Duration delay, Job job) override {
    auto handle = TimerHandle::make();
    std::lock_guard lock(core_->mutex);
    if (core_->closed) return handle;
    core_->timers.add(core_->now + delay, handle,
                      [self = shared_from_this(), job = handle.guard(std::move(job))]() mutable {
                        self->post(std::move(job));
                      });
    return handle;
  }

  Instant now() const override {
    std::lock_guard lock(core_->mutex);
    return core_->now;
  }

  void run(Job& job) {
    ScopedCurrent scope(this);
    job();
  }

 private:
  std::shared_ptr<Core> core_;
};

TestScheduler::TestScheduler() : core_(std::make_shared<Core>()) {}

TestScheduler::~TestScheduler() {
  // Dropping a task's resumption destroys the task's frame, which may post more;
  // such posts are dropped at once.
  std::deque<Core::ReadyJob> ready;
  std::vector<Job> timers;
  {
    std::lock_guard lock(core_->mutex);
    core_->closed = true;
    ready.swap(core_->ready);
    timers = core_->timers.takeAll();
    auto garbage = core_->timers.takeGarbage();
    std::move(garbage.begin(), garbage.end(), std::back_inserter(timers));
  }
}

std::shared_ptr<Executor> TestScheduler::makeExecutor() {
  return std::make_shared<TestExecutor>(core_);
}

Instant TestScheduler::now() const {
  std::lock_guard lock(core_->mutex);
  return core_->now;
}

void TestScheduler::runUntilIdle() {
  TRELVIS_DCHECK(!core_->running, "runUntilIdle is not called from a job");
  core_->running = true;
  for (;;) {
    std::vector<Job> garbage;
    std::vector<Job> due;
    Core::ReadyJob next;
    {
      std::lock_guard lock(core_->mutex);
      due = core_->timers.takeDue(core_->now);
      garbage = core_->timers.takeGarbage();
      if (due.empty()) {
        if (core_->ready.empty()) break;
        next = std::move(core_->ready.front());
        core_->ready.pop_front();
      }
    }
    // A due timer posts its job to its executor's queue, behind what is there.
    for (auto& job : due) job();
    if (next.job) static_cast<TestExecutor&>(*next.executor).run(next.job);
  }
  core_->running = false;
}

void TestScheduler::advanceBy(Duration duration) {
  TRELVIS_DCHECK(duration >= Duration::zero(), "time only moves forward");
  Instant target = now() + duration;
  for (;;) {
    runUntilIdle();
    std::lock_guard lock(core_->mutex);
    auto due = core_->timers.nextDue();
    if (!due || *due > target) {
      core_->now = target;
      break;
    }
    if (*due > core_->now) core_->now = *due;
  }
  runUntilIdle();
}

void TestScheduler::advanceUntilIdle(Duration limit) {
  Instant end = now() + limit;
  for (;;) {
    runUntilIdle();
    std::optional<Instant> due;
    {
      std::lock_guard lock(core_->mutex);
      due = core_->timers.nextDue();
    }
    if (!due || *due > end) return;
    advanceBy(*due - now());
  }
}

std::size_t TestScheduler::pendingCount() const {
  std::lock_guard lock(core_->mutex);
  return core_->ready.size() + core_->timers.activeCount();
}

}  // namespace trelvis
