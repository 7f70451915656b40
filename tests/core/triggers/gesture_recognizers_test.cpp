#include "core/triggers/modifier_keys.h"
#include "core/triggers/modifier_tap_recognizer.h"
#include "core/triggers/region_selection_drag_recognizer.h"
#include "core/triggers/region_selection_shortcut_recognizer.h"
#include "core/triggers/trigger_steps.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

namespace trelvis {
namespace {

using namespace std::chrono_literals;
using testing::parseSteps;
using testing::TriggerStep;
using Update = RegionSelectionGestureUpdate;
using Phase = RegionSelectionShortcutRecognizer::Phase;

constexpr uint16_t kLOpt = KeyCodes::leftOption;
constexpr uint16_t kROpt = KeyCodes::rightOption;
constexpr uint16_t kRShift = KeyCodes::rightShift;

ShortcutBinding tapOn(uint16_t keyCode) {
  return {"lookupTrigger", ShortcutBindingKind::modifierTap, keyCode, 0};
}
ShortcutBinding chordOf(uint32_t modifiers) {
  return {"lookupTrigger", ShortcutBindingKind::modifierChord, kNoKeyCode, modifiers};
}
const ShortcutBinding kChord = chordOf(CarbonModifiers::chord);

// Each step's answer: '1' for a completed tap, '0' for none, '-' for the
// interruptions "!" (cancelIfTracking), "r" (resetPress) and "R" (resetAll).
std::string runTap(ModifierTapRecognizer& recognizer, const std::string& steps) {
  std::string answers;
  for (const TriggerStep& step : parseSteps(steps)) {
    if (step.op == "!") recognizer.cancelIfTracking();
    if (step.op == "r") recognizer.resetPress();
    if (step.op == "R") recognizer.resetAll();
    if (!step.op.empty()) {
      answers += '-';
    } else if (recognizer.binding.kind == ShortcutBindingKind::modifierChord) {
      answers += recognizer.handleChord(step.keyCode, step.modifierFlags) ? '1' : '0';
    } else {
      answers += recognizer.handle(step.keyCode, step.modifierFlags) ? '1' : '0';
    }
  }
  return answers;
}

TEST(ModifierTapRecognizerTest, TapIsWhatHappensBetweenPressAndRelease) {
  struct Case {
    const char* name;
    ShortcutBinding binding;
    std::string steps;
    std::string expected;
  };
  const Case cases[] = {
      {"a release alone, then two taps", tapOn(kLOpt), "lopt/ lopt/o lopt/ lopt/o lopt/", "00101"},
      {"left Control", tapOn(KeyCodes::leftControl), "lctl/c lctl/", "01"},
      {"right Option bound, left pressed", tapOn(kROpt), "lopt/o lopt/", "00"},
      {"right Shift is not a tap key", tapOn(kRShift), "rsh/s rsh/", "00"},
      {"Shift held, then Option tapped", tapOn(kLOpt), "lsh/s lopt/so lopt/s lsh/", "0000"},
      {"Shift pressed and released during the hold", tapOn(kLOpt), "lopt/o lsh/os lsh/o lopt/",
       "0000"},
      {"Caps Lock on", tapOn(kLOpt), "lopt/ko lopt/k", "00"},
      {"another modifier still set at the release", tapOn(kLOpt), "lopt/o lopt/m", "00"},
      {"a bound-key event adding Command", tapOn(kLOpt), "lopt/o lopt/om lopt/", "000"},
      // The shared flag stays set when the paired key goes up while the bound key is
      // held, so the paired key counts as down until its own next event.
      {"paired key down first spoils presses until it moves again", tapOn(kLOpt),
       "ropt/o lopt/o ropt/o lopt/ lopt/o lopt/ ropt/o ropt/ lopt/o lopt/", "0000000001"},
      {"paired key pressed during the hold", tapOn(kLOpt), "lopt/o ropt/o ropt/o lopt/", "0000"},
      {"an interruption cancels a tracked press only", tapOn(kLOpt),
       "! lopt/o ! lopt/ lopt/o lopt/", "-0-001"},
      {"resetPress keeps the paired key", tapOn(kLOpt), "ropt/o r lopt/o lopt/", "0-00"},
      {"resetAll forgets the paired key too", tapOn(kLOpt), "ropt/o R lopt/o lopt/", "0-01"},
      {"resetPress mid-press: the release alone is no tap", tapOn(kLOpt), "lopt/o r lopt/", "0-0"},
      {"chord: fires on the last release, in either order", kChord,
       "lctl/c lopt/co lopt/c lctl/ lopt/o lctl/co lctl/o lopt/", "00010001"},
      {"chord: right-hand keys", kChord, "rctl/c ropt/co rctl/o ropt/", "0001"},
      {"chord: Option alone, Control alone", kChord, "lopt/o lopt/ lctl/c lctl/", "0000"},
      {"chord: Shift added while held", kChord, "lctl/c lopt/co lsh/cos lsh/co lopt/c lctl/",
       "000000"},
      {"chord: not Control+Option never fires", chordOf(CarbonModifiers::option),
       "lctl/c lopt/co lopt/c lctl/", "0000"},
  };
  for (const Case& c : cases) {
    ModifierTapRecognizer recognizer(c.binding);
    EXPECT_EQ(runTap(recognizer, c.steps), c.expected) << c.name;
  }
}

// Each step's answer: '.' none, 'a' armed, 'x' cancelled; "X" calls cancel().
// "=idle", "=armed" and "=drag" set the phase (the monitor does on pointer
// events) and answer '-'.
TEST(RegionSelectionShortcutRecognizerTest, ArmsWhileTheShortcutIsHeldExactly) {
  struct Case {
    const char* name;
    ShortcutBinding binding;
    std::string steps;
    std::string expected;
    Phase finalPhase;
    bool pairedDown = false;
  };
  const auto idle = Phase::idle;
  const auto armed = Phase::armed;
  const auto dragging = Phase::pointerOwned;
  const auto lopt = tapOn(kLOpt);
  const Case cases[] = {
      {"press arms, release cancels", lopt, "lopt/o lopt/", "ax", idle},
      {"a repeated flags event while armed", lopt, "lopt/o lopt/o", "a.", armed},
      {"armed, bound key with Command", lopt, "lopt/o lopt/om", "ax", idle},
      {"Shift during the hold cancels at once", lopt, "lopt/o lsh/os lsh/o lopt/", "ax..", idle},
      {"Shift held, then Option", lopt, "lsh/s lopt/so lopt/s", "...", idle},
      {"paired key already down", lopt, "ropt/o lopt/o", "..", idle, true},
      {"paired key released clears its flag", lopt, "ropt/o ropt/ lopt/o", "..a", armed},
      {"dragging: releasing the key does nothing", lopt, "lopt/o =drag lopt/ lsh/", "a-..",
       dragging},
      {"dragging: another modifier cancels", lopt, "=drag lsh/os", "-x", idle},
      {"dragging: the paired key cancels", lopt, "=drag ropt/", "-x", idle},
      {"cancel reports only a phase left", lopt, "X =armed X =drag X", ".-x-x", idle},
      {"a binding on no tap key never arms", tapOn(kRShift), "rsh/s =armed rsh/", ".-x", idle},
      {"chord arms; releasing one key cancels", kChord, "lctl/c lopt/co lopt/c", ".ax", idle},
      {"chord: an exact repeat while armed", kChord, "lopt/co rctl/co", "a.", armed},
      {"chord: exact flags from another key do not arm", kChord, "lcmd/co", ".", idle},
      {"chord: armed, then another key", kChord, "lopt/co lcmd/co", "ax", idle},
      {"chord: Caps Lock on", kChord, "lopt/kco", ".", idle},
      {"chord dragging: the chord keys may go", kChord, "=drag lopt/c lctl/", "-..", dragging},
      {"chord dragging: a foreign modifier cancels", kChord, "=drag lopt/cos", "-x", idle},
      {"chord dragging: a key outside the chord cancels", kChord, "=drag lsh/co", "-x", idle},
      {"a chord that is not Control+Option never arms", chordOf(CarbonModifiers::option),
       "lctl/c lopt/co =armed lopt/co", "..-x", idle},
  };
  for (const Case& c : cases) {
    RegionSelectionShortcutRecognizer recognizer(c.binding);
    std::string answers;
    for (const TriggerStep& step : parseSteps(c.steps)) {
      if (step.op.starts_with('=')) {
        recognizer.phase = step.op == "=idle" ? idle : step.op == "=armed" ? armed : dragging;
        answers += '-';
        continue;
      }
      const Update update = step.op == "X" ? recognizer.cancel()
                            : c.binding.kind == ShortcutBindingKind::modifierChord
                                ? recognizer.handleModifierChord(step.keyCode, step.modifierFlags)
                                : recognizer.handleModifierTap(step.keyCode, step.modifierFlags);
      answers += update == Update::armed()       ? 'a'
                 : update == Update::cancelled() ? 'x'
                 : update.isNone()               ? '.'
                                                 : '?';
    }
    EXPECT_EQ(answers, c.expected) << c.name;
    EXPECT_EQ(recognizer.phase, c.finalPhase) << c.name;
    EXPECT_EQ(recognizer.isPairedModifierDown, c.pairedDown) << c.name;
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
  EXPECT_EQ(drag.update({3, 4}), Update::none());
}

// The tables above compare updates; equal cases with other gestures must differ.
TEST(RegionSelectionGestureUpdateTest, ComparesCaseAndGesture) {
  const RegionSelectionGesture a{{1, 2}, {3, 4}, Instant() + 1ms};
  const RegionSelectionGesture b{{1, 2}, {3, 5}, Instant() + 1ms};
  EXPECT_NE(Update::began(a), Update::began(b));
  EXPECT_NE(Update::began(a), Update::changed(a));
}

}  // namespace
}  // namespace trelvis
