#include "base/async/executor.h"

namespace trelvis {
namespace {
thread_local Executor* currentExecutor = nullptr;
}  // namespace

Executor* Executor::current() {
  return currentExecutor;
}

Executor::ScopedCurrent::ScopedCurrent(Executor* executor) : previous_(currentExecutor) {
  currentExecutor = executor;
}

Executor::ScopedCurrent::~ScopedCurrent() {
  currentExecutor = previous_;
}

}  // namespace trelvis
