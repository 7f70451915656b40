#include "core/triggers/shortcut_controller.h"

#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "base/async/test_scheduler.h"
#include "core/prefs/in_memory_preference_store.h"
#include "core/triggers/trigger_steps.h"
#include "support/command_tap_monitors.h"
#include "support/fake_command_event_tap.h"
#include "support/fake_hot_key_registrar.h"
#include "support/fake_input_environment.h"
#include "support/fake_local_event_monitor.h"
#include "support/thrown.h"

namespace trelvis {
namespace {

using namespace std::chrono_literals;
using Kind = ShortcutControllerError::Kind;
using Error = ShortcutControllerError;
using T = InputEventType;

constexpr uint64_t kOption = ModifierFlags::option;
constexpr uint32_t kCarbonOption = 0x800;
constexpr uint16_t kS = 1;
constexpr uint16_t kI = 34;

// A key pressed and released with `flags`, as the recorder's monitor sees it.
std::vector<LocalInputEvent> press(uint16_t keyCode, uint64_t flags = 0) {
  return {{T::keyDown, keyCode, flags, false, {}}, {T::keyUp, keyCode, flags, false, {}}};
}
// Flags-changed events in the notation of trigger_steps.h.
std::vector<LocalInputEvent> flagSteps(const std::string& steps) {
  std::vector<LocalInputEvent> events;
  for (const auto& step : testing::parseSteps(steps)) {
    events.push_back({step.type, step.keyCode, step.modifierFlags, false, {}});
  }
  return events;
}

class ShortcutControllerTest : public ::testing::Test {
 protected:
  ShortcutControllerTest() {
    pointer_.setLocation({40, 50});
    frontmost_.setProcessIdentifier(77);
  }

  // Made on first use, so that a test can store bindings before the controller loads them.
  ShortcutController& controller() {
    if (!controller_) makeController();
    return *controller_;
  }

  void makeController() {
    controller_ = std::make_shared<ShortcutController>(
        main_, store_, testing::commandTapMonitorsOver(permission_, tap_, scheduler_),
        ShortcutController::Platform{permission_, hotKeys_, localEvents_, pointer_, frontmost_,
                                     scheduler_, [this] {
                                       return applicationActive_;
                                     }});
    auto& c = *controller_;
    c.onLookupTriggered = [this](const HotKeyEvent& e) {
      log_.push_back(fmt::format("lookup {} {},{}{}", e.source, e.mouseX, e.mouseY,
                                 e.targetPID ? " pid" : ""));
    };
    c.onSelectTranslateTriggered = [this](const HotKeyEvent& e, bool shared) {
      log_.push_back(fmt::format("select {}{}{}", e.source, shared ? " shared" : "",
                                 e.targetPID ? " pid" : ""));
    };
    c.onRegionSelection = [this](const auto& u) {
      log_.push_back(fmt::format("region {}", toString(u.kind())));
    };
    c.onInputTranslateTriggered = [this] {
      log_.push_back("input");
    };
  }

  void tapLeftOption() {
    tap_.send(T::flagsChanged, KeyCodes::leftOption, kOption);
    tap_.send(T::flagsChanged, KeyCodes::leftOption, 0);
  }

  void sendLocal(const std::vector<LocalInputEvent>& events) {
    for (const LocalInputEvent& event : events) localEvents_.send(event);
  }

  Task<ShortcutBinding> record(std::string actionId) {
    return spawn(main_, [this, actionId]() -> Async<ShortcutBinding> {
      co_return co_await controller().record(actionId);
    });
  }

  static std::optional<Error> error(const Task<ShortcutBinding>& task) {
    return testing::thrownBy<Error>([&] { task.value(); });
  }

  TestScheduler scheduler_;
  std::shared_ptr<Executor> main_ = scheduler_.makeExecutor();
  InMemoryPreferenceStore preferences_;
  ShortcutBindingStore store_{preferences_};
  FakeAccessibilityPermission permission_;
  FakeCommandEventTap tap_;
  FakeHotKeyRegistrar hotKeys_;
  FakeLocalEventMonitor localEvents_;
  FakePointerLocator pointer_;
  FakeFrontmostApplication frontmost_;
  bool applicationActive_ = false;
  std::shared_ptr<ShortcutController> controller_;
  std::vector<std::string> log_;
};

TEST_F(ShortcutControllerTest, DefaultBindingsRouteTapsAndHotKeys) {
  controller().start();
  EXPECT_TRUE(tap_.isStarted());
  EXPECT_FALSE(controller().isRetrying());
  auto registered = hotKeys_.registrations();
  ASSERT_EQ(registered.size(), 2u);  // select Option+S (3) and input Option+I (4)
  EXPECT_EQ(registered.at(ShortcutController::kSelectHotKeyID).keyCode, kS);
  EXPECT_TRUE(registered.contains(ShortcutController::kInputHotKeyID));

  tapLeftOption();
  scheduler_.runUntilIdle();
  hotKeys_.press(kS, kCarbonOption);
  hotKeys_.press(kI, kCarbonOption);
  EXPECT_EQ(log_,
            (std::vector<std::string>{"region armed", "region cancelled",
                                      "lookup modifier_tap 40,50", "select hotkey pid", "input"}));
}

TEST_F(ShortcutControllerTest, FallsBackAndRetriesEveryTwoSecondsWhileUntrusted) {
  permission_.trusted = false;
  applicationActive_ = true;
  controller().start();
  EXPECT_FALSE(tap_.isStarted());
  EXPECT_TRUE(controller().isLocalMonitorRunning());
  EXPECT_TRUE(controller().isRetrying());
  // The in-process monitor gives taps while the application is in front.
  sendLocal(flagSteps("lopt/o lopt/"));
  EXPECT_EQ(log_.back(), "lookup modifier_tap 40,50");

  // In front, the activation path owns the retries: the loop ends at once.
  scheduler_.runUntilIdle();
  EXPECT_FALSE(controller().isRetrying());

  applicationActive_ = false;
  controller().refreshMonitor();
  EXPECT_FALSE(controller().isLocalMonitorRunning());
  ASSERT_TRUE(controller().isRetrying());
  const int attempts = tap_.startCount;
  scheduler_.advanceBy(5s);              // tries at 0, 2 and 4 seconds; still untrusted
  EXPECT_EQ(tap_.startCount, attempts);  // no trust, no attempt to start the tap
  permission_.trusted = true;
  scheduler_.advanceBy(999ms);
  EXPECT_FALSE(tap_.isStarted());
  scheduler_.advanceBy(1ms);  // the retry at 6 seconds
  EXPECT_TRUE(tap_.isStarted());
  EXPECT_FALSE(controller().isRetrying());
  EXPECT_EQ(scheduler_.pendingCount(), 0u);
}

// Gestures hop from the tap thread to the main executor. One still queued when a
// binding change begins (recording suspends the monitors, the new binding
// rebuilds them) belongs to the old bindings and is dropped.
TEST_F(ShortcutControllerTest, GestureQueuedBeforeABindingChangeIsDropped) {
  controller().start();
  auto recording = spawn(main_, [this]() -> Async<ShortcutBinding> {
    tapLeftOption();  // its delivery is queued behind this job
    co_return co_await controller().record("lookupTrigger");
  });
  scheduler_.runUntilIdle();
  EXPECT_TRUE(log_.empty());
  sendLocal(press(2, ModifierFlags::control));
  scheduler_.runUntilIdle();
  EXPECT_EQ(recording.value().kind, ShortcutBindingKind::keyCombo);
  EXPECT_TRUE(log_.empty());

  // The same holds for a rebuild while typing into a text field.
  applicationActive_ = true;
  controller().refreshMonitor();
  tap_.send(T::flagsChanged, KeyCodes::leftOption, kOption);
  controller().setTextInputFocused(true);
  scheduler_.runUntilIdle();
  EXPECT_TRUE(log_.empty());
}

TEST_F(ShortcutControllerTest, RecordingSuspendsTriggersAndSavesTheNewBinding) {
  controller().start();
  auto task = record("lookupTrigger");
  auto second = record("selectTranslateTrigger");
  scheduler_.runUntilIdle();
  EXPECT_EQ(error(second), Error(Kind::recordingInProgress));
  EXPECT_TRUE(controller().isRecording());
  EXPECT_FALSE(tap_.isStarted());
  EXPECT_TRUE(hotKeys_.registrations().empty());

  // Control+D: the key-down is swallowed, the result waits for the key-up.
  EXPECT_FALSE(localEvents_.send({T::keyDown, 2, ModifierFlags::control, false, {}}));
  scheduler_.runUntilIdle();
  EXPECT_FALSE(task.isDone());
  EXPECT_FALSE(localEvents_.send({T::keyUp, 2, ModifierFlags::control, false, {}}));
  scheduler_.runUntilIdle();
  ASSERT_TRUE(task.isDone());
  const ShortcutBinding expected{"lookupTrigger", ShortcutBindingKind::keyCombo, 2, 0x1000};
  EXPECT_EQ(task.value(), expected);
  EXPECT_EQ(controller().lookupBinding(), expected);
  EXPECT_EQ(store_.binding("lookupTrigger"), expected);
  EXPECT_FALSE(controller().isRecording());
  EXPECT_EQ(hotKeys_.registrations().at(ShortcutController::kLookupHotKeyID).keyCode, 2);
  EXPECT_TRUE(tap_.isStarted());  // region is still a modifier gesture
}

TEST_F(ShortcutControllerTest, RecordingFailures) {
  using F = ShortcutRecordingFailure;
  struct Case {
    const char* name;
    const char* actionId;
    std::vector<LocalInputEvent> events;
    Error expected;
  };
  const Case cases[] = {
      {"escape cancels after its key-up", "lookupTrigger", press(53), Error(Kind::cancelled)},
      {"left Option for the input panel", "inputTranslateTrigger", flagSteps("lopt/o lopt/"),
       Error(F::inputRequiresKeyCombo)},
      {"chord with Shift added", "lookupTrigger",
       flagSteps("lctl/c lopt/co lsh/cos lsh/co lopt/c lctl/"), Error(F::unsupportedShortcut)},
      {"both Options", "lookupTrigger", flagSteps("lopt/o ropt/o ropt/o lopt/"),
       Error(F::unsupportedShortcut)},
      {"Fn alone", "lookupTrigger", flagSteps("fn/f"), Error(F::unsupportedModifier)},
      {"Command+Q", "selectTranslateTrigger", press(12, ModifierFlags::command),
       Error(F::conflictsWithSystemShortcut)},
  };
  controller().start();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const ShortcutBinding before = store_.binding(c.actionId);
    auto task = record(c.actionId);
    scheduler_.runUntilIdle();
    sendLocal(c.events);
    scheduler_.runUntilIdle();
    ASSERT_TRUE(task.isDone());
    EXPECT_EQ(error(task), c.expected);
    EXPECT_FALSE(controller().isRecording());
    EXPECT_EQ(localEvents_.monitorCount(), 0u);  // the recorder stopped, the app is inactive
    EXPECT_EQ(store_.binding(c.actionId), before);
    EXPECT_TRUE(tap_.isStarted());  // triggers are back
  }
}

// The main window's test resets with forward delete; this is the other key.
TEST_F(ShortcutControllerTest, BackspaceResetsToTheDefaultAndCancellingTheTaskEndsTheRecording) {
  store_.save({"lookupTrigger", ShortcutBindingKind::modifierTap, 61, 0});
  controller().start();
  auto reset = record("lookupTrigger");
  scheduler_.runUntilIdle();
  sendLocal(press(51));
  scheduler_.runUntilIdle();
  EXPECT_EQ(store_.binding("lookupTrigger").keyCode, 58);

  auto cancelled = record("selectTranslateTrigger");
  scheduler_.runUntilIdle();
  EXPECT_TRUE(controller().isRecording());
  cancelled.cancel();
  scheduler_.runUntilIdle();
  EXPECT_FALSE(controller().isRecording());
  EXPECT_TRUE(tap_.isStarted());
  EXPECT_EQ(error(cancelled), Error(Kind::cancelled));
}

TEST_F(ShortcutControllerTest, SharedLookupAndSelectCombinationRegistersOneHotKey) {
  const ShortcutBinding optionS{"lookupTrigger", ShortcutBindingKind::keyCombo, kS, kCarbonOption};
  store_.save(optionS);
  controller().start();
  auto registered = hotKeys_.registrations();
  EXPECT_TRUE(registered.contains(ShortcutController::kLookupHotKeyID));
  EXPECT_FALSE(registered.contains(ShortcutController::kSelectHotKeyID));
  hotKeys_.press(kS, kCarbonOption);
  EXPECT_EQ(log_, (std::vector<std::string>{"select hotkey shared pid"}));

  // Typing into a sign-in field (with the application in front) suspends
  // everything, and the hot keys come back after.
  applicationActive_ = true;
  controller().setTextInputFocused(true);
  EXPECT_TRUE(hotKeys_.registrations().empty());
  EXPECT_FALSE(tap_.isStarted());
  controller().setTextInputFocused(false);
  EXPECT_EQ(hotKeys_.registrations().size(), 2u);
}

TEST_F(ShortcutControllerTest, StoppingCancelsAnActiveRegionSelection) {
  controller().start();
  tap_.send(T::flagsChanged, KeyCodes::leftOption, kOption);
  tap_.send(T::leftMouseDown, 0, kOption, {10, 10});
  scheduler_.runUntilIdle();
  EXPECT_EQ(log_, (std::vector<std::string>{"region armed", "region began"}));
  controller().stop();
  scheduler_.runUntilIdle();
  EXPECT_EQ(log_.back(), "region cancelled");
  EXPECT_FALSE(hotKeys_.hasHandler());
  EXPECT_FALSE(tap_.isStarted());
}

}  // namespace
}  // namespace trelvis
