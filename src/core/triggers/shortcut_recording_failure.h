#pragma once

// ShortcutRecordingFailure: why a gesture recorded on the settings page cannot
// become a binding. The shortcut recorder produces it; the settings page shows the
// copy of its localized key. Plain functions over constant tables.

#include <optional>
#include <string_view>

namespace trelvis {

enum class ShortcutRecordingFailure {
  regionRequiresSingleModifier,
  conflictsWithSystemShortcut,
  requiresModifierCombo,
  unsupportedShortcut,
  unsupportedModifier,
  inputRequiresKeyCombo,
  duplicatesTranslationShortcut,
};

// The case name, for logs ("unsupportedShortcut").
std::string_view toString(ShortcutRecordingFailure failure);
std::optional<ShortcutRecordingFailure> shortcutRecordingFailureFromString(std::string_view raw);

// "error.shortcut.regionReject", "error.shortcut.conflict", ...
std::string_view localizedKey(ShortcutRecordingFailure failure);

}  // namespace trelvis
