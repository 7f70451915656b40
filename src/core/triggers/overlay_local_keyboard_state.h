#pragma once

// OverlayLocalKeyboardState: the one key whose press the card's own in-process
// keyboard monitor consumed and whose release it must consume too, so that the
// application behind sees neither half (the single-key counterpart of the overlay
// keyboard tap's pending key-ups). A plain value owned by the overlay panel
// controller on the main thread.

#include <cstdint>
#include <optional>

namespace trelvis {

struct OverlayLocalKeyboardState {
  std::optional<uint16_t> pendingKeyUpCode;

  // The card consumed the press of `keyCode`.
  void recordConsumedKeyDown(uint16_t keyCode) { pendingKeyUpCode = keyCode; }
  // Whether an auto-repeat of `keyCode` belongs to the consumed press.
  bool consumesRepeat(uint16_t keyCode) const { return pendingKeyUpCode == keyCode; }
  // Whether the release of `keyCode` ends the consumed press; if so it is forgotten.
  bool consumeKeyUp(uint16_t keyCode) {
    if (pendingKeyUpCode != keyCode) return false;
    pendingKeyUpCode.reset();
    return true;
  }
  void clear() { pendingKeyUpCode.reset(); }

  friend bool operator==(const OverlayLocalKeyboardState&,
                         const OverlayLocalKeyboardState&) = default;
};

}  // namespace trelvis
