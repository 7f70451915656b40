#pragma once

// The bridge from callback APIs into tasks:
//
//   int n = co_await withContinuation<int>([&](Continuation<int> c) {
//     api.fetch([c](int result) { c.resume(result); });
//   });
//
// `start` runs while the task is suspended. The continuation is resumed exactly
// once, from any thread; the task then continues on its own executor. Resuming a
// second time is a programming error (debug builds stop). A continuation whose
// last copy is dropped without being resumed raises BrokenContinuationError in
// the task rather than leaving it suspended for ever.
//
// An error thrown by `start` becomes the task's error when `start` kept no copy
// of the continuation. Once a copy has been passed on, its holder owns the
// resumption: `start` must not throw after that (debug builds stop; otherwise
// the error is dropped and the holder's resume counts).

#include <atomic>
#include <coroutine>
#include <exception>
#include <memory>
#include <utility>

#include "base/async/result.h"
#include "base/async/task_context.h"
#include "base/check.h"

namespace trelvis {

namespace detail {

template <class T>
class ContinuationState {
 public:
  ContinuationState(TaskContext& context, std::coroutine_handle<> coroutine, Result<T>& slot)
      : context_(context.shared_from_this()), coroutine_(coroutine), slot_(slot) {}

  ~ContinuationState() {
    if (!resumed_.load(std::memory_order_acquire)) {
      slot_.setError(std::make_exception_ptr(BrokenContinuationError()));
      context_->resumeLater(coroutine_);
    }
  }

  // Claims the single resumption; false (and a debug stop) when it was taken.
  bool claim() {
    bool claimed = tryClaim();
    TRELVIS_DCHECK(claimed, "a continuation is resumed more than once");
    return claimed;
  }
  bool tryClaim() { return !resumed_.exchange(true, std::memory_order_acq_rel); }
  bool isClaimed() const { return resumed_.load(std::memory_order_acquire); }

  Result<T>& slot() { return slot_; }
  void resumeTask() { context_->resumeLater(coroutine_); }

 private:
  std::atomic<bool> resumed_{false};
  std::shared_ptr<TaskContext> context_;
  std::coroutine_handle<> coroutine_;
  Result<T>& slot_;  // lives in the suspended task's frame
};

}  // namespace detail

template <class T = void>
class Continuation {
 public:
  explicit Continuation(std::shared_ptr<detail::ContinuationState<T>> state)
      : state_(std::move(state)) {}

  template <class... Args>
  void resume(Args&&... args) const {
    if (!state_->claim()) return;
    state_->slot().setValue(std::forward<Args>(args)...);
    state_->resumeTask();
  }

  void resumeThrowing(std::exception_ptr error) const {
    if (!state_->claim()) return;
    state_->slot().setError(std::move(error));
    state_->resumeTask();
  }

  template <class E>
  void resumeThrowing(E error) const {
    resumeThrowing(std::make_exception_ptr(std::move(error)));
  }

 private:
  std::shared_ptr<detail::ContinuationState<T>> state_;
};

namespace detail {

template <class T, class F>
class ContinuationAwaiter {
 public:
  explicit ContinuationAwaiter(F start) : start_(std::move(start)) {}

  bool await_ready() const noexcept { return false; }

  void await_suspend(std::coroutine_handle<> coroutine) {
    auto* context = TaskContext::current();
    TRELVIS_DCHECK(context != nullptr, "withContinuation is awaited inside a task");
    auto state = std::make_shared<ContinuationState<T>>(*context, coroutine, result_);
    // The task resumes by a posted job, so a continuation resumed inside `start`
    // still resumes after this function has returned.
    try {
      start_(Continuation<T>(state));
    } catch (...) {
      if (state.use_count() > 1) {
        TRELVIS_DCHECK(state->isClaimed(),
                       "withContinuation's start threw after passing the continuation on");
        return;
      }
      // Nobody else can resume: the error of `start` becomes the result, unless it
      // resumed before throwing.
      if (state->tryClaim()) {
        result_.setError(std::current_exception());
        state->resumeTask();
      }
    }
  }

  T await_resume() { return result_.take(); }

 private:
  F start_;
  Result<T> result_;
};

}  // namespace detail

template <class T = void, class F>
detail::ContinuationAwaiter<T, F> withContinuation(F start) {
  return detail::ContinuationAwaiter<T, F>(std::move(start));
}

}  // namespace trelvis
