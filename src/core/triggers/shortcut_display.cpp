#include "core/triggers/shortcut_display.h"

#include "core/triggers/modifier_keys.h"

#include <array>
#include <string_view>
#include <utility>

namespace trelvis {
namespace {

struct KeyText {
  uint16_t keyCode;
  std::string_view text;
};

constexpr std::array<KeyText, 70> kKeyLabels{{
    {0, "A"},     {1, "S"},     {2, "D"},     {3, "F"},     {4, "H"},     {5, "G"},
    {6, "Z"},     {7, "X"},     {8, "C"},     {9, "V"},     {11, "B"},    {12, "Q"},
    {13, "W"},    {14, "E"},    {15, "R"},    {16, "Y"},    {17, "T"},    {18, "1"},
    {19, "2"},    {20, "3"},    {21, "4"},    {22, "6"},    {23, "5"},    {24, "="},
    {25, "9"},    {26, "7"},    {27, "-"},    {28, "8"},    {29, "0"},    {30, "]"},
    {31, "O"},    {32, "U"},    {33, "["},    {34, "I"},    {35, "P"},    {37, "L"},
    {38, "J"},    {39, "'"},    {40, "K"},    {41, ";"},    {42, "\\"},   {43, ","},
    {44, "/"},    {45, "N"},    {46, "M"},    {47, "."},    {50, "`"},    {122, "F1"},
    {120, "F2"},  {99, "F3"},   {118, "F4"},  {96, "F5"},   {97, "F6"},   {98, "F7"},
    {100, "F8"},  {101, "F9"},  {109, "F10"}, {103, "F11"}, {111, "F12"}, {105, "F13"},
    {107, "F14"}, {113, "F15"}, {106, "F16"}, {64, "F17"},  {79, "F18"},  {80, "F19"},
    {123, "←"},   {124, "→"},   {125, "↓"},   {126, "↑"},
}};

constexpr bool everyRowFilled(const std::array<KeyText, 70>& rows) {
  for (const KeyText& row : rows) {
    if (row.text.empty()) return false;
  }
  return true;
}
static_assert(everyRowFilled(kKeyLabels));

// Keys whose names differ between languages.
constexpr std::array<KeyText, 6> kLocalizedKeyNames{{
    {36, "shortcut.key.return"},
    {48, "shortcut.key.tab"},
    {49, "shortcut.key.space"},
    {51, "shortcut.key.delete"},
    {53, "shortcut.key.esc"},
    {117, "shortcut.key.forwardDelete"},
}};

// This order (not the customary ⌃⌥⇧⌘) is the one users have always seen here.
constexpr std::array<std::pair<uint32_t, std::string_view>, 4> kModifierSymbols{{
    {CarbonModifiers::command, "⌘"},
    {CarbonModifiers::shift, "⇧"},
    {CarbonModifiers::option, "⌥"},
    {CarbonModifiers::control, "⌃"},
}};

constexpr std::string_view kUnknown = "shortcut.unknown";

}  // namespace

LocalizedText ShortcutDisplay::keyLabel(uint16_t keyCode) {
  for (const KeyText& row : kKeyLabels) {
    if (row.keyCode == keyCode) return LocalizedText::literal(row.text);
  }
  for (const KeyText& row : kLocalizedKeyNames) {
    if (row.keyCode == keyCode) return LocalizedText::key(row.text);
  }
  return LocalizedText::key("shortcut.key.code", {keyCode});
}

LocalizedText ShortcutDisplay::modifierTapLabel(uint16_t keyCode) {
  switch (keyCode) {
    case KeyCodes::leftOption:
      return LocalizedText::key("shortcut.leftOption");
    case KeyCodes::leftControl:
      return LocalizedText::key("shortcut.leftControl");
    case KeyCodes::rightOption:
      return LocalizedText::key("shortcut.rightOption");
    case KeyCodes::rightControl:
      return LocalizedText::key("shortcut.rightControl");
    default:
      return LocalizedText::key(kUnknown);
  }
}

LocalizedText ShortcutDisplay::modifierTapShortLabel(uint16_t keyCode) {
  switch (keyCode) {
    case KeyCodes::leftOption:
    case KeyCodes::rightOption:
      return LocalizedText::key("shortcut.option");
    case KeyCodes::leftControl:
    case KeyCodes::rightControl:
      return LocalizedText::key("shortcut.control");
    default:
      return LocalizedText::key(kUnknown);
  }
}

LocalizedText ShortcutDisplay::modifierChordAccessibilityLabel(uint32_t modifiers) {
  if (modifiers != CarbonModifiers::chord) return LocalizedText::key(kUnknown);
  return LocalizedText::key("shortcut.control") + LocalizedText::literal(" + ") +
         LocalizedText::key("shortcut.option");
}

LocalizedText ShortcutDisplay::keyComboLabel(uint16_t keyCode, uint32_t modifiers) {
  std::string symbols;
  for (const auto& [bit, symbol] : kModifierSymbols) {
    if (modifiers & bit) symbols += symbol;
  }
  return LocalizedText::literal(symbols) + keyLabel(keyCode);
}

LocalizedText ShortcutDisplay::settingsLabel(const ShortcutBinding& binding) {
  switch (binding.kind) {
    case ShortcutBindingKind::modifierTap:
      return modifierTapShortLabel(binding.keyCode);
    case ShortcutBindingKind::keyCombo:
      return keyComboLabel(binding.keyCode, binding.modifiers);
    case ShortcutBindingKind::modifierChord:
      if (binding.modifiers == CarbonModifiers::chord) return LocalizedText::literal("⌃⌥");
      return LocalizedText::key(kUnknown);
  }
  return LocalizedText::key(kUnknown);
}

LocalizedText ShortcutDisplay::storedLabel(const ShortcutBinding& binding) {
  switch (binding.kind) {
    case ShortcutBindingKind::modifierTap:
      return modifierTapLabel(binding.keyCode);
    case ShortcutBindingKind::modifierChord:
      return modifierChordAccessibilityLabel(binding.modifiers);
    case ShortcutBindingKind::keyCombo:
      return keyComboLabel(binding.keyCode, binding.modifiers);
  }
  return LocalizedText::key(kUnknown);
}

}  // namespace trelvis
