#pragma once

// Task<T>: a handle to a running coroutine bound to an executor.
//
// spawn(executor, body) starts the body by a job posted to `executor` (never
// inline: spawn returns before any of the body runs) and returns the handle.
// The handle can cancel() the task, be awaited for its value or error, or be
// dropped, which lets the task run on detached. After every suspension the
// task resumes on its own executor.
//
//   Task<int> t = spawn(mainExecutor, [weak = weak_from_this()]() -> Async<int> {
//     co_await sleepFor(std::chrono::seconds(1));
//     co_return 42;
//   });
//
// Awaiting or reading a handle (`co_await t`, `t.value()`) gives a const
// reference to the value, which the handle keeps alive; awaiting or reading a
// moved handle (`co_await std::move(t)`) moves the value out, for move-only
// values. The value is moved out at most once.

#include <coroutine>
#include <exception>
#include <memory>
#include <mutex>
#include <type_traits>
#include <utility>
#include <vector>

#include "base/async/async.h"
#include "base/async/result.h"
#include "base/async/task_context.h"

namespace trelvis {

template <class T>
class Task;

namespace detail {

template <class T>
class TaskState final : public TaskContext {
 public:
  using TaskContext::TaskContext;

  bool isDone() const {
    std::lock_guard lock(mutex_);
    return done_;
  }

  // Registers a coroutine of `context` to resume when the task finishes.
  // Returns false, registering nothing, when it has finished already.
  bool addAwaiter(TaskContext& context, std::coroutine_handle<> coroutine) {
    std::lock_guard lock(mutex_);
    if (done_) return false;
    awaiters_.push_back({context.shared_from_this(), coroutine});
    return true;
  }

  Result<T>& result() { return result_; }

  const Result<T>& finishedResult() const {
    TRELVIS_DCHECK(isDone(), "the task has not finished");
    TRELVIS_DCHECK(!taken_, "a task's value is read after it was moved out");
    return result_;
  }

  T takeResult() {
    TRELVIS_DCHECK(isDone(), "the task has not finished");
    TRELVIS_DCHECK(!std::exchange(taken_, true), "a task's value is moved out twice");
    return result_.take();
  }

  void complete() {
    std::vector<Awaiter> awaiters;
    {
      std::lock_guard lock(mutex_);
      done_ = true;
      awaiters.swap(awaiters_);
    }
    for (auto& a : awaiters) a.context->resumeLater(a.coroutine);
  }

 protected:
  void onAbandoned() override {
    result_.setError(std::make_exception_ptr(
        BrokenContinuationError("a task was dropped by its executor before it finished")));
    complete();
  }

 private:
  struct Awaiter {
    std::shared_ptr<TaskContext> context;
    std::coroutine_handle<> coroutine;
  };

  mutable std::mutex mutex_;
  bool done_ = false;
  std::vector<Awaiter> awaiters_;
  Result<T> result_;  // written by the task's coroutine before done_ is set
  bool taken_ = false;  // only touched by the one consumer that moves the value out
};

// The outermost coroutine of a task. It owns the body and frees its frame as soon
// as the body finishes, before awaiters hear of it.
template <class T>
struct RootCoroutine {
  struct promise_type : ReturnsValue<T, promise_type> {
    template <class... Args>
    promise_type(const std::shared_ptr<TaskState<T>>& state, Args&...) : state_(state) {}

    RootCoroutine get_return_object() {
      return {std::coroutine_handle<promise_type>::from_promise(*this)};
    }
    std::suspend_always initial_suspend() noexcept { return {}; }

    struct FinalAwaiter {
      bool await_ready() noexcept { return false; }
      void await_suspend(std::coroutine_handle<promise_type> h) noexcept {
        auto state = std::move(h.promise().state_);
        state->rootFinished();
        h.destroy();
        state->complete();
      }
      void await_resume() noexcept {}
    };
    FinalAwaiter final_suspend() noexcept { return {}; }

    void unhandled_exception() { state_->result().setError(std::current_exception()); }
    Result<T>& result() { return state_->result(); }

    std::shared_ptr<TaskState<T>> state_;
  };

  std::coroutine_handle<promise_type> coroutine;
};

template <class T>
RootCoroutine<T> runTask(std::shared_ptr<TaskState<T>> /*state*/, Async<T> body) {
  co_return co_await std::move(body);
}

// Moves `fn` into this coroutine's frame so that a lambda's captures outlive the
// lambda coroutine that refers to them.
template <class F>
auto invokeInFrame(F fn) -> Async<typename std::invoke_result_t<F&>::value_type> {
  co_return co_await fn();
}

template <class F>
using SpawnResult = typename std::invoke_result_t<F&>::value_type;

}  // namespace detail

template <class T = void>
class Task {
 public:
  Task() = default;

  explicit operator bool() const { return state_ != nullptr; }

  // Asks the task to stop. Idempotent; callable from any thread.
  void cancel() const {
    if (state_) state_->cancel();
  }
  bool isCancelled() const { return state_ && state_->isCancelled(); }
  bool isDone() const { return state_ && state_->isDone(); }

  // The value of a finished task, or its error raised.
  decltype(auto) value() const& { return state_->finishedResult().get(); }
  T value() && { return state_->takeResult(); }

  // Lets the task run on without this handle. Dropping the handle does the same.
  void detach() { state_.reset(); }

  // Awaiting a task waits for it to finish (it is not cancelled along with the
  // awaiting task) and gives its value or raises its error.
  auto operator co_await() const& {
    struct Awaiter : AwaiterBase {
      decltype(auto) await_resume() { return this->state->finishedResult().get(); }
    };
    TRELVIS_DCHECK(state_ != nullptr, "an empty task is awaited");
    return Awaiter{{state_}};
  }
  auto operator co_await() && {
    struct Awaiter : AwaiterBase {
      T await_resume() { return this->state->takeResult(); }
    };
    TRELVIS_DCHECK(state_ != nullptr, "an empty task is awaited");
    return Awaiter{{std::move(state_)}};
  }

  friend bool operator==(const Task& a, const Task& b) { return a.state_ == b.state_; }

 private:
  template <class U>
  friend Task<U> spawn(std::shared_ptr<Executor> executor, Async<U> body);

  explicit Task(std::shared_ptr<detail::TaskState<T>> state) : state_(std::move(state)) {}

  struct AwaiterBase {
    std::shared_ptr<detail::TaskState<T>> state;
    bool await_ready() const { return state->isDone(); }
    bool await_suspend(std::coroutine_handle<> coroutine) {
      auto* context = TaskContext::current();
      TRELVIS_DCHECK(context != nullptr, "a task is awaited from inside a task");
      return state->addAwaiter(*context, coroutine);
    }
  };

  std::shared_ptr<detail::TaskState<T>> state_;
};

// Starts `body` as a task on `executor`, by a posted job.
template <class T>
Task<T> spawn(std::shared_ptr<Executor> executor, Async<T> body) {
  auto state = std::make_shared<detail::TaskState<T>>(std::move(executor));
  auto root = detail::runTask<T>(state, std::move(body));
  state->setRoot(root.coroutine);
  state->resumeLater(root.coroutine);
  return Task<T>(std::move(state));
}

// Starts the coroutine lambda (or other callable returning Async) `fn` as a task
// on `executor`. `fn` is moved into the task, so its captures live as long as
// the body runs.
template <class F>
requires std::invocable<F&> Task<detail::SpawnResult<F>> spawn(std::shared_ptr<Executor> executor,
                                                               F fn) {
  return spawn(std::move(executor), detail::invokeInFrame(std::move(fn)));
}

}  // namespace trelvis
