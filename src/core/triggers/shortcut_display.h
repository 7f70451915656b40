#pragma once

// ShortcutDisplay: how a binding is named to the user: key labels of a US layout
// (whatever layout is active, so a label never changes under the user), modifier
// symbols, and the localized names of the modifier keys. Returns LocalizedText for
// the UI layer to render. Pure functions, usable from any thread.

#include <cstdint>

#include "core/triggers/localized_text.h"
#include "core/triggers/shortcut_binding.h"

namespace trelvis {

struct ShortcutDisplay {
  // "S", "F5", "←"; return, tab, space, delete, escape and forward delete by
  // localized key; any other code as "shortcut.key.code" with the code.
  static LocalizedText keyLabel(uint16_t keyCode);
  // "shortcut.leftOption", "shortcut.leftControl", "shortcut.rightOption",
  // "shortcut.rightControl", else "shortcut.unknown".
  static LocalizedText modifierTapLabel(uint16_t keyCode);
  // The same without the side: "shortcut.option" or "shortcut.control".
  static LocalizedText modifierTapShortLabel(uint16_t keyCode);
  // Control " + " Option for the chord, else "shortcut.unknown".
  static LocalizedText modifierChordAccessibilityLabel(uint32_t modifiers);
  // Symbols of the set modifiers in the fixed order ⌘ ⇧ ⌥ ⌃, then the key label.
  static LocalizedText keyComboLabel(uint16_t keyCode, uint32_t modifiers);

  // What the settings page shows for a binding.
  static LocalizedText settingsLabel(const ShortcutBinding& binding);
  // What is saved as the binding's "displayLabel".
  static LocalizedText storedLabel(const ShortcutBinding& binding);
};

}  // namespace trelvis
