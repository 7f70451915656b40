#pragma once

// RegionSelectionDragRecognizer follows one region drag from the primary-button
// press to its release, and stamps it with the instant of the press. It has no
// threshold: a press while armed is a drag, and the region's size is judged when
// it ends. A plain value with no clock of its own and no allocation; the monitor
// that owns it guards it.

#include <optional>

#include "base/clock.h"
#include "base/geometry.h"
#include "core/triggers/region_selection_gesture_update.h"

namespace trelvis {

class RegionSelectionDragRecognizer {
 public:
  // began at `point`, unless a drag is open already: then none, and the open drag
  // keeps its start and instant.
  RegionSelectionGestureUpdate begin(Point point, Instant now) {
    if (start) return RegionSelectionGestureUpdate::none();
    start = point;
    triggeredAt = now;
    return RegionSelectionGestureUpdate::began({point, point, now});
  }
  RegionSelectionGestureUpdate update(Point point) const {
    if (!start) return RegionSelectionGestureUpdate::none();
    return RegionSelectionGestureUpdate::changed({*start, point, triggeredAt});
  }
  RegionSelectionGestureUpdate finish(Point point) {
    if (!start) return RegionSelectionGestureUpdate::none();
    const RegionSelectionGesture gesture{*start, point, triggeredAt};
    start.reset();
    return RegionSelectionGestureUpdate::completed(gesture);
  }
  // Drops the open drag; `triggeredAt` keeps its last value.
  void reset() { start.reset(); }

  // Present while a drag is open.
  std::optional<Point> start;
  Instant triggeredAt;
};

}  // namespace trelvis
