#pragma once

// TaskContext: what a running task and all its child coroutines share: the
// executor they resume on and the cancellation flag with its handlers.
// Cancellation is cooperative: cancel() sets the flag and runs the registered
// handlers (which wake sleeps, stream waits and the like); the code itself
// notices the flag at checkCancellation().

#include <condition_variable>
#include <coroutine>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>

#include "base/async/executor.h"
#include "base/async/job.h"

namespace trelvis {

// Raised by an operation that stops because its task was cancelled.
class CancellationError : public std::exception {
 public:
  const char* what() const noexcept override { return "CancellationError"; }
};

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

  // Resumes `coroutine` by a job posted to this context's executor.
  void resumeLater(std::coroutine_handle<> coroutine);

  // Resumes `coroutine` now, on this thread, with this context current. Only for
  // jobs that already run on this context's executor.
  void resumeNow(std::coroutine_handle<> coroutine);

  // The context of the task whose code runs on this thread, or null outside tasks.
  static TaskContext* current();

 private:
  friend class CancellationRegistration;

  std::shared_ptr<Executor> executor_;
  std::atomic<bool> cancelled_{false};

  std::mutex mutex_;
  std::condition_variable handlerFinished_;
  CancellationRegistration* handlers_ = nullptr;  // intrusive list, guarded by mutex_
};

// Keeps `handler` registered with a context for the registration's lifetime.
// The handler runs at most once: at construction when the context is already
// cancelled, otherwise when it is cancelled later. It never runs after the
// destructor has returned: the destructor waits for a handler that another
// thread is running at that moment.
class CancellationRegistration {
 public:
  CancellationRegistration(TaskContext& context, Job handler);
  ~CancellationRegistration();
  CancellationRegistration(const CancellationRegistration&) = delete;
  CancellationRegistration& operator=(const CancellationRegistration&) = delete;

 private:
  friend class TaskContext;
  enum class State { registered, running, finished };

  TaskContext& context_;
  Job handler_;
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
