#pragma once

// runOn(executor, fn): runs the coroutine lambda `fn` as a task on another
// executor and awaits it from the current task. Cancelling the current task
// cancels that task too. This is how an object that lives on its own serial
// executor (an API client) offers awaitable operations to callers elsewhere.

#include <memory>
#include <utility>

#include "base/async/cancellation.h"
#include "base/async/task.h"

namespace trelvis {

template <class F>
auto runOn(std::shared_ptr<Executor> executor, F fn) -> Async<detail::SpawnResult<F>> {
  auto task = spawn(std::move(executor), std::move(fn));
  co_return co_await withCancellationHandler(
      [task]() mutable -> Async<detail::SpawnResult<F>> { co_return co_await std::move(task); },
      [task]() noexcept { task.cancel(); });
}

}  // namespace trelvis
