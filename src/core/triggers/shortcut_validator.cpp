#include "core/triggers/shortcut_validator.h"

#include "core/triggers/modifier_keys.h"

#include <algorithm>

namespace trelvis {
namespace {

constexpr std::array<uint16_t, 76> kAllowedComboKeyCodes{
    // Letters A to Z.
    0, 11, 8, 2, 14, 3, 5, 4, 34, 38, 40, 37, 46, 45, 31, 35, 12, 15, 1, 17, 32, 9, 13, 7, 16, 6,
    // Digits 0 to 9.
    29, 18, 19, 20, 21, 23, 22, 26, 28, 25,
    // - = [ ] \ ; ' ` , . /
    27, 24, 33, 30, 42, 41, 39, 50, 43, 47, 44,
    // Arrows.
    123, 124, 125, 126,
    // Space, return, tab, escape, delete, forward delete.
    49, 36, 48, 53, 51, 117,
    // F1 to F19.
    122, 120, 99, 118, 96, 97, 98, 100, 101, 109, 103, 111, 105, 107, 113, 106, 64, 79, 80};

constexpr bool allDistinct(const std::array<uint16_t, 76>& codes) {
  for (std::size_t i = 0; i < codes.size(); ++i) {
    for (std::size_t j = i + 1; j < codes.size(); ++j) {
      if (codes[i] == codes[j]) return false;
    }
  }
  return true;
}
static_assert(allDistinct(kAllowedComboKeyCodes));

constexpr std::array<ShortcutValidator::KeyCombo, 2> kReservedSystemShortcuts{{
    {12, CarbonModifiers::command},  // Command+Q
    {13, CarbonModifiers::command},  // Command+W
}};

}  // namespace

const std::array<uint16_t, 76>& ShortcutValidator::allowedComboKeyCodes() {
  return kAllowedComboKeyCodes;
}

bool ShortcutValidator::isAllowedComboKeyCode(uint16_t keyCode) {
  return std::find(kAllowedComboKeyCodes.begin(), kAllowedComboKeyCodes.end(), keyCode) !=
         kAllowedComboKeyCodes.end();
}

const std::array<ShortcutValidator::KeyCombo, 2>& ShortcutValidator::reservedSystemShortcuts() {
  return kReservedSystemShortcuts;
}

bool ShortcutValidator::isReserved(KeyCombo combo) {
  return std::find(kReservedSystemShortcuts.begin(), kReservedSystemShortcuts.end(), combo) !=
         kReservedSystemShortcuts.end();
}

bool ShortcutValidator::isValid(const ShortcutBinding& binding) {
  // The region gesture is a held modifier plus a drag, which a key combination
  // cannot express; the input panel has no modifier gesture of its own.
  if (binding.actionId == ShortcutActionId::regionSelection &&
      binding.kind == ShortcutBindingKind::keyCombo) {
    return false;
  }
  if (binding.actionId == ShortcutActionId::inputTranslate &&
      binding.kind != ShortcutBindingKind::keyCombo) {
    return false;
  }
  switch (binding.kind) {
    case ShortcutBindingKind::modifierTap:
      return binding.modifiers == 0 && isTapKey(binding.keyCode);
    case ShortcutBindingKind::modifierChord:
      return binding.keyCode == kNoKeyCode && binding.modifiers == CarbonModifiers::chord;
    case ShortcutBindingKind::keyCombo:
      return binding.modifiers != 0 && isAllowedComboKeyCode(binding.keyCode) &&
             !isReserved({binding.keyCode, binding.modifiers});
  }
  return false;
}

uint32_t ShortcutValidator::carbonModifiers(uint64_t modifierFlags) {
  uint32_t carbon = 0;
  if (modifierFlags & ModifierFlags::command) carbon |= CarbonModifiers::command;
  if (modifierFlags & ModifierFlags::shift) carbon |= CarbonModifiers::shift;
  if (modifierFlags & ModifierFlags::option) carbon |= CarbonModifiers::option;
  if (modifierFlags & ModifierFlags::control) carbon |= CarbonModifiers::control;
  return carbon;
}

}  // namespace trelvis
