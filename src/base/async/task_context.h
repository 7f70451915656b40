#pragma once

// TaskContext: what a running task and all its child coroutines share: the
// executor they resume on, the cancellation flag with its handlers, and the
// task's outermost coroutine frame. Cancellation is cooperative: cancel() sets
// the flag and runs the registered handlers (which wake sleeps, stream waits and
// the like); the code itself notices the flag at checkCancellation().
//
// A suspended task has exactly one pending resumption: a posted ResumeJob, a
// sleep's timer, a continuation, a stream wait or an awaited task. When the
// executor drops that resumption without running it (the executor has gone
// away), the task is abandoned: its frame and the frames of the children it was
// awaiting are destroyed, so their destructors and stream termination callbacks
// run, and tasks awaiting it raise BrokenContinuationError.

#include <atomic>
#include <condition_variable>
#include <coroutine>
#include <exception>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <utility>

#include "base/async/executor.h"
#include "base/async/job.h"

namespace trelvis {

// Raised by an operation that stops because its task was cancelled.
class CancellationError : public std::exception {
 public:
  const char* what() const noexcept override { return "CancellationError"; }
};

// Raised in a task whose resumption can no longer come: a continuation or every
// producer of a stream was dropped, or an awaited task's executor went away.
class BrokenContinuationError : public std::logic_error {
 public:
  BrokenContinuationError()
      : std::logic_error("a continuation was dropped without being resumed") {}
  explicit BrokenContinuationError(const char* what) : std::logic_error(what) {}
};

// A cancellation handler runs on whichever thread cancels, in the middle of
// that thread's work; an exception has nowhere sensible to go, so handlers are
// noexcept by type.
template <class H>
concept CancellationHandler = std::is_nothrow_invocable_v<H&>;

class CancellationRegistration;

class TaskContext : public std::enable_shared_from_this<TaskContext> {
 public:
  explicit TaskContext(std::shared_ptr<Executor> executor);
  virtual ~TaskContext();
  TaskContext(const TaskContext&) = delete;
  TaskContext& operator=(const TaskContext&) = delete;

  Executor& executor() const { return *executor_; }
  const std::shared_ptr<Executor>& sharedExecutor() const { return executor_; }

  bool isCancelled() const { return cancelled_.load(std::memory_order_acquire); }

  // Sets the flag and runs every registered handler once, on this thread and with
  // no lock of the runtime held. Idempotent; callable from any thread.
  void cancel();

  // Resumes `coroutine` by a ResumeJob posted to this context's executor.
  void resumeLater(std::coroutine_handle<> coroutine);

  // Resumes `coroutine` now, on this thread, with this context current. Only for
  // jobs that already run on this context's executor.
  void resumeNow(std::coroutine_handle<> coroutine);

  // The outermost coroutine of the task; it frees itself when it finishes and
  // calls rootFinished() first.
  void setRoot(std::coroutine_handle<> root) { root_.store(root.address()); }
  void rootFinished() { root_.store(nullptr); }

  // Destroys the root frame of a task whose pending resumption was dropped, then
  // lets the task finish as broken. Called on the thread that dropped it; when
  // that thread is running the task, the frame goes once it has suspended.
  void abandon();

  // The context of the task whose code runs on this thread, or null outside tasks.
  static TaskContext* current();

 protected:
  // The task was abandoned; its result and awaiters are the subclass's.
  virtual void onAbandoned() {}

 private:
  friend class CancellationRegistration;

  std::shared_ptr<Executor> executor_;
  std::atomic<bool> cancelled_{false};
  std::atomic<void*> root_{nullptr};
  bool abandonWhenSuspended_ = false;  // only touched by the thread running the task

  std::mutex mutex_;
  std::condition_variable handlerFinished_;
  CancellationRegistration* handlers_ = nullptr;  // intrusive list, guarded by mutex_
};

// The job that resumes a suspended coroutine of a task on its executor. Running
// it resumes the coroutine; destroying it without running abandons the task.
class ResumeJob {
 public:
  ResumeJob(std::shared_ptr<TaskContext> context, std::coroutine_handle<> coroutine)
      : context_(std::move(context)), coroutine_(coroutine) {}
  ResumeJob(ResumeJob&& other) noexcept = default;
  ResumeJob& operator=(ResumeJob&&) = delete;
  ~ResumeJob() {
    if (context_) context_->abandon();
  }

  void operator()() { std::exchange(context_, nullptr)->resumeNow(coroutine_); }

 private:
  std::shared_ptr<TaskContext> context_;
  std::coroutine_handle<> coroutine_;
};

// Keeps `handler` registered with a context for the registration's lifetime.
// The handler runs at most once: at construction when the context is already
// cancelled, otherwise when it is cancelled later. It never runs after the
// destructor has returned: the destructor waits for a handler that another
// thread is running at that moment.
class CancellationRegistration {
 public:
  template <CancellationHandler H>
  CancellationRegistration(TaskContext& context, H handler)
      : CancellationRegistration(context, Job(std::move(handler)), 0) {}
  ~CancellationRegistration();
  CancellationRegistration(const CancellationRegistration&) = delete;
  CancellationRegistration& operator=(const CancellationRegistration&) = delete;

 private:
  friend class TaskContext;
  enum class State { registered, running, finished };

  CancellationRegistration(TaskContext& context, Job handler, int);

  TaskContext& context_;
  Job handler_;  // wraps a noexcept callable
  State state_ = State::registered;
  std::thread::id runningOn_;
  CancellationRegistration* next_ = nullptr;
  CancellationRegistration* previous_ = nullptr;
};

// True when the current task has been cancelled; false outside tasks.
bool isCancelled();

// Raises CancellationError when the current task has been cancelled.
void checkCancellation();

}  // namespace trelvis
