#include "core/triggers/region_selection_gesture_update.h"

#include <fmt/format.h>

#include <ostream>

namespace trelvis {

std::string_view toString(RegionSelectionGestureUpdate::Kind kind) {
  using Kind = RegionSelectionGestureUpdate::Kind;
  switch (kind) {
    case Kind::began:
      return "began";
    case Kind::changed:
      return "changed";
    case Kind::completed:
      return "completed";
    case Kind::none:
      return "none";
    case Kind::armed:
      return "armed";
    case Kind::cancelled:
      return "cancelled";
  }
  return "none";
}

std::string describe(const RegionSelectionGestureUpdate& update) {
  const RegionSelectionGesture* gesture = update.gesture();
  if (!gesture) return std::string(toString(update.kind()));
  return fmt::format("{}(({}, {}) -> ({}, {}) @ {}ns)", toString(update.kind()), gesture->start.x,
                     gesture->start.y, gesture->end.x, gesture->end.y,
                     gesture->triggeredAt.sinceOrigin().count());
}

std::ostream& operator<<(std::ostream& stream, const RegionSelectionGestureUpdate& update) {
  return stream << describe(update);
}

}  // namespace trelvis
