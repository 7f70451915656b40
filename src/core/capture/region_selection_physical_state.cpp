#include "core/capture/region_selection_physical_state.h"

#include "core/triggers/input_events.h"
#include "core/triggers/modifier_keys.h"

namespace trelvis {

bool RegionSelectionPhysicalStateSource::isTriggerGesturePressed(
    const ShortcutBinding& binding) const {
  switch (binding.kind) {
    case ShortcutBindingKind::modifierTap:
      return isTapKey(binding.keyCode) ? keyState(binding.keyCode) : true;
    case ShortcutBindingKind::modifierChord:
      if (binding.modifiers != CarbonModifiers::chord) return true;
      return (keyState(KeyCodes::leftOption) || keyState(KeyCodes::rightOption)) &&
             (keyState(KeyCodes::leftControl) || keyState(KeyCodes::rightControl));
    case ShortcutBindingKind::keyCombo:
      return true;
  }
  return true;
}

}  // namespace trelvis
