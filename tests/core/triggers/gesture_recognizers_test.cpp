#include "core/triggers/modifier_keys.h"
#include "core/triggers/modifier_tap_recognizer.h"
#include "core/triggers/region_selection_drag_recognizer.h"
#include "core/triggers/region_selection_shortcut_recognizer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

namespace trelvis {
namespace {

using namespace std::chrono_literals;
using Update = RegionSelectionGestureUpdate;
using Phase = RegionSelectionShortcutRecognizer::Phase;

constexpr uint64_t kCaps = ModifierFlags::capsLock;
constexpr uint64_t kShift = ModifierFlags::shift;
constexpr uint64_t kCtl = ModifierFlags::control;
constexpr uint64_t kOpt = ModifierFlags::option;
constexpr uint64_t kCmd = ModifierFlags::command;
constexpr uint64_t kFn = ModifierFlags::function;

constexpr uint16_t kLOpt = KeyCodes::leftOption;
constexpr uint16_t kROpt = KeyCodes::rightOption;
constexpr uint16_t kLCtl = KeyCodes::leftControl;
constexpr uint16_t kRCtl = KeyCodes::rightControl;
constexpr uint16_t kLShift = KeyCodes::leftShift;
constexpr uint16_t kLCmd = KeyCodes::leftCommand;

ShortcutBinding tapBinding(uint16_t keyCode) {
  return {"lookupTrigger", ShortcutBindingKind::modifierTap, keyCode, 0};
}
ShortcutBinding chordBinding(uint32_t modifiers = CarbonModifiers::chord) {
  return {"lookupTrigger", ShortcutBindingKind::modifierChord, kNoKeyCode, modifiers};
}

// One step: a flags-changed event, or one of the interruptions the monitors send.
struct Step {
  enum Op { flags, cancelIfTracking, resetPress, resetAll } op = flags;
  uint16_t keyCode = 0;
  uint64_t modifierFlags = 0;
};
Step ev(uint16_t keyCode, uint64_t modifierFlags) {
  return {Step::flags, keyCode, modifierFlags};
}

// Each step's answer as one character: '1' for a completed tap, '0' otherwise.
std::string runTap(ModifierTapRecognizer& recognizer, const std::vector<Step>& steps) {
  std::string answers;
  for (const Step& step : steps) {
    switch (step.op) {
      case Step::flags: {
        const bool fired = recognizer.binding.kind == ShortcutBindingKind::modifierChord
                               ? recognizer.handleChord(step.keyCode, step.modifierFlags)
                               : recognizer.handle(step.keyCode, step.modifierFlags);
        answers += fired ? '1' : '0';
        break;
      }
      case Step::cancelIfTracking:
        recognizer.cancelIfTracking();
        answers += '-';
        break;
      case Step::resetPress:
        recognizer.resetPress();
        answers += '-';
        break;
      case Step::resetAll:
        recognizer.resetAll();
        answers += '-';
        break;
    }
  }
  return answers;
}

TEST(ModifierTapRecognizerTest, TapIsWhatHappensBetweenPressAndRelease) {
  const Step cancel{Step::cancelIfTracking};
  const Step resetAll{Step::resetAll};
  const Step resetPress{Step::resetPress};
  struct Case {
    const char* name;
    uint16_t boundKey;
    std::vector<Step> steps;
    std::string expected;
  };
  const Case cases[] = {
      {"a press and release is a tap, however long", kLOpt, {ev(kLOpt, kOpt), ev(kLOpt, 0)}, "01"},
      {"two taps in a row",
       kLOpt,
       {ev(kLOpt, kOpt), ev(kLOpt, 0), ev(kLOpt, kOpt), ev(kLOpt, 0)},
       "0101"},
      {"a release with no press", kLOpt, {ev(kLOpt, 0)}, "0"},
      {"left Control taps", kLCtl, {ev(kLCtl, kCtl), ev(kLCtl, 0)}, "01"},
      {"right Control taps", kRCtl, {ev(kRCtl, kCtl), ev(kRCtl, 0)}, "01"},
      {"right Option bound, left pressed: paired key, nothing",
       kROpt,
       {ev(kLOpt, kOpt), ev(kLOpt, 0)},
       "00"},
      {"right Shift is not a tap key",
       KeyCodes::rightShift,
       {ev(KeyCodes::rightShift, kShift), ev(KeyCodes::rightShift, 0)},
       "00"},
      {"Shift held, then Option tapped",
       kLOpt,
       {ev(kLShift, kShift), ev(kLOpt, kShift | kOpt), ev(kLOpt, kShift), ev(kLShift, 0)},
       "0000"},
      {"Shift pressed and released during the hold",
       kLOpt,
       {ev(kLOpt, kOpt), ev(kLShift, kOpt | kShift), ev(kLShift, kOpt), ev(kLOpt, 0)},
       "0000"},
      {"Caps Lock on", kLOpt, {ev(kLOpt, kCaps | kOpt), ev(kLOpt, kCaps)}, "00"},
      {"Function down at the press", kLOpt, {ev(kLOpt, kFn | kOpt), ev(kLOpt, 0)}, "00"},
      {"another modifier still set at the release",
       kLOpt,
       {ev(kLOpt, kOpt), ev(kLOpt, kCmd)},
       "00"},
      {"a bound-key event adding Command spoils the press",
       kLOpt,
       {ev(kLOpt, kOpt), ev(kLOpt, kOpt | kCmd), ev(kLOpt, 0)},
       "000"},
      // The shared flag stays set when the paired key goes up while the bound key is
      // held, so the paired key counts as down until its own next event.
      {"paired key down first: this and later presses are spoiled until it moves again",
       kLOpt,
       {ev(kROpt, kOpt), ev(kLOpt, kOpt), ev(kROpt, kOpt), ev(kLOpt, 0), ev(kLOpt, kOpt),
        ev(kLOpt, 0), ev(kROpt, kOpt), ev(kROpt, 0), ev(kLOpt, kOpt), ev(kLOpt, 0)},
       "0000000001"},
      {"paired key pressed during the hold",
       kLOpt,
       {ev(kLOpt, kOpt), ev(kROpt, kOpt), ev(kROpt, kOpt), ev(kLOpt, 0)},
       "0000"},
      {"an interruption cancels a tracked press",
       kLOpt,
       {ev(kLOpt, kOpt), cancel, ev(kLOpt, 0)},
       "0-0"},
      {"an interruption with nothing tracked changes nothing",
       kLOpt,
       {cancel, ev(kLOpt, kOpt), ev(kLOpt, 0)},
       "-01"},
      {"resetPress forgets the press but not the paired key",
       kLOpt,
       {ev(kROpt, kOpt), resetPress, ev(kLOpt, kOpt), ev(kLOpt, 0)},
       "0-00"},
      {"resetAll forgets the paired key too",
       kLOpt,
       {ev(kROpt, kOpt), resetAll, ev(kLOpt, kOpt), ev(kLOpt, 0)},
       "0-01"},
      {"resetPress mid-press: the release alone is no tap",
       kLOpt,
       {ev(kLOpt, kOpt), resetPress, ev(kLOpt, 0)},
       "0-0"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ModifierTapRecognizer recognizer(tapBinding(c.boundKey));
    EXPECT_EQ(runTap(recognizer, c.steps), c.expected);
  }
}

TEST(ModifierTapRecognizerTest, ChordTapFiresOnTheLastRelease) {
  const Step cancel{Step::cancelIfTracking};
  struct Case {
    const char* name;
    uint32_t modifiers;
    std::vector<Step> steps;
    std::string expected;
  };
  const Case cases[] = {
      {"Control, Option, Option up, Control up",
       CarbonModifiers::chord,
       {ev(kLCtl, kCtl), ev(kLOpt, kCtl | kOpt), ev(kLOpt, kCtl), ev(kLCtl, 0)},
       "0001"},
      {"released in the other order",
       CarbonModifiers::chord,
       {ev(kLOpt, kOpt), ev(kLCtl, kCtl | kOpt), ev(kLOpt, kCtl), ev(kLCtl, 0)},
       "0001"},
      {"right-hand keys",
       CarbonModifiers::chord,
       {ev(kRCtl, kCtl), ev(kROpt, kCtl | kOpt), ev(kRCtl, kOpt), ev(kROpt, 0)},
       "0001"},
      {"two chords in a row",
       CarbonModifiers::chord,
       {ev(kLCtl, kCtl), ev(kLOpt, kCtl | kOpt), ev(kLOpt, kCtl), ev(kLCtl, 0), ev(kLOpt, kOpt),
        ev(kLCtl, kCtl | kOpt), ev(kLCtl, kOpt), ev(kLOpt, 0)},
       "00010001"},
      {"Option alone", CarbonModifiers::chord, {ev(kLOpt, kOpt), ev(kLOpt, 0)}, "00"},
      {"Control alone", CarbonModifiers::chord, {ev(kLCtl, kCtl), ev(kLCtl, 0)}, "00"},
      {"Shift added while the chord is held",
       CarbonModifiers::chord,
       {ev(kLCtl, kCtl), ev(kLOpt, kCtl | kOpt), ev(kLShift, kCtl | kOpt | kShift),
        ev(kLShift, kCtl | kOpt), ev(kLOpt, kCtl), ev(kLCtl, 0)},
       "000000"},
      {"Caps Lock on",
       CarbonModifiers::chord,
       {ev(kLCtl, kCaps | kCtl), ev(kLOpt, kCaps | kCtl | kOpt), ev(kLOpt, kCaps | kCtl),
        ev(kLCtl, kCaps)},
       "0000"},
      {"an interruption during the chord",
       CarbonModifiers::chord,
       {ev(kLCtl, kCtl), ev(kLOpt, kCtl | kOpt), cancel, ev(kLOpt, kCtl), ev(kLCtl, 0)},
       "00-00"},
      {"a chord binding that is not Control+Option never fires",
       CarbonModifiers::option,
       {ev(kLCtl, kCtl), ev(kLOpt, kCtl | kOpt), ev(kLOpt, kCtl), ev(kLCtl, 0)},
       "0000"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ModifierTapRecognizer recognizer(chordBinding(c.modifiers));
    EXPECT_EQ(runTap(recognizer, c.steps), c.expected);
  }
}

// A region step: a flags event (expecting `expected`), or a forced phase.
struct RegionStep {
  uint16_t keyCode = 0;
  uint64_t modifierFlags = 0;
  Update::Kind expected = Update::Kind::none;
  std::optional<Phase> forcePhase;
};
RegionStep rs(uint16_t keyCode, uint64_t modifierFlags, Update::Kind expected) {
  return {keyCode, modifierFlags, expected, std::nullopt};
}
RegionStep force(Phase phase) {
  return {0, 0, Update::Kind::none, phase};
}

TEST(RegionSelectionShortcutRecognizerTest, ModifierTapBindingArmsAndCancels) {
  using K = Update::Kind;
  struct Case {
    const char* name;
    uint16_t boundKey;
    std::vector<RegionStep> steps;
    Phase finalPhase;
    bool pairedDown = false;
  };
  const Case cases[] = {
      {"press arms, release cancels",
       kLOpt,
       {rs(kLOpt, kOpt, K::armed), rs(kLOpt, 0, K::cancelled)},
       Phase::idle},
      {"a repeated flags event while armed",
       kLOpt,
       {rs(kLOpt, kOpt, K::armed), rs(kLOpt, kOpt, K::none)},
       Phase::armed},
      {"armed, bound key with Command",
       kLOpt,
       {rs(kLOpt, kOpt, K::armed), rs(kLOpt, kOpt | kCmd, K::cancelled)},
       Phase::idle},
      {"Shift pressed and released during the hold cancels at once",
       kLOpt,
       {rs(kLOpt, kOpt, K::armed), rs(kLShift, kOpt | kShift, K::cancelled),
        rs(kLShift, kOpt, K::none), rs(kLOpt, 0, K::none)},
       Phase::idle},
      {"Shift held, then Option",
       kLOpt,
       {rs(kLShift, kShift, K::none), rs(kLOpt, kShift | kOpt, K::none),
        rs(kLOpt, kShift, K::none)},
       Phase::idle},
      {"Caps Lock on", kLOpt, {rs(kLOpt, kCaps | kOpt, K::none)}, Phase::idle},
      {"paired key already down: stays idle",
       kLOpt,
       {rs(kROpt, kOpt, K::none), rs(kLOpt, kOpt, K::none)},
       Phase::idle,
       true},
      {"paired key while armed",
       kLOpt,
       {rs(kLOpt, kOpt, K::armed), rs(kROpt, kOpt, K::cancelled)},
       Phase::idle,
       true},
      {"paired key released clears its flag",
       kLOpt,
       {rs(kROpt, kOpt, K::none), rs(kROpt, 0, K::none), rs(kLOpt, kOpt, K::armed)},
       Phase::armed},
      {"pointer owns it: releasing the key does nothing",
       kLOpt,
       {rs(kLOpt, kOpt, K::armed), force(Phase::pointerOwned), rs(kLOpt, 0, K::none),
        rs(kLShift, 0, K::none)},
       Phase::pointerOwned},
      {"pointer owns it: another modifier cancels",
       kLOpt,
       {force(Phase::pointerOwned), rs(kLShift, kOpt | kShift, K::cancelled)},
       Phase::idle},
      {"pointer owns it: the paired key cancels",
       kLOpt,
       {force(Phase::pointerOwned), rs(kROpt, 0, K::cancelled)},
       Phase::idle},
      {"a binding on no tap key never arms",
       KeyCodes::rightShift,
       {rs(KeyCodes::rightShift, kShift, K::none), force(Phase::armed),
        rs(KeyCodes::rightShift, 0, K::cancelled)},
       Phase::idle},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    RegionSelectionShortcutRecognizer recognizer(tapBinding(c.boundKey));
    for (std::size_t i = 0; i < c.steps.size(); ++i) {
      const RegionStep& step = c.steps[i];
      if (step.forcePhase) {
        recognizer.phase = *step.forcePhase;
        continue;
      }
      EXPECT_EQ(toString(recognizer.handleModifierTap(step.keyCode, step.modifierFlags).kind()),
                toString(step.expected))
          << "step " << i;
    }
    EXPECT_EQ(recognizer.phase, c.finalPhase);
    EXPECT_EQ(recognizer.isPairedModifierDown, c.pairedDown);
  }
}

TEST(RegionSelectionShortcutRecognizerTest, ChordBindingMustStayExactWhileArmed) {
  using K = Update::Kind;
  struct Case {
    const char* name;
    uint32_t modifiers;
    std::vector<RegionStep> steps;
    Phase finalPhase;
  };
  const Case cases[] = {
      {"chord arms; releasing one key cancels",
       CarbonModifiers::chord,
       {rs(kLCtl, kCtl, K::none), rs(kLOpt, kCtl | kOpt, K::armed), rs(kLOpt, kCtl, K::cancelled)},
       Phase::idle},
      {"an exact repeat while armed",
       CarbonModifiers::chord,
       {rs(kLOpt, kCtl | kOpt, K::armed), rs(kRCtl, kCtl | kOpt, K::none)},
       Phase::armed},
      {"exact flags from a key outside the chord do not arm",
       CarbonModifiers::chord,
       {rs(kLCmd, kCtl | kOpt, K::none)},
       Phase::idle},
      {"armed, then Command goes up elsewhere: not a chord key",
       CarbonModifiers::chord,
       {rs(kLOpt, kCtl | kOpt, K::armed), rs(kLCmd, kCtl | kOpt, K::cancelled)},
       Phase::idle},
      {"Caps Lock on",
       CarbonModifiers::chord,
       {rs(kLOpt, kCaps | kCtl | kOpt, K::none)},
       Phase::idle},
      {"pointer owns it: the chord keys may go",
       CarbonModifiers::chord,
       {force(Phase::pointerOwned), rs(kLOpt, kCtl, K::none), rs(kLCtl, 0, K::none)},
       Phase::pointerOwned},
      {"pointer owns it: a foreign modifier cancels",
       CarbonModifiers::chord,
       {force(Phase::pointerOwned), rs(kLOpt, kCtl | kOpt | kShift, K::cancelled)},
       Phase::idle},
      {"pointer owns it: a key outside the chord cancels",
       CarbonModifiers::chord,
       {force(Phase::pointerOwned), rs(kLShift, kCtl | kOpt, K::cancelled)},
       Phase::idle},
      {"a chord that is not Control+Option never arms",
       CarbonModifiers::option,
       {rs(kLCtl, kCtl, K::none), rs(kLOpt, kCtl | kOpt, K::none), force(Phase::armed),
        rs(kLOpt, kCtl | kOpt, K::cancelled)},
       Phase::idle},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    RegionSelectionShortcutRecognizer recognizer(chordBinding(c.modifiers));
    for (std::size_t i = 0; i < c.steps.size(); ++i) {
      const RegionStep& step = c.steps[i];
      if (step.forcePhase) {
        recognizer.phase = *step.forcePhase;
        continue;
      }
      EXPECT_EQ(toString(recognizer.handleModifierChord(step.keyCode, step.modifierFlags).kind()),
                toString(step.expected))
          << "step " << i;
    }
    EXPECT_EQ(recognizer.phase, c.finalPhase);
  }
}

TEST(RegionSelectionShortcutRecognizerTest, CancelReportsOnlyALeftPhase) {
  for (const Phase phase : {Phase::idle, Phase::armed, Phase::pointerOwned}) {
    RegionSelectionShortcutRecognizer recognizer(tapBinding(kLOpt));
    recognizer.phase = phase;
    EXPECT_EQ(recognizer.cancel(), phase == Phase::idle ? Update::none() : Update::cancelled());
    EXPECT_EQ(recognizer.phase, Phase::idle);
  }
}

TEST(RegionSelectionDragRecognizerTest, OneOpenDragAtATimeStampedAtItsPress) {
  const Instant t1 = Instant() + 5ms;
  const Instant t2 = Instant() + 9ms;
  RegionSelectionDragRecognizer drag;
  EXPECT_EQ(drag.update({1, 1}), Update::none());
  EXPECT_EQ(drag.finish({1, 1}), Update::none());

  EXPECT_EQ(drag.begin({10, 20}, t1), Update::began({{10, 20}, {10, 20}, t1}));
  // A second press keeps the open drag's start and instant.
  EXPECT_EQ(drag.begin({99, 99}, t2), Update::none());
  EXPECT_EQ(drag.update({30, 5}), Update::changed({{10, 20}, {30, 5}, t1}));
  EXPECT_EQ(drag.finish({40, 6}), Update::completed({{10, 20}, {40, 6}, t1}));
  EXPECT_EQ(drag.finish({40, 6}), Update::none());

  EXPECT_EQ(drag.begin({1, 2}, t2), Update::began({{1, 2}, {1, 2}, t2}));
  drag.reset();
  EXPECT_FALSE(drag.start);
  EXPECT_EQ(drag.triggeredAt, t2);
  EXPECT_EQ(drag.update({3, 4}), Update::none());
}

TEST(RegionSelectionGestureUpdateTest, ComparesCaseAndGesture) {
  const RegionSelectionGesture a{{1, 2}, {3, 4}, Instant() + 1ms};
  const RegionSelectionGesture b{{1, 2}, {3, 5}, Instant() + 1ms};
  EXPECT_EQ(Update::began(a), Update::began(a));
  EXPECT_NE(Update::began(a), Update::began(b));
  EXPECT_NE(Update::began(a), Update::changed(a));
  EXPECT_NE(Update::completed(a), Update::cancelled());
  EXPECT_EQ(Update(), Update::none());
  EXPECT_NE(Update::armed(), Update::none());
  EXPECT_EQ(Update::armed().gesture(), nullptr);
  ASSERT_NE(Update::changed(b).gesture(), nullptr);
  EXPECT_EQ(*Update::changed(b).gesture(), b);
  EXPECT_EQ(describe(Update::began(a)), "began((1, 2) -> (3, 4) @ 1000000ns)");
}

}  // namespace
}  // namespace trelvis
