#include "core/capture/region_selection_failsafe_timer.h"

#include <utility>

#include "base/check.h"

namespace trelvis {

RegionSelectionFailsafeTimer::RegionSelectionFailsafeTimer(std::shared_ptr<Executor> executor)
    : executor_(std::move(executor)) {}

RegionSelectionFailsafeTimer::~RegionSelectionFailsafeTimer() {
  invalidate();
}

void RegionSelectionFailsafeTimer::schedule(Duration interval, std::function<void()> action) {
  invalidate();
  timer_ = Repeating{interval, std::move(action), {}};
  postNext();
}

void RegionSelectionFailsafeTimer::invalidate() {
  if (!timer_) return;
  timer_->pending.cancel();
  timer_.reset();
}

void RegionSelectionFailsafeTimer::postNext() {
  // Invalidation cancels the posted job, so it never reaches a timer that was
  // invalidated or destroyed meanwhile.
  timer_->pending = executor_->postAfter(timer_->interval, [this] { fire(); });
}

void RegionSelectionFailsafeTimer::fire() {
  TRELVIS_DCHECK(executor_->isCurrent(), "the failsafe timer fires on the main executor");
  if (!timer_) return;
  // The next firing is posted before the action runs, so that the action can
  // invalidate the timer; a copy of the action survives its own replacement.
  postNext();
  const std::function<void()> action = timer_->action;
  action();
}

}  // namespace trelvis
