#pragma once

// awaitRefreshRound: how a caller of a store's refresh waits for the store's
// draining task. The round may be empty (no user) or abandoned by its executor;
// neither is the waiter's to handle. Include it in .cpp files only.

#include <exception>
#include <utility>

#include "base/async/task.h"

namespace trelvis {

inline Async<void> awaitRefreshRound(Task<void> round) {
  if (!round) co_return;
  try {
    co_await round;
  } catch (const std::exception&) {
  }
}

}  // namespace trelvis
