#pragma once

// ShortcutValidator: which bindings are legal, which key combinations the system
// keeps for itself, and the Carbon mask of an event's modifier flags. Pure
// functions over constant tables, usable from any thread; the binding store, the
// shortcut recorder and the controller ask it.

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>

#include "core/triggers/shortcut_binding.h"

namespace trelvis {

struct ShortcutValidator {
  struct KeyCombo {
    uint16_t keyCode = 0;
    uint32_t modifiers = 0;
    friend bool operator==(const KeyCombo&, const KeyCombo&) = default;
  };

  // Letters, digits, the punctuation keys, arrows, space, return, tab, escape,
  // delete, forward delete and F1 to F19. Key code 10 and the keypad are not here.
  static const std::array<uint16_t, 76>& allowedComboKeyCodes();
  static bool isAllowedComboKeyCode(uint16_t keyCode);

  // Command+Q and Command+W, compared exactly (Command+Shift+Q is not reserved).
  static const std::array<KeyCombo, 2>& reservedSystemShortcuts();
  static bool isReserved(KeyCombo combo);

  static bool isValid(const ShortcutBinding& binding);

  // The Carbon mask of 64-bit event flags; Caps Lock and Function give nothing.
  static uint32_t carbonModifiers(uint64_t modifierFlags);
};

}  // namespace trelvis

template <>
struct std::hash<trelvis::ShortcutValidator::KeyCombo> {
  std::size_t operator()(const trelvis::ShortcutValidator::KeyCombo& combo) const noexcept {
    return std::hash<uint64_t>{}((uint64_t{combo.keyCode} << 32) | combo.modifiers);
  }
};
