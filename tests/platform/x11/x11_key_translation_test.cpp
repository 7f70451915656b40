#include "platform/x11/x11_key_translation.h"

#include <cctype>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
// After gtest, whose names X's macros (None, Bool) would replace.
#include <X11/X.h>
#include <X11/Xlib.h>
#include <X11/keysym.h>

#include "core/triggers/shortcut_display.h"
#include "core/triggers/shortcut_validator.h"
#include "platform/x11/x11_raw_event_translator.h"

namespace trelvis {
namespace {

using Type = InputEventType;
using Event = X11RawEventTranslator::Event;
constexpr uint64_t kShift = ModifierFlags::shift;
constexpr uint64_t kOption = ModifierFlags::option;
constexpr uint64_t kCaps = ModifierFlags::capsLock;

TEST(X11KeyTranslationTest, ModifierAndOtherKeysymsMapToUsLayoutKeys) {
  // Pairs of a keysym's name and its virtual key code ("-" for none).
  std::istringstream cases(
      "A 0  ISO_Left_Tab 48  Alt_L 58  Meta_L 58  Alt_R 61  ISO_Level3_Shift 61  Control_L 59  "
      "Control_R 62  Super_L 55  Super_R 54  Shift_L 56  Shift_R 60  Caps_Lock 57  Hyper_L -  "
      "eacute -");
  for (std::string name, code; cases >> name >> code;) {
    const std::optional<uint16_t> expected =
        code == "-" ? std::nullopt : std::optional<uint16_t>(std::stoi(code));
    EXPECT_EQ(X11KeyTranslation::virtualKeyCode(XStringToKeysym(name.c_str())), expected) << name;
  }
  EXPECT_FALSE(X11KeyTranslation::keysym(10));
  EXPECT_FALSE(X11KeyTranslation::keysym(0x1FF));
}

// Three tables written apart must agree: every key a hot key may use has a label
// on the settings page, grabs as the keysym that label names, and maps back.
TEST(X11KeyTranslationTest, EveryComboKeyGrabsAsTheKeyItsLabelNames) {
  // Pairs of a label other than a letter, digit or F-key, and its keysym's name.
  std::istringstream pairs(
      "- minus  = equal  [ bracketleft  ] bracketright  \\ backslash  ; semicolon  ' apostrophe  "
      "` grave  , comma  . period  / slash  ← Left  → Right  ↓ Down  ↑ Up  "
      "shortcut.key.return Return  shortcut.key.tab Tab  shortcut.key.space space  "
      "shortcut.key.delete BackSpace  shortcut.key.esc Escape  shortcut.key.forwardDelete Delete");
  std::map<std::string, std::string> keysymNames;
  for (std::string label, name; pairs >> label >> name;) keysymNames[label] = name;
  for (const uint16_t code : ShortcutValidator::allowedComboKeyCodes()) {
    const auto keysym = X11KeyTranslation::keysym(code);
    ASSERT_TRUE(keysym) << "code " << code;
    EXPECT_EQ(X11KeyTranslation::virtualKeyCode(*keysym), code);
    std::string label = ShortcutDisplay::keyLabel(code).keyedText();
    if (keysymNames.contains(label)) label = keysymNames.at(label);
    if (label.size() == 1) label[0] = static_cast<char>(std::tolower(label[0]));
    EXPECT_EQ(XKeysymToString(*keysym), label) << "code " << code;
  }
}

TEST(X11KeyTranslationTest, ModifierMasksAndPoints) {
  struct Case {
    unsigned int state;
    uint64_t flags;
    uint64_t shortcutFlags;
  };
  const Case cases[] = {
      {ShiftMask, kShift, kShift},
      {LockMask | Mod2Mask, kCaps, kCaps},
      {ControlMask, ModifierFlags::control, ModifierFlags::command},
      {Mod1Mask | Mod5Mask, kOption, kOption},
      {Mod4Mask, ModifierFlags::command, ModifierFlags::control},
      {ControlMask | ShiftMask | Button1Mask, ModifierFlags::control | kShift,
       ModifierFlags::command | kShift},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(X11KeyTranslation::modifierFlags(c.state), c.flags) << c.state;
    EXPECT_EQ(X11KeyTranslation::shortcutModifierFlags(c.state), c.shortcutFlags) << c.state;
  }
  EXPECT_EQ(X11KeyTranslation::xModifierMask(0x800), Mod1Mask);
  EXPECT_EQ(X11KeyTranslation::xModifierMask(0x100 | 0x200 | 0x1000 | 0x400),
            Mod4Mask | ShiftMask | ControlMask);
  EXPECT_EQ(X11KeyTranslation::globalPoint(100, 200, 1024), (Point{100, 824}));
}

// An evdev-like keymap: 9 Escape, 37 Control_L, 38 a, 50 Shift_L, 64 Alt_L,
// 66 Caps_Lock, 108 Alt_R (second keysym only), 133 Super_L, 200 unknown.
X11RawEventTranslator::KeycodeMap testKeymap() {
  std::vector<unsigned long> keysyms(2 * 248, NoSymbol);
  auto put = [&](int keycode, unsigned long first, unsigned long second = NoSymbol) {
    keysyms[2 * static_cast<size_t>(keycode - 8)] = first;
    keysyms[2 * static_cast<size_t>(keycode - 8) + 1] = second;
  };
  put(9, XK_Escape);
  put(37, XK_Control_L);
  put(38, XK_a, XK_A);
  put(50, XK_Shift_L);
  put(64, XK_Alt_L, XK_Meta_L);
  put(66, XK_Caps_Lock);
  put(108, NoSymbol, XK_Alt_R);
  put(133, XK_Super_L);
  put(200, XK_Hyper_L);
  return X11RawEventTranslator::keycodeMap(keysyms, 8, 2);
}

enum class Raw { press, release, button, buttonUp, motion, locks };
struct Step {
  Raw raw;
  uint32_t detail;
  std::optional<Event> expected;
};

TEST(X11RawEventTranslatorTest, TracksModifiersAndButtonsAcrossSequences) {
  struct Case {
    const char* name;
    std::vector<Step> steps;
  };
  const Case cases[] = {
      // What the real server sends in order is checked on Xvfb; these are the
      // sequences XTest cannot easily make.
      {"both Alts: the flag stays while either is down; a second release is nothing",
       {{Raw::press, 64, Event{Type::flagsChanged, 58, kOption}},
        {Raw::press, 108, Event{Type::flagsChanged, 61, kOption}},
        {Raw::press, 64, std::nullopt},
        {Raw::release, 64, Event{Type::flagsChanged, 58, kOption}},
        {Raw::release, 108, Event{Type::flagsChanged, 61, 0}},
        {Raw::release, 108, std::nullopt}}},
      {"Caps Lock toggles at the press; XKB's report wins",
       {{Raw::press, 66, Event{Type::flagsChanged, 57, kCaps}},
        {Raw::release, 66, std::nullopt},
        {Raw::locks, LockMask, std::nullopt},
        {Raw::press, 9, Event{Type::keyDown, 53, kCaps}},
        {Raw::locks, 0, std::nullopt},
        {Raw::press, 133, Event{Type::flagsChanged, 55, ModifierFlags::command}},
        {Raw::press, 200, Event{Type::keyDown, 0x100 + 200, ModifierFlags::command}}}},
      {"Shift and Control add their own flags, a key carries them",
       {{Raw::press, 50, Event{Type::flagsChanged, 56, kShift}},
        {Raw::press, 37, Event{Type::flagsChanged, 59, kShift | ModifierFlags::control}},
        {Raw::press, 38, Event{Type::keyDown, 0, kShift | ModifierFlags::control}}}},
      {"a button beyond the wheel's", {{Raw::button, 8, Event{Type::otherMouseDown, 0, 0}}}},
  };
  for (const Case& c : cases) {
    X11RawEventTranslator translator;
    translator.setKeycodeMap(testKeymap());
    for (size_t i = 0; i < c.steps.size(); ++i) {
      const Step& step = c.steps[i];
      if (step.raw == Raw::locks) {
        translator.setLatchedAndLockedModifiers(step.detail);
        continue;
      }
      const std::optional<Event> got =
          step.raw == Raw::press      ? translator.keyPress(step.detail)
          : step.raw == Raw::release  ? translator.keyRelease(step.detail)
          : step.raw == Raw::button   ? translator.buttonPress(step.detail)
          : step.raw == Raw::buttonUp ? translator.buttonRelease(step.detail)
                                      : translator.motion();
      EXPECT_EQ(got, step.expected) << c.name << ", step " << i;
    }
  }
}

TEST(X11RawEventTranslatorTest, StartsFromHeldKeysAndHonoursTheButtonMap) {
  X11RawEventTranslator translator;
  translator.setKeycodeMap(testKeymap());
  std::array<char, 32> keymap{};
  keymap[64 / 8] = static_cast<char>(1 << (64 % 8));  // Alt_L is down already
  translator.setInitialState(keymap, /*leftButtonDown=*/true);
  EXPECT_EQ(translator.motion(), (Event{Type::leftMouseDragged, 0, kOption}));
  EXPECT_EQ(translator.keyPress(64), std::nullopt);
  EXPECT_EQ(translator.keyRelease(64), (Event{Type::flagsChanged, 58, 0}));

  // A left-handed pointer: the physical right button is the left one.
  const unsigned char swapped[] = {3, 2, 1, 0};
  translator.setButtonMap(swapped);
  EXPECT_EQ(translator.buttonPress(3), (Event{Type::leftMouseDown, 0, 0}));
  EXPECT_EQ(translator.buttonPress(1), (Event{Type::rightMouseDown, 0, 0}));
  EXPECT_EQ(translator.buttonPress(4), std::nullopt);  // disabled
  EXPECT_EQ(translator.buttonRelease(3), (Event{Type::leftMouseUp, 0, 0}));
}

}  // namespace
}  // namespace trelvis
