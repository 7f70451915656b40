#include "core/triggers/shortcut_binding.h"

#include "base/check.h"
#include "base/log.h"
#include "base/enum_table.h"
#include "core/triggers/shortcut_display.h"
#include "core/triggers/shortcut_validator.h"

#include <limits>

namespace trelvis {
namespace {

const LogCategory kLog("shortcuts");

constexpr EnumTable<ShortcutBindingKind, 3> kKinds{{
    {ShortcutBindingKind::modifierTap, "modifierTap"},
    {ShortcutBindingKind::modifierChord, "modifierChord"},
    {ShortcutBindingKind::keyCombo, "keyCombo"},
}};

template <class T>
const T* entry(const PreferenceValue::Dictionary& map, std::string_view key) {
  const auto found = map.find(key);
  return found == map.end() ? nullptr : found->second.getIf<T>();
}

}  // namespace

std::string_view toString(ShortcutBindingKind kind) {
  return enumToString(kKinds, kind);
}

std::optional<ShortcutBindingKind> shortcutBindingKindFromString(std::string_view raw) {
  return enumFromString(kKinds, raw);
}

PreferenceValue::Dictionary ShortcutBinding::toMap(const LocalizedTextRenderer& renderLabel) const {
  const LocalizedText label = ShortcutDisplay::storedLabel(*this);
  return {
      {"actionId", actionId},
      {"kind", toString(kind)},
      {"keyCode", keyCode},
      {"modifiers", modifiers},
      {"displayLabel", renderLabel ? renderLabel(label) : label.keyedText()},
  };
}

std::optional<ShortcutBinding> ShortcutBinding::fromMap(const PreferenceValue::Dictionary& map) {
  const auto* actionId = entry<std::string>(map, "actionId");
  const auto* kindRaw = entry<std::string>(map, "kind");
  if (!actionId || !kindRaw) return std::nullopt;
  const std::optional<ShortcutBindingKind> kind = shortcutBindingKindFromString(*kindRaw);
  if (!kind) return std::nullopt;
  const auto* keyCode = entry<int64_t>(map, "keyCode");
  const auto* modifiers = entry<int64_t>(map, "modifiers");
  if (!keyCode || !modifiers) return std::nullopt;
  if (*keyCode < 0 || *keyCode > std::numeric_limits<uint16_t>::max()) return std::nullopt;
  if (*modifiers < 0) return std::nullopt;
  if (*modifiers > std::numeric_limits<uint32_t>::max()) {
    // Every mask this program writes fits 32 bits, so such a value means a writer
    // has gone wrong.
    kLog.error("stored shortcut \"{}\" has modifiers {} beyond 32 bits; using the default",
               *actionId, *modifiers);
    TRELVIS_DCHECK(false, "stored shortcut modifiers beyond 32 bits");
    return std::nullopt;
  }
  ShortcutBinding binding{*actionId, *kind, static_cast<uint16_t>(*keyCode),
                          static_cast<uint32_t>(*modifiers)};
  if (!ShortcutValidator::isValid(binding)) return std::nullopt;
  return binding;
}

}  // namespace trelvis
