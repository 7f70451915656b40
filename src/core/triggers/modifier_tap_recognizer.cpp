#include "core/triggers/modifier_tap_recognizer.h"

#include "core/triggers/modifier_keys.h"

namespace trelvis {

bool ModifierTapRecognizer::handle(uint16_t keyCode, uint64_t modifierFlags) {
  const std::optional<TapKey> bound = tapKey(binding.keyCode);
  if (!bound) return false;
  const bool down = (modifierFlags & bound->flag) != 0;
  const uint64_t others = modifierFlags & (ModifierMasks::allModifiers ^ bound->flag);

  if (keyCode == bound->pairedKeyCode) {
    isPairedModifierDown = down;
    cancelIfTracking();
    return false;
  }
  if (keyCode != bound->keyCode) {
    // Another modifier moved during the hold: even if it is released again before
    // the bound key, the press was a combination, not a tap.
    cancelIfTracking();
    return false;
  }
  if (!isTrackingTap) {
    if (down) {
      isTrackingTap = true;
      isCancelled = isPairedModifierDown || others != 0;
    }
    return false;
  }
  if (down) {
    if (others != 0) isCancelled = true;
    return false;
  }
  // The release.
  const bool tapped = !isCancelled && !isPairedModifierDown && others == 0;
  resetPress();
  return tapped;
}

bool ModifierTapRecognizer::handleChord(uint16_t keyCode, uint64_t modifierFlags) {
  if (binding.modifiers != CarbonModifiers::chord || !isTapKey(keyCode)) {
    cancelIfTracking();
    return false;
  }
  const bool anyChordKeyDown = (modifierFlags & ModifierMasks::chord) != 0;
  if (!isTrackingTap) {
    if (!anyChordKeyDown) return false;
    isTrackingTap = true;
  }
  if (modifierFlags & ModifierMasks::chordForeign) isCancelled = true;
  if ((modifierFlags & ModifierMasks::chord) == ModifierMasks::chord) didReachModifierChord = true;
  if (anyChordKeyDown) return false;
  // Every chord key is up.
  const bool tapped = didReachModifierChord && !isCancelled;
  resetPress();
  return tapped;
}

}  // namespace trelvis
