#include "core/triggers/overlay_keyboard_monitor.h"
#include "base/log.h"
#include "core/triggers/trigger_steps.h"
#include "support/fake_input_environment.h"
#include "support/fake_overlay_keyboard_tap.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace trelvis {
namespace {

using T = InputEventType;

constexpr uint16_t kC = KeyCodes::c;
constexpr uint16_t kEsc = KeyCodes::escape;

struct Harness {
  explicit Harness(uint64_t copyModifier = kPlatformCopyChordModifier) {
    monitor = std::make_shared<OverlayKeyboardMonitor>(
        permission, tap,
        OverlayKeyboardMonitor::Closures{[this] { return visible; }, [] { return false; },
                                         [this] { return selection; },
                                         [this] { log.push_back("escape"); },
                                         [this](const std::string& text) {
                                           log.push_back("copy " + text);
                                         }},
        copyModifier);
  }

  // Sends the key events of `steps` and answers, for each, '1' when it was
  // swallowed and '0' when it went on. A step is "esc", "c" or "a", then "*" for
  // an auto-repeat or "^" for the release, then the flags as in trigger_steps.h
  // ("c/m": C with Command, the copy chord as taps report it). "[hidden]",
  // "[noselection]" and "[empty]" change the card and answer '-'. A pinned
  // card is the window system tap's test.
  std::string send(const std::string& steps) {
    std::istringstream words(steps);
    std::string answers;
    for (std::string word; words >> word;) {
      if (word.starts_with('[')) {
        visible = visible && word != "[hidden]";
        if (word == "[noselection]") selection = std::nullopt;
        if (word == "[empty]") selection = "";
        answers += '-';
        continue;
      }
      const size_t slash = std::min(word.find('/'), word.size());
      const OverlayKeyboardEvent event{
          word.find('^') < slash ? T::keyUp : T::keyDown,
          word.starts_with("esc") ? kEsc
          : word.starts_with('c') ? kC
                                  : uint16_t{0},
          testing::parseFlags(word.substr(std::min(slash + 1, word.size()))),
          word.find('*') < slash};
      answers += tap.send(event) ? '1' : '0';
    }
    return answers;
  }

  FakeAccessibilityPermission permission;
  FakeOverlayKeyboardTap tap;
  bool visible = true;
  std::optional<std::string> selection = "hello";
  std::vector<std::string> log;
  std::shared_ptr<OverlayKeyboardMonitor> monitor;
};

TEST(OverlayKeyboardMonitorTest, SwallowsEscapeAndTheCopyChordWithTheirKeyUps) {
  struct Case {
    const char* name;
    const char* steps;
    const char* swallowed;
    const char* calls;  // what the card was asked to do, joined by "; "
  };
  const Case cases[] = {
      {"Escape with its repeats and key-up; a second key-up goes on", "esc esc* esc* esc^ esc^",
       "11110", "escape"},
      {"the card hides while Escape is held: the key-up is still swallowed",
       "esc [hidden] esc* esc^", "1-11", "escape"},
      {"no card: nothing is swallowed", "[hidden] esc esc^ c/m", "-000", ""},
      {"the copy chord copies the selection", "c/m c*/m c^", "111", "copy hello"},
      {"Caps Lock and Function do not matter to the chord", "c/mkf c^", "11", "copy hello"},
      {"the copy chord with no selection reaches the application",
       "[noselection] c/m [empty] c/m c^", "-0-00", ""},
      {"the chord with Shift or Option, or plain C, reaches the application",
       "c/ms c/mo c c/c c*/m", "00000", ""},
      {"other keys go on, and so do repeats of keys not swallowed", "a/m a*/m a^ esc* c*/m",
       "00000", ""},
  };
  for (const Case& c : cases) {
    Harness h;
    ASSERT_TRUE(h.monitor->start());
    EXPECT_EQ(h.send(c.steps), c.swallowed) << c.name;
    EXPECT_EQ(fmt::format("{}", fmt::join(h.log, "; ")), c.calls) << c.name;
  }
  // With Control as the chord modifier, Control+C copies and Command+C does not.
  Harness control(ModifierFlags::control);
  ASSERT_TRUE(control.monitor->start());
  EXPECT_EQ(control.send("c/c c^ c/m"), "110");
  EXPECT_EQ(control.log, std::vector<std::string>{"copy hello"});
}

TEST(OverlayKeyboardMonitorTest, StartsWithTrustReEnablesAndForgetsPendingKeyUpsWhenStopped) {
  LogCapture capture;
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

  EXPECT_FALSE(h.tap.send({T::tapDisabledByTimeout, 0, 0, false}));
  EXPECT_FALSE(h.tap.send({T::tapDisabledByUserInput, 0, 0, false}));
  EXPECT_FALSE(h.tap.send({T::flagsChanged, KeyCodes::leftOption, ModifierFlags::option, false}));
  EXPECT_EQ(h.tap.enableCount, 2);
  const std::vector<LogRecord> expected = {
      {"overlay-keyboard-tap", LogLevel::error, "tap disabled by timeout — re-enabling"},
      {"overlay-keyboard-tap", LogLevel::error, "tap disabled by user input — re-enabling"},
  };
  EXPECT_EQ(capture.records("overlay-keyboard-tap"), expected);

  EXPECT_EQ(h.send("esc"), "1");
  EXPECT_TRUE(h.monitor->isKeyUpPending(kEsc));
  h.monitor->stop();
  EXPECT_FALSE(h.monitor->isRunning());
  EXPECT_FALSE(h.monitor->isKeyUpPending(kEsc));
  EXPECT_FALSE(h.monitor->handleEvent({T::keyUp, kEsc, 0, false}));

  // Once the monitor is gone its tap swallows nothing.
  ASSERT_TRUE(h.monitor->start());
  EXPECT_EQ(h.send("esc"), "1");
  h.monitor.reset();
  EXPECT_EQ(h.send("esc^"), "0");
}

}  // namespace
}  // namespace trelvis
