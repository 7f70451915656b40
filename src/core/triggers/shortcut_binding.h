#pragma once

// ShortcutBinding: which gesture starts one of the four translation actions (a tap
// of a modifier key, the Control+Option chord, or a key combination), and its form
// in the user's preferences. A plain value; the shortcut controller owns the live
// bindings, the recognizers and the settings page read them.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/prefs/preference_value.h"
#include "core/triggers/localized_text.h"

namespace trelvis {

// The four actions a binding may start.
namespace ShortcutActionId {
inline constexpr std::string_view lookup = "lookupTrigger";
inline constexpr std::string_view regionSelection = "regionSelectionTrigger";
inline constexpr std::string_view selectTranslate = "selectTranslateTrigger";
inline constexpr std::string_view inputTranslate = "inputTranslateTrigger";
}  // namespace ShortcutActionId

enum class ShortcutBindingKind { modifierTap, modifierChord, keyCombo };
// "modifierTap", "modifierChord", "keyCombo".
std::string_view toString(ShortcutBindingKind kind);
std::optional<ShortcutBindingKind> shortcutBindingKindFromString(std::string_view raw);

struct ShortcutBinding {
  std::string actionId;
  ShortcutBindingKind kind = ShortcutBindingKind::modifierTap;
  // A virtual key code; 0xFFFF (no key) for a chord.
  uint16_t keyCode = 0;
  // The Carbon mask (CarbonModifiers); 0 for a tap, 0x1800 for the chord.
  uint32_t modifiers = 0;

  // The persisted dictionary: "actionId", "kind", "keyCode", "modifiers", and the
  // label shown at the moment of saving under "displayLabel" (written for people
  // reading the preferences, never read back). Without a renderer the label keeps
  // its localized keys untranslated.
  PreferenceValue::Dictionary toMap(const LocalizedTextRenderer& renderLabel = {}) const;

  // Nothing when an entry is missing or of the wrong type, the kind is unknown, the
  // key code is outside 0...65535, the modifiers are negative, or the binding is not
  // valid. Modifiers beyond 32 bits cannot come from this program: that is treated
  // as a programming error (debug builds stop; release builds log it and yield
  // nothing, so the entry is repaired).
  static std::optional<ShortcutBinding> fromMap(const PreferenceValue::Dictionary& map);

  // Whether the two start the same gesture, whatever actions they belong to.
  bool sameGesture(const ShortcutBinding& other) const {
    return kind == other.kind && keyCode == other.keyCode && modifiers == other.modifiers;
  }

  friend bool operator==(const ShortcutBinding&, const ShortcutBinding&) = default;
};

}  // namespace trelvis
