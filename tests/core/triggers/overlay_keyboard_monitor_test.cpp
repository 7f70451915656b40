#include "core/triggers/overlay_keyboard_monitor.h"
#include "base/log.h"
#include "core/triggers/overlay_local_keyboard_state.h"
#include "support/fake_input_environment.h"
#include "support/fake_overlay_keyboard_tap.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace trelvis {
namespace {

using T = InputEventType;

constexpr uint64_t kCaps = ModifierFlags::capsLock;
constexpr uint64_t kShift = ModifierFlags::shift;
constexpr uint64_t kChord = ModifierFlags::command;  // the copy chord as taps report it
constexpr uint64_t kOpt = ModifierFlags::option;
constexpr uint64_t kOther = ModifierFlags::control;
constexpr uint64_t kFn = ModifierFlags::function;
constexpr uint16_t kC = KeyCodes::c;
constexpr uint16_t kEsc = KeyCodes::escape;

struct CardState {
  bool visible = true;
  bool pinned = false;
  std::optional<std::string> selectedText = "hello";
};

// A key event with the answer expected for it, or a change of the card.
struct Step {
  std::optional<OverlayKeyboardEvent> event;
  bool swallowed = false;
  std::optional<CardState> card;
};
Step down(uint16_t keyCode, uint64_t flags, bool swallowed) {
  return {OverlayKeyboardEvent{T::keyDown, keyCode, flags, false}, swallowed, std::nullopt};
}
Step repeat(uint16_t keyCode, uint64_t flags, bool swallowed) {
  return {OverlayKeyboardEvent{T::keyDown, keyCode, flags, true}, swallowed, std::nullopt};
}
Step up(uint16_t keyCode, bool swallowed) {
  return {OverlayKeyboardEvent{T::keyUp, keyCode, 0, false}, swallowed, std::nullopt};
}
Step card(CardState state) {
  return {std::nullopt, false, state};
}

struct Harness {
  explicit Harness(uint64_t copyModifier = kPlatformCopyChordModifier) {
    OverlayKeyboardMonitor::Closures closures;
    closures.isOverlayVisible = [this] {
      return state.visible;
    };
    closures.isOverlayPinned = [this] {
      return state.pinned;
    };
    closures.selectedText = [this] {
      return state.selectedText;
    };
    closures.onEscape = [this] {
      log.push_back("escape");
    };
    closures.onCopy = [this](const std::string& text) {
      log.push_back("copy " + text);
    };
    monitor = std::make_shared<OverlayKeyboardMonitor>(permission, tap, std::move(closures),
                                                       copyModifier);
  }
  FakeAccessibilityPermission permission;
  FakeOverlayKeyboardTap tap;
  CardState state;
  std::vector<std::string> log;
  std::shared_ptr<OverlayKeyboardMonitor> monitor;
};

TEST(OverlayKeyboardMonitorTest, SwallowsEscapeAndTheCopyChordWithTheirKeyUps) {
  CardState pinned;
  pinned.pinned = true;
  CardState hidden;
  hidden.visible = false;
  CardState noSelection;
  noSelection.selectedText = std::nullopt;
  CardState emptySelection;
  emptySelection.selectedText = "";
  struct Case {
    const char* name;
    std::vector<Step> steps;
    std::vector<std::string> expected;
    uint64_t copyModifier = kPlatformCopyChordModifier;
  };
  const Case cases[] = {
      {"Escape with its repeats and key-up; a second key-up goes on",
       {down(kEsc, 0, true), repeat(kEsc, 0, true), repeat(kEsc, 0, true), up(kEsc, true),
        up(kEsc, false)},
       {"escape"}},
      {"Escape on a pinned card reaches the application",
       {card(pinned), down(kEsc, 0, false), repeat(kEsc, 0, false), up(kEsc, false)},
       {}},
      {"the card hides while Escape is held: the key-up is still swallowed",
       {down(kEsc, 0, true), card(hidden), repeat(kEsc, 0, true), up(kEsc, true)},
       {"escape"}},
      {"no card: nothing is swallowed", {card(hidden), down(kEsc, 0, false), up(kEsc, false)}, {}},
      {"the copy chord copies the selection",
       {down(kC, kChord, true), repeat(kC, kChord, true), up(kC, true)},
       {"copy hello"}},
      {"Caps Lock and Function do not matter to the chord",
       {down(kC, kChord | kCaps | kFn, true), up(kC, true)},
       {"copy hello"}},
      {"the copy chord with no selection reaches the application",
       {card(noSelection), down(kC, kChord, false), card(emptySelection), down(kC, kChord, false),
        up(kC, false)},
       {}},
      {"the chord with Shift or Option, or plain C, always reaches the application",
       {down(kC, kChord | kShift, false), down(kC, kChord | kOpt, false), down(kC, 0, false),
        down(kC, kOther, false), repeat(kC, kChord, false)},
       {}},
      {"other keys and their repeats go on",
       {down(0, kChord, false), repeat(0, kChord, false), up(0, false), repeat(kEsc, 0, false)},
       {}},
      {"with Control as the chord modifier, Control+C copies and Command+C does not",
       {down(kC, kOther, true), up(kC, true), down(kC, kChord, false)},
       {"copy hello"},
       kOther},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Harness h(c.copyModifier);
    ASSERT_TRUE(h.monitor->start());
    for (std::size_t i = 0; i < c.steps.size(); ++i) {
      const Step& step = c.steps[i];
      if (step.card) {
        h.state = *step.card;
        continue;
      }
      EXPECT_EQ(h.tap.send(*step.event), step.swallowed) << "step " << i;
    }
    EXPECT_EQ(h.log, c.expected);
  }
}

TEST(OverlayKeyboardMonitorTest, StartsWithTrustAndForgetsPendingKeyUpsWhenStopped) {
  Harness h;
  h.permission.trusted = false;
  EXPECT_FALSE(h.monitor->start());
  EXPECT_EQ(h.tap.startCount, 0);
  h.permission.trusted = true;
  h.tap.startSucceeds = false;
  EXPECT_FALSE(h.monitor->start());
  EXPECT_FALSE(h.monitor->isRunning());
  h.tap.startSucceeds = true;
  ASSERT_TRUE(h.monitor->start());
  EXPECT_TRUE(h.monitor->isRunning());

  EXPECT_TRUE(h.tap.send({T::keyDown, kEsc, 0, false}));
  EXPECT_TRUE(h.monitor->isKeyUpPending(kEsc));
  h.monitor->stop();
  EXPECT_FALSE(h.monitor->isRunning());
  EXPECT_FALSE(h.monitor->isKeyUpPending(kEsc));
  EXPECT_FALSE(h.monitor->handleEvent({T::keyUp, kEsc, 0, false}));
}

TEST(OverlayKeyboardMonitorTest, ReEnablesADisabledTap) {
  LogCapture capture;
  Harness h;
  ASSERT_TRUE(h.monitor->start());
  EXPECT_FALSE(h.tap.send({T::tapDisabledByTimeout, 0, 0, false}));
  EXPECT_FALSE(h.tap.send({T::tapDisabledByUserInput, 0, 0, false}));
  EXPECT_FALSE(h.tap.send({T::flagsChanged, KeyCodes::leftOption, kOpt, false}));
  EXPECT_EQ(h.tap.enableCount, 2);
  const std::vector<LogRecord> expected = {
      {"overlay-keyboard-tap", LogLevel::error, "tap disabled by timeout — re-enabling"},
      {"overlay-keyboard-tap", LogLevel::error, "tap disabled by user input — re-enabling"},
  };
  EXPECT_EQ(capture.records("overlay-keyboard-tap"), expected);

  // Once the monitor is gone its tap swallows nothing.
  EXPECT_TRUE(h.tap.send({T::keyDown, kEsc, 0, false}));
  h.monitor.reset();
  EXPECT_FALSE(h.tap.send({T::keyUp, kEsc, 0, false}));
}

TEST(OverlayLocalKeyboardStateTest, ConsumesTheRepeatsAndReleaseOfOneKey) {
  OverlayLocalKeyboardState state;
  EXPECT_FALSE(state.consumesRepeat(kEsc));
  EXPECT_FALSE(state.consumeKeyUp(kEsc));
  state.recordConsumedKeyDown(kEsc);
  EXPECT_TRUE(state.consumesRepeat(kEsc));
  EXPECT_FALSE(state.consumesRepeat(kC));
  EXPECT_FALSE(state.consumeKeyUp(kC));
  EXPECT_TRUE(state.consumeKeyUp(kEsc));
  EXPECT_FALSE(state.consumeKeyUp(kEsc));
  EXPECT_EQ(state, OverlayLocalKeyboardState{});
}

}  // namespace
}  // namespace trelvis
