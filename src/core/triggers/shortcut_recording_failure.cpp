#include "core/triggers/shortcut_recording_failure.h"

#include "base/enum_table.h"

namespace trelvis {
namespace {

using F = ShortcutRecordingFailure;

constexpr EnumTable<F, 7> kNames{{
    {F::regionRequiresSingleModifier, "regionRequiresSingleModifier"},
    {F::conflictsWithSystemShortcut, "conflictsWithSystemShortcut"},
    {F::requiresModifierCombo, "requiresModifierCombo"},
    {F::unsupportedShortcut, "unsupportedShortcut"},
    {F::unsupportedModifier, "unsupportedModifier"},
    {F::inputRequiresKeyCombo, "inputRequiresKeyCombo"},
    {F::duplicatesTranslationShortcut, "duplicatesTranslationShortcut"},
}};

constexpr EnumTable<F, 7> kLocalizedKeys{{
    {F::regionRequiresSingleModifier, "error.shortcut.regionReject"},
    {F::conflictsWithSystemShortcut, "error.shortcut.conflict"},
    {F::requiresModifierCombo, "error.shortcut.invalid"},
    {F::unsupportedShortcut, "error.shortcut.unsupported"},
    {F::unsupportedModifier, "error.shortcut.unknownModifier"},
    {F::inputRequiresKeyCombo, "error.shortcut.inputRequiresCombo"},
    {F::duplicatesTranslationShortcut, "error.shortcut.duplicate"},
}};

}  // namespace

std::string_view toString(ShortcutRecordingFailure failure) {
  return enumToString(kNames, failure);
}

std::optional<ShortcutRecordingFailure> shortcutRecordingFailureFromString(std::string_view raw) {
  return enumFromString(kNames, raw);
}

std::string_view localizedKey(ShortcutRecordingFailure failure) {
  return enumToString(kLocalizedKeys, failure);
}

}  // namespace trelvis
