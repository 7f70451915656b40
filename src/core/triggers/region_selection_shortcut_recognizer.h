#pragma once

// RegionSelectionShortcutRecognizer decides when the region shortcut (a held
// modifier, or the held Control+Option chord) is armed, so that a primary-button
// press starts a region drag, and when an armed or running selection must be
// cancelled because the modifiers changed. One per monitor, fed every
// flags-changed event; the monitor moves the phase on pointer events. A plain
// value with no clock and no allocation.

#include <cstdint>
#include <utility>

#include "core/triggers/region_selection_gesture_update.h"
#include "core/triggers/shortcut_binding.h"

namespace trelvis {

class RegionSelectionShortcutRecognizer {
 public:
  enum class Phase : uint8_t {
    idle,
    armed,         // the shortcut is held; a primary-button press starts a drag
    pointerOwned,  // a drag runs; it ends with the button, not with the modifier
  };

  explicit RegionSelectionShortcutRecognizer(ShortcutBinding binding)
      : binding(std::move(binding)) {}

  // For a binding of kind modifierTap.
  RegionSelectionGestureUpdate handleModifierTap(uint16_t keyCode, uint64_t modifierFlags);
  // For a binding of kind modifierChord.
  RegionSelectionGestureUpdate handleModifierChord(uint16_t keyCode, uint64_t modifierFlags);
  // Back to idle: cancelled unless it was idle already.
  RegionSelectionGestureUpdate cancel() { return moveToIdle(); }

  ShortcutBinding binding;
  Phase phase = Phase::idle;
  // The other side of the bound modifier is held (see ModifierTapRecognizer).
  bool isPairedModifierDown = false;

 private:
  RegionSelectionGestureUpdate moveToIdle() {
    const bool wasIdle = phase == Phase::idle;
    phase = Phase::idle;
    return wasIdle ? RegionSelectionGestureUpdate::none()
                   : RegionSelectionGestureUpdate::cancelled();
  }
};

}  // namespace trelvis
