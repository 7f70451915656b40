#pragma once

// withCancellationHandler(operation, onCancel): runs `operation` (an Async, or a
// callable returning one) in the current task, with `onCancel` registered for
// the time it runs. `onCancel` runs at most once: immediately when the task is
// already cancelled, otherwise when it is cancelled while the operation runs; never
// after the operation has finished, and never under a lock of the runtime, so it
// may cancel other tasks or resume continuations. It runs on the cancelling thread
// and must be noexcept: there is nobody on that thread to take its error.
//
//   co_await withCancellationHandler(
//       [&]() -> Async<void> { co_await race.wait(); },
//       [race]() noexcept { race.cancel(); });

#include <concepts>
#include <type_traits>
#include <utility>

#include "base/async/async.h"
#include "base/async/task_context.h"
#include "base/check.h"

namespace trelvis {
namespace detail {

template <class T, CancellationHandler H>
Async<T> runWithCancellationHandler(Async<T> operation, H onCancel) {
  auto* context = TaskContext::current();
  TRELVIS_DCHECK(context != nullptr, "withCancellationHandler runs inside a task");
  CancellationRegistration registration(*context, std::move(onCancel));
  co_return co_await std::move(operation);
}

template <class F, CancellationHandler H>
Async<typename std::invoke_result_t<F&>::value_type> callWithCancellationHandler(F operation,
                                                                                 H onCancel) {
  co_return co_await runWithCancellationHandler(operation(), std::move(onCancel));
}

}  // namespace detail

template <class T, CancellationHandler H>
Async<T> withCancellationHandler(Async<T> operation, H onCancel) {
  return detail::runWithCancellationHandler(std::move(operation), std::move(onCancel));
}

template <class F, CancellationHandler H>
requires std::invocable<F&>
auto withCancellationHandler(F operation, H onCancel) {
  return detail::callWithCancellationHandler(std::move(operation), std::move(onCancel));
}

}  // namespace trelvis
