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
    auto self = context->shared_from_this();
    // The timer runs on the task's executor, so it resumes in place.
    shared->timer = context->executor().postAfter(duration_, [self, shared, coroutine] {
      if (!shared->claimed.exchange(true)) self->resumeNow(coroutine);
    });
    registration_.emplace(*context, [self, shared, coroutine] {
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

  Duration duration_;
  std::shared_ptr<Shared> shared_;
  std::optional<CancellationRegistration> registration_;
};

}  // namespace detail

inline detail::SleepAwaiter sleepFor(Duration duration) {
  return detail::SleepAwaiter(duration);
}

}  // namespace trelvis
