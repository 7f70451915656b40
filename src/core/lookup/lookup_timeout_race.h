#pragma once

// LookupTimeoutRace: a one-shot race between an operation and a timer. The
// operation and the timer run as two tasks on the current task's executor; the
// first to finish decides the result and the other is cancelled. The timer
// raises LookupTransportError::timeout(phase). Cancelling the awaiting task ends
// the race at once with CancellationError.
//
// The operation keeps running until its own next cancellation check after it
// has lost, so it must own what it uses: capture by value, never by reference.

#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "base/async/cancellation.h"
#include "base/async/continuation.h"
#include "base/async/sleep.h"
#include "base/async/task.h"
#include "core/lookup/lookup_error.h"

namespace trelvis {

template <class T>
class LookupTimeoutRace : public std::enable_shared_from_this<LookupTimeoutRace<T>> {
 public:
  template <class Operation>
  static Async<T> run(Duration limit, LookupTimeoutPhase phase, Operation operation) {
    auto race = std::make_shared<LookupTimeoutRace>();
    co_return co_await withCancellationHandler(
        [race, limit, phase, operation = std::move(operation)]() mutable -> Async<T> {
          co_return co_await withContinuation<T>([&](Continuation<T> continuation) {
            race->start(std::move(continuation), limit, phase, std::move(operation));
          });
        },
        [race]() noexcept { race->complete(std::make_exception_ptr(CancellationError())); });
  }

 private:
  using Outcome = std::variant<T, std::exception_ptr>;

  template <class Operation>
  void start(Continuation<T> continuation, Duration limit, LookupTimeoutPhase phase,
             Operation operation) {
    {
      std::lock_guard lock(mutex_);
      if (finished_) {
        continuation.resumeThrowing(CancellationError());
        return;
      }
      continuation_ = std::move(continuation);
    }
    auto executor = TaskContext::current()->sharedExecutor();
    std::weak_ptr<LookupTimeoutRace> weak = this->shared_from_this();
    auto worker = spawn(executor, [weak, operation = std::move(operation)]() -> Async<void> {
      std::optional<Outcome> outcome;
      try {
        outcome.emplace(std::in_place_index<0>, co_await operation());
      } catch (...) {
        outcome.emplace(std::in_place_index<1>, std::current_exception());
      }
      if (auto race = weak.lock()) race->complete(std::move(*outcome));
    });
    auto timer = spawn(executor, [weak, limit, phase]() -> Async<void> {
      co_await sleepFor(limit);
      if (auto race = weak.lock()) {
        race->complete(std::make_exception_ptr(LookupTransportError::timeout(phase)));
      }
    });
    {
      std::lock_guard lock(mutex_);
      if (!finished_) {
        worker_ = worker;
        timer_ = timer;
        return;
      }
    }
    worker.cancel();
    timer.cancel();
  }

  void complete(Outcome outcome) {
    std::optional<Continuation<T>> continuation;
    Task<void> worker, timer;
    {
      std::lock_guard lock(mutex_);
      if (finished_) return;
      finished_ = true;
      continuation.swap(continuation_);
      worker = std::exchange(worker_, {});
      timer = std::exchange(timer_, {});
    }
    if (continuation) {
      if (outcome.index() == 0) {
        continuation->resume(std::move(std::get<0>(outcome)));
      } else {
        continuation->resumeThrowing(std::get<1>(outcome));
      }
    }
    worker.cancel();
    timer.cancel();
  }

  std::mutex mutex_;
  std::optional<Continuation<T>> continuation_;
  bool finished_ = false;
  Task<void> worker_;
  Task<void> timer_;
};

}  // namespace trelvis
