#include "base/async/test_scheduler.h"
#include "base/log.h"
#include "core/triggers/command_tap_monitor.h"
#include "core/triggers/local_option_tap_monitor.h"
#include "core/triggers/modifier_keys.h"
#include "core/triggers/trigger_steps.h"
#include "support/fake_command_event_tap.h"
#include "support/fake_input_environment.h"
#include "support/fake_local_event_monitor.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace trelvis {
namespace {

using namespace std::chrono_literals;
using testing::parseSteps;
using testing::TriggerStep;
using Update = RegionSelectionGestureUpdate;
using T = InputEventType;

constexpr uint64_t kOpt = ModifierFlags::option;
constexpr uint16_t kLOpt = KeyCodes::leftOption;

ShortcutBinding tap(std::string_view actionId, uint16_t keyCode) {
  return {std::string(actionId), ShortcutBindingKind::modifierTap, keyCode, 0};
}
ShortcutBinding chord(std::string_view actionId) {
  return {std::string(actionId), ShortcutBindingKind::modifierChord, kNoKeyCode,
          CarbonModifiers::chord};
}
const ShortcutBinding kLookupTap = tap(ShortcutActionId::lookup, kLOpt);
const ShortcutBinding kRegionTap = tap(ShortcutActionId::regionSelection, kLOpt);

// "armed", "began 1,2 3,4 5ms", "lookup", "select shared 7,8", "enable".
std::string entry(const Update& update) {
  const RegionSelectionGesture* g = update.gesture();
  if (!g) return std::string(toString(update.kind()));
  return fmt::format("{} {},{} {},{} {}ms", toString(update.kind()), g->start.x, g->start.y,
                     g->end.x, g->end.y, (g->triggeredAt - Instant()) / 1ms);
}
std::string selectEntry(bool shared, Point at) {
  return fmt::format("select{} {},{}", shared ? " shared" : "", at.x, at.y);
}

// Steps in the notation of trigger_steps.h, plus "timeout" and "userinput" (the
// platform disabled the tap), "stop", "cancel" (cancelRegionSelection), "consume"
// (consumeLookupTapForRegionSelection) and "noselect" (configureSelect(none)).
struct Case {
  const char* name;
  std::string steps;
  std::string expected;  // the deliveries, joined by "; "
  std::optional<ShortcutBinding> lookup = kLookupTap;
  std::optional<ShortcutBinding> region = kRegionTap;
  std::optional<ShortcutBinding> select = std::nullopt;
  bool commandTapOnly = false;  // steps the in-process monitor has no counterpart for
};

// The same decisions come out of both monitors; these rows run through each.
// Unless a row says otherwise, lookup and region are both bound to a left Option tap.
std::vector<Case> sharedCases() {
  const auto none = std::nullopt;
  const auto selectTapL = tap(ShortcutActionId::selectTranslate, kLOpt);
  const auto regionChord = chord(ShortcutActionId::regionSelection);
  return {
      {"tap: the region update comes first, then the tap", "lopt/o lopt/",
       "armed; cancelled; lookup"},
      {"drag: stamped at the press, outlives the modifier, no tap after",
       "lopt/o +5ms down@10,20 lopt/ drag@30,40 up@50,60",
       "armed; began 10,20 10,20 5ms; changed 10,20 30,40 5ms; completed 10,20 50,60 5ms"},
      {"a key, another button or a right click while the modifier is held cancels once",
       "lopt/o key lopt/ lopt/o other@0,0 lopt/ lopt/o right@1,1 lopt/",
       "armed; cancelled; armed; cancelled; armed; cancelled"},
      {"a right click during a drag ends it", "lopt/o down@1,1 right@2,2 drag@3,3 up@4,4 lopt/",
       "armed; began 1,1 1,1 0ms; cancelled"},
      {"a modifier added during a drag ends it", "lopt/o down@1,1 lsh/os drag@3,3 up@4,4",
       "armed; began 1,1 1,1 0ms; cancelled"},
      {"a left click with nothing armed spoils the tap without an update",
       "lopt/o down@1,1 up@1,1 lopt/", "", kLookupTap, regionChord},
      {"a release with no open drag: no update, the phase stays armed",
       "up@1,1 lopt/o up@2,2 down@3,3", "armed; began 3,3 3,3 0ms", none},
      {"select sharing the lookup binding: only the select recognizer runs", "lopt/o@7,8 lopt/@7,8",
       "armed; cancelled; select shared 7,8", kLookupTap, kRegionTap, selectTapL},
      {"select on right Option beside lookup on left Option", "ropt/o@1,2 ropt/@1,2 lopt/o lopt/",
       "select 1,2; armed; cancelled; lookup", kLookupTap, kRegionTap,
       tap(ShortcutActionId::selectTranslate, KeyCodes::rightOption)},
      {"a chord select beside a tap lookup", "lctl/c lopt/co lopt/c lctl/@4,4", "select 4,4",
       kLookupTap, none, chord(ShortcutActionId::selectTranslate)},
      {"the region chord arms and drags", "lctl/c lopt/co down@1,1 lopt/c up@2,2 lctl/",
       "armed; began 1,1 1,1 0ms; completed 1,1 2,2 0ms", none, regionChord},
      {"stopping cancels an armed selection", "lopt/o stop", "armed; cancelled"},
      {"cancelRegionSelection goes idle silently and leaves the tap", "lopt/o cancel lopt/",
       "armed; lookup"},
      {"consumeLookupTapForRegionSelection spoils the tap", "lopt/o consume lopt/",
       "armed; cancelled", kLookupTap, kRegionTap, selectTapL},
      {"tap disabled while armed: re-enabled, then cancelled; the press is dropped",
       "lopt/o timeout lopt/", "armed; enable; cancelled", kLookupTap, kRegionTap, none, true},
      {"tap disabled during a drag: the drag goes on", "lopt/o down@1,1 userinput drag@4,4 up@5,5",
       "armed; began 1,1 1,1 0ms; enable; changed 1,1 4,4 0ms; completed 1,1 5,5 0ms", kLookupTap,
       kRegionTap, none, true},
      {"removing the select binding brings the lookup recognizer back", "noselect lopt/o lopt/",
       "armed; cancelled; lookup", kLookupTap, kRegionTap, selectTapL, true},
  };
}

template <class Send, class Op>
void runSteps(const Case& c, TestScheduler& clock, Send send, Op op) {
  for (const TriggerStep& step : parseSteps(c.steps)) {
    if (step.kind == TriggerStep::Kind::advance) clock.advanceBy(step.by);
    if (step.op == "timeout") send({.type = T::tapDisabledByTimeout});
    if (step.op == "userinput") send({.type = T::tapDisabledByUserInput});
    if (step.kind == TriggerStep::Kind::event) send(step);
    if (step.kind == TriggerStep::Kind::op) op(step.op);
  }
}

// Every closure also reads the recognizers, which takes the monitor's lock: a
// delivery made while the lock is held would deadlock here.
TEST(CommandTapMonitorTest, DecidesAndDeliversInOrder) {
  for (const Case& c : sharedCases()) {
    FakeAccessibilityPermission permission;
    FakeCommandEventTap eventTap;
    TestScheduler clock;
    std::vector<std::string> log;
    std::shared_ptr<CommandTapMonitor> monitor;
    auto note = [&](std::string line) {
      log.push_back(std::move(line));
      (void)monitor->recognizers();
    };
    eventTap.onEnable = [&] {
      note("enable");
    };
    monitor = std::make_shared<CommandTapMonitor>(
        permission, eventTap, clock, c.lookup, c.region, [&] { note("lookup"); },
        [&](const Update& update) { note(entry(update)); });
    if (c.select) {
      monitor->configureSelect(c.select,
                               [&](bool shared, Point at) { note(selectEntry(shared, at)); });
    }
    ASSERT_TRUE(monitor->start());
    runSteps(
        c, clock,
        [&](const TriggerStep& s) {
          ASSERT_TRUE(eventTap.send(s.type, s.keyCode, s.modifierFlags, s.location));
        },
        [&](const std::string& op) {
          if (op == "cancel") monitor->cancelRegionSelection();
          if (op == "consume") monitor->consumeLookupTapForRegionSelection();
          if (op == "noselect") monitor->configureSelect(std::nullopt, nullptr);
          if (op == "stop") {
            monitor->stop();
            EXPECT_FALSE(eventTap.isStarted());
            EXPECT_FALSE(monitor->isRunning());
          }
        });
    EXPECT_EQ(fmt::format("{}", fmt::join(log, "; ")), c.expected) << c.name;
  }
}

TEST(LocalOptionTapMonitorTest, DecidesLikeTheCommandTapWithThePointerLocation) {
  for (const Case& c : sharedCases()) {
    if (c.commandTapOnly) continue;
    FakeLocalEventMonitor events;
    FakePointerLocator pointer;
    TestScheduler clock;
    std::vector<std::string> log;
    auto monitor = std::make_shared<LocalOptionTapMonitor>(
        events, pointer, clock, c.lookup, c.region, c.select, [&] { log.push_back("lookup"); },
        [&](bool shared, Point at) { log.push_back(selectEntry(shared, at)); },
        [&](const Update& update) { log.push_back(entry(update)); });
    ASSERT_TRUE(monitor->start());
    runSteps(
        c, clock,
        [&](const TriggerStep& s) {
          // The in-process monitor takes the location from the pointer.
          pointer.setLocation(s.location);
          EXPECT_TRUE(events.send({s.type, s.keyCode, s.modifierFlags, false, {}})) << "swallowed";
        },
        [&](const std::string& op) {
          if (op == "cancel") monitor->cancelRegionSelection();
          if (op == "consume") monitor->consumeLookupTapForRegionSelection();
          if (op == "stop") {
            monitor->stop();
            EXPECT_FALSE(monitor->isRunning());
            EXPECT_EQ(events.monitorCount(), 0u);
          }
        });
    EXPECT_EQ(fmt::format("{}", fmt::join(log, "; ")), c.expected) << c.name;
  }
}

TEST(CommandTapMonitorTest, StartsWithTrustLogsADisabledTapAndIsHeldWeakly) {
  LogCapture capture;
  FakeAccessibilityPermission permission;
  FakeCommandEventTap eventTap;
  TestScheduler clock;
  int lookups = 0;
  auto monitor = std::make_shared<CommandTapMonitor>(
      permission, eventTap, clock, kLookupTap, kRegionTap, [&] { ++lookups; }, nullptr);

  permission.trusted = false;
  EXPECT_FALSE(monitor->start());
  EXPECT_EQ(eventTap.startCount, 0);
  permission.trusted = true;
  eventTap.startSucceeds = false;
  EXPECT_FALSE(monitor->start());
  EXPECT_FALSE(monitor->isRunning());
  eventTap.startSucceeds = true;
  EXPECT_TRUE(monitor->start());
  EXPECT_TRUE(monitor->isRunning());

  eventTap.send(T::tapDisabledByTimeout);
  eventTap.send(T::tapDisabledByUserInput);
  const std::vector<LogRecord> expected = {
      {"command-event-tap", LogLevel::error, "tap disabled by timeout — re-enabling"},
      {"command-event-tap", LogLevel::error, "tap disabled by user input — re-enabling"},
  };
  EXPECT_EQ(capture.records("command-event-tap"), expected);
  EXPECT_EQ(eventTap.enableCount, 2);

  // The tap holds the monitor weakly: once it is gone, events do nothing.
  eventTap.send(T::flagsChanged, kLOpt, kOpt);
  monitor.reset();
  EXPECT_TRUE(eventTap.send(T::flagsChanged, kLOpt, 0));
  EXPECT_EQ(lookups, 0);
}

// The tap thread handles events while the main thread reconfigures; run under a
// sanitizer this shows the recognizers and the select closure are guarded.
TEST(CommandTapMonitorTest, MainThreadCallsInterleaveWithTheTapThread) {
  FakeAccessibilityPermission permission;
  FakeCommandEventTap eventTap;
  TestScheduler clock;
  std::atomic<int> lookups{0};
  std::atomic<int> selects{0};
  auto monitor = std::make_shared<CommandTapMonitor>(
      permission, eventTap, clock, kLookupTap, kRegionTap, [&] { ++lookups; }, nullptr);
  ASSERT_TRUE(monitor->start());
  constexpr int kTaps = 2000;
  std::thread tapThread([&] {
    for (int i = 0; i < kTaps; ++i) {
      eventTap.send(T::flagsChanged, kLOpt, kOpt);
      eventTap.send(T::flagsChanged, kLOpt, 0);
    }
  });
  for (int i = 0; i < 500; ++i) {
    monitor->configureSelect(
        i % 2 ? std::optional(tap(ShortcutActionId::selectTranslate, kLOpt)) : std::nullopt,
        [&](bool, Point) { ++selects; });
    monitor->cancelRegionSelection();
    monitor->consumeLookupTapForRegionSelection();
  }
  tapThread.join();
  EXPECT_LE(lookups + selects, kTaps);
  // Once the main thread is done, every tap fires exactly one recognizer.
  const int before = lookups + selects;
  eventTap.send(T::flagsChanged, kLOpt, kOpt);
  eventTap.send(T::flagsChanged, kLOpt, 0);
  EXPECT_EQ(lookups + selects, before + 1);
}

TEST(LocalOptionTapMonitorTest, OwnsOneInProcessMonitorThatAClosureMayDropMidDelivery) {
  FakeLocalEventMonitor events;
  FakePointerLocator pointer;
  TestScheduler clock;
  std::vector<std::string> log;
  events.refuseMonitors = true;
  EXPECT_FALSE(std::make_shared<LocalOptionTapMonitor>(events, pointer, clock, kLookupTap,
                                                       kRegionTap, std::nullopt, nullptr, nullptr,
                                                       nullptr)
                   ->start());
  events.refuseMonitors = false;

  std::shared_ptr<LocalOptionTapMonitor> monitor;
  monitor = std::make_shared<LocalOptionTapMonitor>(
      events, pointer, clock, kLookupTap, kRegionTap, std::nullopt,
      [&] { log.push_back("lookup"); }, nullptr,
      [&](const Update& update) {
        log.push_back(entry(update));
        // A new binding rebuilds the monitors from inside a delivery.
        if (update == Update::cancelled()) monitor.reset();
      });
  ASSERT_TRUE(monitor->start());
  ASSERT_TRUE(monitor->start());
  EXPECT_EQ(events.monitorCount(), 1u);
  events.send({T::flagsChanged, kLOpt, kOpt, false, {}});
  events.send({T::flagsChanged, kLOpt, 0, false, {}});
  EXPECT_EQ(log, (std::vector<std::string>{"armed", "cancelled", "lookup"}));
  EXPECT_EQ(monitor, nullptr);
  EXPECT_EQ(events.monitorCount(), 0u);
}

}  // namespace
}  // namespace trelvis
