#pragma once

// RegionSelectionPhysicalStateSource: what the keyboard and the mouse hold down
// right now, as the hardware has it rather than as events told it. The region
// overlay's failsafe reads it to notice a gesture whose end was lost. A plain
// value of two closures, asked on the main thread; the X11 layer supplies them.

#include <cstdint>
#include <functional>

#include "core/triggers/shortcut_binding.h"

namespace trelvis {

struct RegionSelectionPhysicalStateSource {
  // Bit 0 is the primary button.
  std::function<int()> pressedMouseButtons;
  // Whether the key with this virtual key code is down.
  std::function<bool(uint16_t keyCode)> keyState;

  // Whether the keys of `binding` are still held. A binding whose keys cannot be
  // read this way (a key combination, an unknown modifier) counts as held, so
  // that it never cancels a selection.
  bool isTriggerGesturePressed(const ShortcutBinding& binding) const;
};

}  // namespace trelvis
