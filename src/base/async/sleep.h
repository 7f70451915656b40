#pragma once

// sleepFor(d): suspends the current task for `d` on its executor's clock. It ends
// at once with CancellationError when the task is cancelled, before or during the
// sleep.
//
//   co_await sleepFor(std::chrono::milliseconds(250));

#include <atomic>
#include <coroutine>
#include <memory>
#include <optional>

#include "base/async/executor.h"
#include "base/async/task_context.h"
#include "base/check.h"
#include "base/clock.h"

namespace trelvis {
namespace detail {

class SleepAwaiter {
 public:
  explicit SleepAwaiter(Duration duration) : duration_(duration) {}

  bool await_ready() const {
    return TaskContext::current() && TaskContext::current()->isCancelled();
  }

  void await_suspend(std::coroutine_handle<> coroutine) {
    auto* context = TaskContext::current();
    TRELVIS_DCHECK(context != nullptr, "sleepFor is awaited inside a task");
    auto shared = std::make_shared<Shared>();
    shared_ = shared;
    // The timer runs on the task's executor, so it resumes in place.
    shared->timer = context->executor().postAfter(
        duration_, Wake{context->weak_from_this(), shared, coroutine});
    registration_.emplace(*context, [self = context->shared_from_this(), shared,
                                     coroutine]() noexcept {
      if (shared->claimed.exchange(true)) return;
      shared->cancelled = true;
      shared->timer.cancel();
      self->resumeLater(coroutine);
    });
  }

  void await_resume() {
    registration_.reset();
    if (!shared_ || shared_->cancelled) throw CancellationError();
  }

 private:
  struct Shared {
    std::atomic<bool> claimed{false};
    bool cancelled = false;  // written by the claimer before the resume is posted
    TimerHandle timer;
  };

  // The timer's job. It holds the task weakly, so that a cancelled long sleep
  // does not keep the task's state until the original due time; the suspended
  // frame keeps the context alive for as long as the wake can matter. Dropped
  // unrun and unclaimed, it was the task's last way to resume.
  struct Wake {
    std::weak_ptr<TaskContext> context;
    std::shared_ptr<Shared> shared;
    std::coroutine_handle<> coroutine;

    Wake(std::weak_ptr<TaskContext> c, std::shared_ptr<Shared> s, std::coroutine_handle<> h)
        : context(std::move(c)), shared(std::move(s)), coroutine(h) {}
    Wake(Wake&&) noexcept = default;
    Wake& operator=(Wake&&) = delete;
    ~Wake() {
      if (!shared || shared->claimed.exchange(true)) return;
      if (auto c = context.lock()) c->abandon();
    }
    void operator()() {
      auto claimed = std::exchange(shared, nullptr);
      if (claimed->claimed.exchange(true)) return;
      if (auto c = context.lock()) c->resumeNow(coroutine);
    }
  };

  Duration duration_;
  std::shared_ptr<Shared> shared_;
  std::optional<CancellationRegistration> registration_;
};

}  // namespace detail

inline detail::SleepAwaiter sleepFor(Duration duration) {
  return detail::SleepAwaiter(duration);
}

}  // namespace trelvis
