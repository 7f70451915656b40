#pragma once

// SelectCopyTriggerSnapshot: what the select coordinator notes the moment its
// shortcut fires, before anything is copied: the request's generation, the
// process that is to receive the copy, and where the pointer was, on which
// screen. The copy transaction works from it, and the card is placed by it.

#include <cstdint>

#include "base/clock.h"
#include "base/geometry.h"

namespace trelvis {

struct SelectCopyTriggerSnapshot {
  uint64_t generation = 0;
  int32_t targetPID = 0;
  // Global points with a bottom-left origin.
  Point mouseLocation;
  // The screen under the pointer, and the part of it that the desktop leaves free.
  Rect screenFrame;
  Rect visibleFrame;
  // On the continuous clock.
  Instant triggeredAt;
  friend bool operator==(const SelectCopyTriggerSnapshot&,
                         const SelectCopyTriggerSnapshot&) = default;
};

}  // namespace trelvis
