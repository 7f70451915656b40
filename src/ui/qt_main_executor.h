#pragma once

// QtMainExecutor: the executor of the UI thread. Its jobs run from the Qt event
// loop of the QCoreApplication's thread, one at a time in post order; delayed
// jobs run in order of due time, then post order, on the monotonic clock. The
// composition root binds every main-thread task (coordinators, models) to it.
// Posting is thread-safe.
//
// It lives as long as the application object: when that goes, or at
// shutdown(), pending jobs are dropped and later posts are dropped too, which
// destroys the tasks that were waiting on them.

#include <memory>

#include "base/async/executor.h"

namespace trelvis {

class QtMainExecutor final : public Executor, public std::enable_shared_from_this<QtMainExecutor> {
 public:
  // Needs a QCoreApplication; call on its thread.
  static std::shared_ptr<QtMainExecutor> create();
  ~QtMainExecutor() override;
  QtMainExecutor(const QtMainExecutor&) = delete;
  QtMainExecutor& operator=(const QtMainExecutor&) = delete;

  void post(Job job) override;
  TimerHandle postAfter(Duration delay, Job job) override;
  Instant now() const override;

  // Drops pending jobs and refuses later ones. Idempotent, any thread.
  void shutdown();

 private:
  class Receiver;
  friend class Receiver;
  QtMainExecutor() = default;

  struct State;

  void run(Job& job);
  // On the main thread: posts the due delayed jobs and sets the timer for the next.
  void postDueTimers();

  std::shared_ptr<State> state_;  // shared with the receiver, which may go first
};

}  // namespace trelvis
