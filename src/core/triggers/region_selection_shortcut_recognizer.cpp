#include "core/triggers/region_selection_shortcut_recognizer.h"

#include "core/triggers/modifier_keys.h"

namespace trelvis {

RegionSelectionGestureUpdate RegionSelectionShortcutRecognizer::handleModifierTap(
    uint16_t keyCode, uint64_t modifierFlags) {
  const std::optional<TapKey> bound = tapKey(binding.keyCode);
  if (!bound) return moveToIdle();
  const bool down = (modifierFlags & bound->flag) != 0;
  const uint64_t others = modifierFlags & (ModifierMasks::allModifiers ^ bound->flag);

  if (keyCode == bound->pairedKeyCode) {
    isPairedModifierDown = down;
    return moveToIdle();
  }
  switch (phase) {
    case Phase::pointerOwned:
      // Releasing the bound key does not end a running drag; adding a modifier does.
      return others != 0 ? moveToIdle() : RegionSelectionGestureUpdate::none();
    case Phase::armed:
      if (keyCode == bound->keyCode && down && others == 0) {
        return RegionSelectionGestureUpdate::none();
      }
      return moveToIdle();
    case Phase::idle:
      if (keyCode == bound->keyCode && down && !isPairedModifierDown && others == 0) {
        phase = Phase::armed;
        return RegionSelectionGestureUpdate::armed();
      }
      return RegionSelectionGestureUpdate::none();
  }
  return RegionSelectionGestureUpdate::none();
}

RegionSelectionGestureUpdate RegionSelectionShortcutRecognizer::handleModifierChord(
    uint16_t keyCode, uint64_t modifierFlags) {
  if (binding.modifiers != CarbonModifiers::chord) return moveToIdle();
  const bool chordKey = isTapKey(keyCode);
  const bool exact = (modifierFlags & ModifierMasks::allModifiers) == ModifierMasks::chord;
  switch (phase) {
    case Phase::idle:
      if (chordKey && exact) {
        phase = Phase::armed;
        return RegionSelectionGestureUpdate::armed();
      }
      return RegionSelectionGestureUpdate::none();
    case Phase::armed:
      // While armed the chord must stay whole.
      return chordKey && exact ? RegionSelectionGestureUpdate::none() : moveToIdle();
    case Phase::pointerOwned:
      // A running drag survives releasing either chord key, not a foreign modifier.
      if (chordKey && (modifierFlags & ModifierMasks::chordForeign) == 0) {
        return RegionSelectionGestureUpdate::none();
      }
      return moveToIdle();
  }
  return RegionSelectionGestureUpdate::none();
}

}  // namespace trelvis
