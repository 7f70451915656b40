#pragma once

// RunLoop: a serial executor whose jobs run on the thread that calls runUntil().
// It stands in for the UI thread where there is no UI event loop: in tests that
// use real threads, and in command-line programs. Posting is thread-safe.

#include <functional>
#include <memory>

#include "base/async/executor.h"

namespace trelvis {

class RunLoop final : public Executor, public std::enable_shared_from_this<RunLoop> {
 public:
  static std::shared_ptr<RunLoop> make();
  ~RunLoop() override;

  void post(Job job) override;
  TimerHandle postAfter(Duration delay, Job job) override;
  Instant now() const override;

  // Runs jobs on this thread until `done()` holds (checked before waiting and
  // after every job) or `timeout` of real time has passed. Returns done().
  bool runUntil(const std::function<bool()>& done, Duration timeout);

 private:
  RunLoop();
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace trelvis
