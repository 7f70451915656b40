#include "platform/x11/x11_key_translation.h"

#include <optional>
#include <vector>

#include <gtest/gtest.h>
// After gtest, whose names X's macros (None, Bool) would replace.
#include <X11/X.h>
#include <X11/keysym.h>

#include "platform/x11/x11_raw_event_translator.h"

namespace trelvis {
namespace {

using Type = InputEventType;
using Event = X11RawEventTranslator::Event;
constexpr uint64_t kShift = ModifierFlags::shift;
constexpr uint64_t kOption = ModifierFlags::option;
constexpr uint64_t kCaps = ModifierFlags::capsLock;

TEST(X11KeyTranslationTest, KeysymsMapToUsLayoutKeys) {
  struct Case {
    unsigned long keysym;
    std::optional<uint16_t> code;
  };
  const Case cases[] = {
      {XK_a, 0},
      {XK_A, 0},
      {XK_s, 1},
      {XK_c, 8},
      {XK_Z, 6},
      {XK_i, 34},
      {XK_1, 18},
      {XK_5, 23},
      {XK_0, 29},
      {XK_minus, 27},
      {XK_equal, 24},
      {XK_bracketleft, 33},
      {XK_grave, 50},
      {XK_Return, 36},
      {XK_Tab, 48},
      {XK_space, 49},
      {XK_BackSpace, 51},
      {XK_Escape, 53},
      {XK_Delete, 117},
      {XK_F1, 122},
      {XK_F5, 96},
      {XK_F12, 111},
      {XK_F19, 80},
      {XK_Left, 123},
      {XK_Up, 126},
      {XK_Alt_L, 58},
      {XK_Alt_R, 61},
      {XK_ISO_Level3_Shift, 61},
      {XK_Control_L, 59},
      {XK_Control_R, 62},
      {XK_Super_L, 55},
      {XK_Super_R, 54},
      {XK_Shift_L, 56},
      {XK_Shift_R, 60},
      {XK_Caps_Lock, 57},
      {XK_Hyper_L, std::nullopt},
      {XK_eacute, std::nullopt},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(X11KeyTranslation::virtualKeyCode(c.keysym), c.code)
        << "keysym 0x" << std::hex << c.keysym;
  }
}

TEST(X11KeyTranslationTest, EveryKeyAHotKeyMayUseHasAKeysymThatMapsBack) {
  std::vector<uint16_t> codes = {
      27,  24,  33,  30, 42,  41, 39, 50, 43,  47,  44,  123, 124, 125, 126, 49,  36,  48, 53, 51,
      117, 122, 120, 99, 118, 96, 97, 98, 100, 101, 109, 103, 111, 105, 107, 113, 106, 64, 79, 80};
  // Letters and digits: 0...50 without the punctuation above and 10, 36, 48.
  for (uint16_t code = 0; code <= 46; ++code) {
    if (code != 10 && code != 36 && std::find(codes.begin(), codes.end(), code) == codes.end()) {
      codes.push_back(code);
    }
  }
  ASSERT_EQ(codes.size(), 76u);
  for (uint16_t code : codes) {
    const auto keysym = X11KeyTranslation::keysym(code);
    ASSERT_TRUE(keysym) << "code " << code;
    EXPECT_EQ(X11KeyTranslation::virtualKeyCode(*keysym), code) << "code " << code;
  }
  EXPECT_FALSE(X11KeyTranslation::keysym(10));
  EXPECT_FALSE(X11KeyTranslation::keysym(0x1FF));
}

TEST(X11KeyTranslationTest, ModifierMasksAndPoints) {
  struct Case {
    unsigned int state;
    uint64_t flags;
    uint64_t shortcutFlags;
  };
  const Case cases[] = {
      {0, 0, 0},
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
      {"tap of left Alt",
       {{Raw::press, 64, Event{Type::flagsChanged, 58, kOption}},
        {Raw::release, 64, Event{Type::flagsChanged, 58, 0}}}},
      {"Shift then Alt, a typed under both, released twice",
       {{Raw::press, 50, Event{Type::flagsChanged, 56, kShift}},
        {Raw::press, 64, Event{Type::flagsChanged, 58, kShift | kOption}},
        {Raw::press, 38, Event{Type::keyDown, 0, kShift | kOption}},
        {Raw::release, 38, std::nullopt},
        {Raw::release, 64, Event{Type::flagsChanged, 58, kShift}},
        {Raw::release, 64, std::nullopt},
        {Raw::release, 50, Event{Type::flagsChanged, 56, 0}}}},
      {"both Alts: the flag stays while either is down",
       {{Raw::press, 64, Event{Type::flagsChanged, 58, kOption}},
        {Raw::press, 108, Event{Type::flagsChanged, 61, kOption}},
        {Raw::press, 64, std::nullopt},
        {Raw::release, 64, Event{Type::flagsChanged, 58, kOption}},
        {Raw::release, 108, Event{Type::flagsChanged, 61, 0}}}},
      {"Caps Lock toggles at the press; XKB's report wins",
       {{Raw::press, 66, Event{Type::flagsChanged, 57, kCaps}},
        {Raw::release, 66, std::nullopt},
        {Raw::locks, LockMask, std::nullopt},
        {Raw::press, 9, Event{Type::keyDown, 53, kCaps}},
        {Raw::locks, 0, std::nullopt},
        {Raw::press, 133, Event{Type::flagsChanged, 55, ModifierFlags::command}},
        {Raw::press, 200, Event{Type::keyDown, 0x100 + 200, ModifierFlags::command}}}},
      {"left drag, other buttons, the wheel",
       {{Raw::motion, 0, std::nullopt},
        {Raw::button, 1, Event{Type::leftMouseDown, 0, 0}},
        {Raw::motion, 0, Event{Type::leftMouseDragged, 0, 0}},
        {Raw::button, 4, std::nullopt},
        {Raw::buttonUp, 4, std::nullopt},
        {Raw::buttonUp, 1, Event{Type::leftMouseUp, 0, 0}},
        {Raw::motion, 0, std::nullopt},
        {Raw::button, 3, Event{Type::rightMouseDown, 0, 0}},
        {Raw::buttonUp, 3, std::nullopt},
        {Raw::button, 2, Event{Type::otherMouseDown, 0, 0}},
        {Raw::button, 8, Event{Type::otherMouseDown, 0, 0}}}},
  };
  for (const Case& c : cases) {
    X11RawEventTranslator translator;
    translator.setKeycodeMap(testKeymap());
    for (size_t i = 0; i < c.steps.size(); ++i) {
      const Step& step = c.steps[i];
      std::optional<Event> got;
      switch (step.raw) {
        case Raw::press:
          got = translator.keyPress(step.detail);
          break;
        case Raw::release:
          got = translator.keyRelease(step.detail);
          break;
        case Raw::button:
          got = translator.buttonPress(step.detail);
          break;
        case Raw::buttonUp:
          got = translator.buttonRelease(step.detail);
          break;
        case Raw::motion:
          got = translator.motion();
          break;
        case Raw::locks:
          translator.setLatchedAndLockedModifiers(step.detail);
          break;
      }
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
