#pragma once

// ModifierTapRecognizer decides when a bound modifier key (or the Control+Option
// chord) has been tapped: pressed and released with nothing else happening in
// between, however long it was held. One per tap binding, fed every flags-changed
// event and told of interruptions (key presses, pointer buttons). A plain value
// with no clock and no allocation; the monitor that owns it guards it.

#include <cstdint>
#include <utility>

#include "core/triggers/shortcut_binding.h"

namespace trelvis {

class ModifierTapRecognizer {
 public:
  explicit ModifierTapRecognizer(ShortcutBinding binding) : binding(std::move(binding)) {}

  // For a binding of kind modifierTap; true when a tap has just been completed.
  bool handle(uint16_t keyCode, uint64_t modifierFlags);
  // For a binding of kind modifierChord; true when a chord tap has just been
  // completed (on the release of its last key).
  bool handleChord(uint16_t keyCode, uint64_t modifierFlags);

  // The press in progress, if any, can no longer become a tap.
  void cancelIfTracking() {
    if (isTrackingTap) isCancelled = true;
  }
  // Forgets the press in progress; keeps what is known of the paired key.
  void resetPress() {
    isTrackingTap = false;
    isCancelled = false;
    didReachModifierChord = false;
  }
  // Forgets everything, for when events may have been lost.
  void resetAll() {
    resetPress();
    isPairedModifierDown = false;
  }

  ShortcutBinding binding;
  // Between the press of the bound key (or the first chord key) and its release.
  bool isTrackingTap = false;
  // This press can no longer become a tap.
  bool isCancelled = false;
  // The other side of the bound modifier is held; only its own events and
  // resetAll() change this, since the two sides share one flag bit.
  bool isPairedModifierDown = false;
  // Chord only: Control and Option were down together during this press.
  bool didReachModifierChord = false;
};

}  // namespace trelvis
