#include "core/triggers/shortcut_display.h"
#include "core/triggers/shortcut_recording_failure.h"

#include <gtest/gtest.h>

#include <span>
#include <string>

namespace trelvis {
namespace {

using L = LocalizedText;

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

TEST(ShortcutDisplayTest, KeyLabelsFollowTheUsLayout) {
  struct Case {
    uint16_t keyCode;
    L label;
  };
  const Case cases[] = {
      {0, L::literal("A")},
      {1, L::literal("S")},
      {10, L::key("shortcut.key.code", {10})},
      {22, L::literal("6")},
      {23, L::literal("5")},
      {42, L::literal("\\")},
      {50, L::literal("`")},
      {122, L::literal("F1")},
      {64, L::literal("F17")},
      {80, L::literal("F19")},
      {123, L::literal("←")},
      {126, L::literal("↑")},
      {36, L::key("shortcut.key.return")},
      {48, L::key("shortcut.key.tab")},
      {49, L::key("shortcut.key.space")},
      {51, L::key("shortcut.key.delete")},
      {53, L::key("shortcut.key.esc")},
      {117, L::key("shortcut.key.forwardDelete")},
      {82, L::key("shortcut.key.code", {82})},
      {0xFFFF, L::key("shortcut.key.code", {0xFFFF})},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ShortcutDisplay::keyLabel(c.keyCode), c.label) << c.keyCode;
  }
}

TEST(ShortcutDisplayTest, BindingLabels) {
  using D = ShortcutDisplay;
  EXPECT_EQ(D::keyComboLabel(1, 0x800), L::literal("⌥S"));
  EXPECT_EQ(D::keyComboLabel(1, 0x1B00), L::literal("⌘⇧⌥⌃S"));
  EXPECT_EQ(D::keyComboLabel(36, 0x1100), L::literal("⌘⌃") + L::key("shortcut.key.return"));
  EXPECT_EQ(D::keyComboLabel(1, 0), L::literal("S"));

  struct TapCase {
    uint16_t keyCode;
    const char* label;
    const char* shortLabel;
  };
  const TapCase taps[] = {
      {58, "shortcut.leftOption", "shortcut.option"},
      {61, "shortcut.rightOption", "shortcut.option"},
      {59, "shortcut.leftControl", "shortcut.control"},
      {62, "shortcut.rightControl", "shortcut.control"},
      {60, "shortcut.unknown", "shortcut.unknown"},
  };
  for (const TapCase& c : taps) {
    EXPECT_EQ(D::modifierTapLabel(c.keyCode), L::key(c.label)) << c.keyCode;
    EXPECT_EQ(D::modifierTapShortLabel(c.keyCode), L::key(c.shortLabel)) << c.keyCode;
  }

  EXPECT_EQ(D::modifierChordAccessibilityLabel(0x1800).keyedText(),
            "shortcut.control + shortcut.option");
  EXPECT_EQ(D::modifierChordAccessibilityLabel(0x800), L::key("shortcut.unknown"));

  const ShortcutBinding chord{"lookupTrigger", ShortcutBindingKind::modifierChord, 0xFFFF, 0x1800};
  ShortcutBinding oddChord = chord;
  oddChord.modifiers = 0x1000;
  const ShortcutBinding tap{"lookupTrigger", ShortcutBindingKind::modifierTap, 61, 0};
  const ShortcutBinding combo{"selectTranslateTrigger", ShortcutBindingKind::keyCombo, 1, 0x800};
  EXPECT_EQ(D::settingsLabel(chord), L::literal("⌃⌥"));
  EXPECT_EQ(D::settingsLabel(oddChord), L::key("shortcut.unknown"));
  EXPECT_EQ(D::settingsLabel(tap), L::key("shortcut.option"));
  EXPECT_EQ(D::settingsLabel(combo), L::literal("⌥S"));
  EXPECT_EQ(D::storedLabel(chord), D::modifierChordAccessibilityLabel(0x1800));
  EXPECT_EQ(D::storedLabel(tap), L::key("shortcut.rightOption"));
  EXPECT_EQ(D::storedLabel(combo), L::literal("⌥S"));
}

TEST(ShortcutRecordingFailureTest, LocalizedKeys) {
  using F = ShortcutRecordingFailure;
  const std::pair<F, const char*> cases[] = {
      {F::regionRequiresSingleModifier, "error.shortcut.regionReject"},
      {F::conflictsWithSystemShortcut, "error.shortcut.conflict"},
      {F::requiresModifierCombo, "error.shortcut.invalid"},
      {F::unsupportedShortcut, "error.shortcut.unsupported"},
      {F::unsupportedModifier, "error.shortcut.unknownModifier"},
      {F::inputRequiresKeyCombo, "error.shortcut.inputRequiresCombo"},
      {F::duplicatesTranslationShortcut, "error.shortcut.duplicate"},
  };
  for (const auto& [failure, key] : cases) {
    EXPECT_EQ(localizedKey(failure), key);
    EXPECT_EQ(shortcutRecordingFailureFromString(toString(failure)), failure);
  }
}

}  // namespace
}  // namespace trelvis
