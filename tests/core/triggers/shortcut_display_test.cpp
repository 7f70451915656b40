#include "core/triggers/shortcut_display.h"
#include "core/triggers/shortcut_recording_failure.h"

#include <gtest/gtest.h>

#include <set>
#include <span>
#include <string>

namespace trelvis {
namespace {

using L = LocalizedText;
using D = ShortcutDisplay;

TEST(LocalizedTextTest, SegmentsMergeAndRenderThroughTheCatalogue) {
  EXPECT_EQ(L::literal("⌘") + L::literal("S"), L::literal("⌘S"));
  EXPECT_NE(L::literal("shortcut.space"), L::key("shortcut.space"));
  EXPECT_TRUE(L::literal("").isEmpty());

  const L text = L::literal("⌥") + L::key("shortcut.key.code", {10}) + L::literal("!");
  EXPECT_EQ(text.segments().size(), 3u);
  EXPECT_EQ(text.keyedText(), "⌥shortcut.key.code(10)!");
  const std::string rendered =
      text.render([](std::string_view key, std::span<const int64_t> arguments) {
        EXPECT_EQ(key, "shortcut.key.code");
        return "Key " + std::to_string(arguments.empty() ? -1 : arguments[0]);
      });
  EXPECT_EQ(rendered, "⌥Key 10!");
}

// The key tables are checked whole against the X11 keysyms and the allowed
// combination keys elsewhere; here a row of each kind: a printed key, a named
// one, and one with no label.
TEST(ShortcutDisplayTest, KeyAndBindingLabels) {
  EXPECT_EQ(D::keyLabel(126), L::literal("↑"));
  EXPECT_EQ(D::keyLabel(117), L::key("shortcut.key.forwardDelete"));
  EXPECT_EQ(D::keyLabel(10), L::key("shortcut.key.code", {10}));

  EXPECT_EQ(D::keyComboLabel(1, 0x1B00), L::literal("⌘⇧⌥⌃S"));
  EXPECT_EQ(D::keyComboLabel(36, 0x1100), L::literal("⌘⌃") + L::key("shortcut.key.return"));

  const std::tuple<uint16_t, const char*, const char*> taps[] = {
      {58, "shortcut.leftOption", "shortcut.option"},
      {60, "shortcut.unknown", "shortcut.unknown"},
  };
  for (const auto& [keyCode, label, shortLabel] : taps) {
    EXPECT_EQ(D::modifierTapLabel(keyCode), L::key(label)) << keyCode;
    EXPECT_EQ(D::modifierTapShortLabel(keyCode), L::key(shortLabel)) << keyCode;
  }

  const ShortcutBinding chord{"lookupTrigger", ShortcutBindingKind::modifierChord, 0xFFFF, 0x1800};
  ShortcutBinding oddChord = chord;
  oddChord.modifiers = 0x1000;
  const ShortcutBinding tap{"lookupTrigger", ShortcutBindingKind::modifierTap, 61, 0};
  const ShortcutBinding combo{"selectTranslateTrigger", ShortcutBindingKind::keyCombo, 1, 0x800};
  EXPECT_EQ(D::settingsLabel(chord), L::literal("⌃⌥"));
  EXPECT_EQ(D::settingsLabel(oddChord), L::key("shortcut.unknown"));
  EXPECT_EQ(D::settingsLabel(tap), L::key("shortcut.option"));
  EXPECT_EQ(D::settingsLabel(combo), L::literal("⌥S"));
  EXPECT_EQ(D::storedLabel(chord).keyedText(), "shortcut.control + shortcut.option");
  EXPECT_EQ(D::storedLabel(oddChord), L::key("shortcut.unknown"));
  EXPECT_EQ(D::storedLabel(tap), L::key("shortcut.rightOption"));
  EXPECT_EQ(D::storedLabel(combo), L::literal("⌥S"));
}

TEST(ShortcutRecordingFailureTest, EveryFailureHasItsOwnKeyAndName) {
  using F = ShortcutRecordingFailure;
  std::set<std::string_view> keys;
  for (int i = 0; i <= static_cast<int>(F::duplicatesTranslationShortcut); ++i) {
    const auto failure = static_cast<F>(i);
    EXPECT_TRUE(localizedKey(failure).starts_with("error.shortcut.")) << i;
    EXPECT_EQ(shortcutRecordingFailureFromString(toString(failure)), failure) << i;
    keys.insert(localizedKey(failure));
  }
  EXPECT_EQ(keys.size(), 7u);
  EXPECT_EQ(localizedKey(F::unsupportedModifier), "error.shortcut.unknownModifier");
}

}  // namespace
}  // namespace trelvis
