#pragma once

// RegionSelectionFailsafeTimer: the repeating timer behind the region overlay's
// failsafe, on the main executor's clock (virtual time in tests). It keeps
// firing every interval until invalidated; the action may invalidate it, or
// schedule it anew, from inside. Main thread only; destroying it invalidates it.

#include <functional>
#include <memory>
#include <optional>

#include "base/async/executor.h"
#include "base/clock.h"

namespace trelvis {

class RegionSelectionFailsafeTimer {
 public:
  explicit RegionSelectionFailsafeTimer(std::shared_ptr<Executor> executor);
  ~RegionSelectionFailsafeTimer();
  RegionSelectionFailsafeTimer(const RegionSelectionFailsafeTimer&) = delete;
  RegionSelectionFailsafeTimer& operator=(const RegionSelectionFailsafeTimer&) = delete;

  // Runs `action` every `interval` from now on, replacing a timer that runs.
  void schedule(Duration interval, std::function<void()> action);
  void invalidate();
  bool isScheduled() const { return timer_.has_value(); }

 private:
  struct Repeating {
    Duration interval;
    std::function<void()> action;
    TimerHandle pending;
  };

  void postNext();
  void fire();

  std::shared_ptr<Executor> executor_;
  std::optional<Repeating> timer_;
};

}  // namespace trelvis
