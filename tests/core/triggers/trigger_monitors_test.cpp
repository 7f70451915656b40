#include "base/async/test_scheduler.h"
#include "base/log.h"
#include "core/triggers/command_tap_monitor.h"
#include "core/triggers/local_option_tap_monitor.h"
#include "core/triggers/modifier_keys.h"
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
using Update = RegionSelectionGestureUpdate;
using T = InputEventType;

constexpr uint64_t kCtl = ModifierFlags::control;
constexpr uint64_t kOpt = ModifierFlags::option;
constexpr uint64_t kShift = ModifierFlags::shift;
constexpr uint16_t kLOpt = KeyCodes::leftOption;
constexpr uint16_t kROpt = KeyCodes::rightOption;
constexpr uint16_t kLCtl = KeyCodes::leftControl;

ShortcutBinding tap(std::string_view actionId, uint16_t keyCode) {
  return {std::string(actionId), ShortcutBindingKind::modifierTap, keyCode, 0};
}
ShortcutBinding chord(std::string_view actionId) {
  return {std::string(actionId), ShortcutBindingKind::modifierChord, kNoKeyCode,
          CarbonModifiers::chord};
}
const ShortcutBinding kLookupTap = tap(ShortcutActionId::lookup, kLOpt);
const ShortcutBinding kRegionTap = tap(ShortcutActionId::regionSelection, kLOpt);

struct Step {
  enum Op { event, advance, cancelRegion, consumeTap, stop, clearSelect } op = event;
  T type = T::flagsChanged;
  uint16_t keyCode = 0;
  uint64_t modifierFlags = 0;
  Point location;
  Duration by{0};
};
Step flags(uint16_t keyCode, uint64_t modifierFlags, Point at = {}) {
  return {Step::event, T::flagsChanged, keyCode, modifierFlags, at};
}
Step mouse(T type, double x, double y) {
  return {Step::event, type, 0, 0, {x, y}};
}
Step event(T type, uint16_t keyCode = 0) {
  return {Step::event, type, keyCode, 0, {}, Duration(0)};
}
Step op(Step::Op op) {
  return {op, T::flagsChanged, 0, 0, {}, Duration(0)};
}
Step advance(Duration by) {
  return {Step::advance, T::flagsChanged, 0, 0, {}, by};
}

struct Case {
  const char* name;
  std::vector<Step> steps;
  std::vector<std::string> expected;
  std::optional<ShortcutBinding> lookup = kLookupTap;
  std::optional<ShortcutBinding> region = kRegionTap;
  std::optional<ShortcutBinding> select = std::nullopt;
  bool commandTapOnly = false;  // steps the in-process monitor has no counterpart for
};

std::string selectLine(bool shared, Point at) {
  return fmt::format("select shared={} at ({}, {})", shared, at.x, at.y);
}

// The same decisions come out of both monitors; these rows run through each.
// Unless a row says otherwise, lookup and region are both bound to a left Option tap.
std::vector<Case> sharedCases() {
  const auto down = T::leftMouseDown;
  const auto drag = T::leftMouseDragged;
  const auto up = T::leftMouseUp;
  const auto none = std::nullopt;
  const auto selectTapL = tap(ShortcutActionId::selectTranslate, kLOpt);
  return {
      {"tap: the region update comes first, then the tap",
       {flags(kLOpt, kOpt), flags(kLOpt, 0)},
       {"region armed", "region cancelled", "lookup"}},
      {"drag: stamped at the press, outlives the modifier, no tap after",
       {flags(kLOpt, kOpt), advance(5ms), mouse(down, 10, 20), flags(kLOpt, 0), mouse(drag, 30, 40),
        mouse(up, 50, 60)},
       {"region armed", "region began((10, 20) -> (10, 20) @ 5000000ns)",
        "region changed((10, 20) -> (30, 40) @ 5000000ns)",
        "region completed((10, 20) -> (50, 60) @ 5000000ns)"}},
      {"a right click while the modifier is held cancels once",
       {flags(kLOpt, kOpt), mouse(T::rightMouseDown, 1, 1), flags(kLOpt, 0)},
       {"region armed", "region cancelled"}},
      {"a right click during a drag ends it",
       {flags(kLOpt, kOpt), mouse(down, 1, 1), mouse(T::rightMouseDown, 2, 2), mouse(drag, 3, 3),
        mouse(up, 4, 4), flags(kLOpt, 0)},
       {"region armed", "region began((1, 1) -> (1, 1) @ 0ns)", "region cancelled"}},
      {"a modifier added during a drag ends it",
       {flags(kLOpt, kOpt), mouse(down, 1, 1), flags(KeyCodes::leftShift, kOpt | kShift),
        mouse(drag, 3, 3), mouse(up, 4, 4)},
       {"region armed", "region began((1, 1) -> (1, 1) @ 0ns)", "region cancelled"}},
      {"a key press cancels",
       {flags(kLOpt, kOpt), event(T::keyDown, 1), flags(kLOpt, 0)},
       {"region armed", "region cancelled"}},
      {"another button cancels",
       {flags(kLOpt, kOpt), mouse(T::otherMouseDown, 0, 0), flags(kLOpt, 0)},
       {"region armed", "region cancelled"}},
      {"a left click with nothing armed spoils the tap without an update",
       {flags(kLOpt, kOpt), mouse(down, 1, 1), mouse(up, 1, 1), flags(kLOpt, 0)},
       {},
       kLookupTap,
       chord(ShortcutActionId::regionSelection)},
      {"a second press during a drag keeps the first gesture",
       {flags(kLOpt, kOpt), mouse(down, 1, 1), advance(3ms), mouse(down, 5, 5), mouse(drag, 9, 9),
        mouse(up, 9, 8)},
       {"region armed", "region began((1, 1) -> (1, 1) @ 0ns)",
        "region changed((1, 1) -> (9, 9) @ 0ns)", "region completed((1, 1) -> (9, 8) @ 0ns)"}},
      {"a release with no open drag: no update, the phase stays armed",
       {mouse(up, 1, 1), flags(kLOpt, kOpt), mouse(up, 2, 2), mouse(down, 3, 3)},
       {"region armed", "region began((3, 3) -> (3, 3) @ 0ns)"},
       none},
      {"select sharing the lookup binding: only the select recognizer runs",
       {flags(kLOpt, kOpt, {7, 8}), flags(kLOpt, 0, {7, 8})},
       {"region armed", "region cancelled", selectLine(true, {7, 8})},
       kLookupTap,
       kRegionTap,
       selectTapL},
      {"select on right Option beside lookup on left Option",
       {flags(kROpt, kOpt, {1, 2}), flags(kROpt, 0, {1, 2}), flags(kLOpt, kOpt), flags(kLOpt, 0)},
       {selectLine(false, {1, 2}), "region armed", "region cancelled", "lookup"},
       kLookupTap,
       kRegionTap,
       tap(ShortcutActionId::selectTranslate, kROpt)},
      {"a chord select beside a tap lookup",
       {flags(kLCtl, kCtl), flags(kLOpt, kCtl | kOpt), flags(kLOpt, kCtl), flags(kLCtl, 0, {4, 4})},
       {selectLine(false, {4, 4})},
       kLookupTap,
       none,
       chord(ShortcutActionId::selectTranslate)},
      {"the region chord arms and drags",
       {flags(kLCtl, kCtl), flags(kLOpt, kCtl | kOpt), mouse(down, 1, 1), flags(kLOpt, kCtl),
        mouse(up, 2, 2), flags(kLCtl, 0)},
       {"region armed", "region began((1, 1) -> (1, 1) @ 0ns)",
        "region completed((1, 1) -> (2, 2) @ 0ns)"},
       none,
       chord(ShortcutActionId::regionSelection)},
      {"stopping cancels an armed selection",
       {flags(kLOpt, kOpt), op(Step::stop)},
       {"region armed", "region cancelled"}},
      {"cancelRegionSelection goes idle silently and leaves the tap",
       {flags(kLOpt, kOpt), op(Step::cancelRegion), flags(kLOpt, 0)},
       {"region armed", "lookup"}},
      {"consumeLookupTapForRegionSelection spoils the tap",
       {flags(kLOpt, kOpt), op(Step::consumeTap), flags(kLOpt, 0)},
       {"region armed", "region cancelled"},
       kLookupTap,
       kRegionTap,
       selectTapL},
      {"tap disabled while armed: re-enabled, then cancelled; the press is dropped",
       {flags(kLOpt, kOpt), event(T::tapDisabledByTimeout), flags(kLOpt, 0)},
       {"region armed", "enable", "region cancelled"},
       kLookupTap,
       kRegionTap,
       none,
       true},
      {"tap disabled during a drag: the drag goes on",
       {flags(kLOpt, kOpt), mouse(down, 1, 1), event(T::tapDisabledByUserInput), mouse(drag, 4, 4),
        mouse(up, 5, 5)},
       {"region armed", "region began((1, 1) -> (1, 1) @ 0ns)", "enable",
        "region changed((1, 1) -> (4, 4) @ 0ns)", "region completed((1, 1) -> (5, 5) @ 0ns)"},
       kLookupTap,
       kRegionTap,
       none,
       true},
      {"removing the select binding brings the lookup recognizer back",
       {op(Step::clearSelect), flags(kLOpt, kOpt), flags(kLOpt, 0)},
       {"region armed", "region cancelled", "lookup"},
       kLookupTap,
       kRegionTap,
       selectTapL,
       true},
  };
}

// Every closure also reads the recognizers, which takes the monitor's lock: a
// delivery made while the lock is held would deadlock here.
struct CommandHarness {
  explicit CommandHarness(const Case& c) {
    tap.onEnable = [this] {
      log.push_back("enable");
      (void)monitor->recognizers();
    };
    monitor = std::make_shared<CommandTapMonitor>(
        permission, tap, clock, c.lookup, c.region,
        [this] {
          log.push_back("lookup");
          (void)monitor->recognizers();
        },
        [this](const Update& update) {
          log.push_back("region " + describe(update));
          (void)monitor->recognizers();
        });
    if (c.select) {
      monitor->configureSelect(c.select, [this](bool shared, Point at) {
        log.push_back(selectLine(shared, at));
        (void)monitor->recognizers();
      });
    }
  }

  FakeAccessibilityPermission permission;
  FakeCommandEventTap tap;
  TestScheduler clock;
  std::vector<std::string> log;
  std::shared_ptr<CommandTapMonitor> monitor;
};

TEST(CommandTapMonitorTest, DecidesAndDeliversInOrder) {
  for (const Case& c : sharedCases()) {
    SCOPED_TRACE(c.name);
    CommandHarness h(c);
    ASSERT_TRUE(h.monitor->start());
    for (const Step& step : c.steps) {
      switch (step.op) {
        case Step::event:
          ASSERT_TRUE(h.tap.send(step.type, step.keyCode, step.modifierFlags, step.location));
          break;
        case Step::advance:
          h.clock.advanceBy(step.by);
          break;
        case Step::cancelRegion:
          h.monitor->cancelRegionSelection();
          break;
        case Step::consumeTap:
          h.monitor->consumeLookupTapForRegionSelection();
          break;
        case Step::stop:
          h.monitor->stop();
          EXPECT_FALSE(h.tap.isStarted());
          EXPECT_FALSE(h.monitor->isRunning());
          break;
        case Step::clearSelect:
          h.monitor->configureSelect(std::nullopt, nullptr);
          break;
      }
    }
    EXPECT_EQ(h.log, c.expected);
  }
}

TEST(LocalOptionTapMonitorTest, DecidesLikeTheCommandTapWithThePointerLocation) {
  for (const Case& c : sharedCases()) {
    if (c.commandTapOnly) continue;
    SCOPED_TRACE(c.name);
    FakeLocalEventMonitor events;
    FakePointerLocator pointer;
    TestScheduler clock;
    std::vector<std::string> log;
    auto monitor = std::make_shared<LocalOptionTapMonitor>(
        events, pointer, clock, c.lookup, c.region, c.select, [&] { log.push_back("lookup"); },
        [&](bool shared, Point at) { log.push_back(selectLine(shared, at)); },
        [&](const Update& update) { log.push_back("region " + describe(update)); });
    ASSERT_TRUE(monitor->start());
    for (const Step& step : c.steps) {
      switch (step.op) {
        case Step::event:
          // The in-process monitor takes the location from the pointer.
          pointer.setLocation(step.location);
          EXPECT_TRUE(events.send({step.type, step.keyCode, step.modifierFlags, false}))
              << "the local monitor swallowed an event";
          break;
        case Step::advance:
          clock.advanceBy(step.by);
          break;
        case Step::cancelRegion:
          monitor->cancelRegionSelection();
          break;
        case Step::consumeTap:
          monitor->consumeLookupTapForRegionSelection();
          break;
        case Step::stop:
          monitor->stop();
          EXPECT_FALSE(monitor->isRunning());
          EXPECT_EQ(events.monitorCount(), 0u);
          break;
        case Step::clearSelect:
          break;
      }
    }
    EXPECT_EQ(log, c.expected);
  }
}

TEST(CommandTapMonitorTest, StartsOnlyWithTrustAndATapAndNeverConsumes) {
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

  for (const T type : {T::leftMouseDown, T::leftMouseUp, T::rightMouseDown, T::leftMouseDragged,
                       T::keyDown, T::keyUp, T::flagsChanged, T::otherMouseDown,
                       T::tapDisabledByTimeout, T::tapDisabledByUserInput}) {
    EXPECT_FALSE(monitor->handleEvent(type, kLOpt, kOpt, {})) << static_cast<uint32_t>(type);
  }

  // The tap holds the monitor weakly: once it is gone, events do nothing.
  eventTap.send(T::flagsChanged, kLOpt, kOpt);
  monitor.reset();
  EXPECT_TRUE(eventTap.send(T::flagsChanged, kLOpt, 0));
  EXPECT_EQ(lookups, 0);
}

TEST(CommandTapMonitorTest, LogsTheDisabledTapAtErrorLevel) {
  LogCapture capture;
  FakeAccessibilityPermission permission;
  FakeCommandEventTap eventTap;
  TestScheduler clock;
  auto monitor = std::make_shared<CommandTapMonitor>(permission, eventTap, clock, kLookupTap,
                                                     kRegionTap, nullptr, nullptr);
  ASSERT_TRUE(monitor->start());
  eventTap.send(T::tapDisabledByTimeout);
  eventTap.send(T::tapDisabledByUserInput);
  const std::vector<LogRecord> expected = {
      {"command-event-tap", LogLevel::error, "tap disabled by timeout — re-enabling"},
      {"command-event-tap", LogLevel::error, "tap disabled by user input — re-enabling"},
  };
  EXPECT_EQ(capture.records("command-event-tap"), expected);
  EXPECT_EQ(eventTap.enableCount, 2);
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

TEST(LocalOptionTapMonitorTest, OwnsOneInProcessMonitor) {
  FakeLocalEventMonitor events;
  FakePointerLocator pointer;
  TestScheduler clock;
  auto make = [&] {
    return std::make_shared<LocalOptionTapMonitor>(events, pointer, clock, kLookupTap, kRegionTap,
                                                   std::nullopt, nullptr, nullptr, nullptr);
  };

  events.refuseMonitors = true;
  auto refused = make();
  EXPECT_FALSE(refused->start());
  EXPECT_FALSE(refused->isRunning());
  events.refuseMonitors = false;

  auto monitor = make();
  ASSERT_TRUE(monitor->start());
  ASSERT_TRUE(monitor->start());
  ASSERT_EQ(events.monitorCount(), 1u);
  EXPECT_EQ(events.maskOf(1), kCommandTapEventMask);
  monitor->stop();
  EXPECT_EQ(events.monitorCount(), 0u);
  EXPECT_EQ(events.removedTokens, std::vector<LocalEventMonitoring::Token>{1});

  // Dropped while running, it takes its monitor with it.
  ASSERT_TRUE(monitor->start());
  monitor.reset();
  EXPECT_EQ(events.monitorCount(), 0u);
}

TEST(LocalOptionTapMonitorTest, AClosureMayDropTheMonitorMidDelivery) {
  FakeLocalEventMonitor events;
  FakePointerLocator pointer;
  TestScheduler clock;
  std::vector<std::string> log;
  std::shared_ptr<LocalOptionTapMonitor> monitor;
  monitor = std::make_shared<LocalOptionTapMonitor>(
      events, pointer, clock, kLookupTap, kRegionTap, std::nullopt,
      [&] { log.push_back("lookup"); }, nullptr,
      [&](const Update& update) {
        log.push_back("region " + describe(update));
        // A new binding rebuilds the monitors from inside a delivery.
        if (update == Update::cancelled()) monitor.reset();
      });
  ASSERT_TRUE(monitor->start());
  events.send({T::flagsChanged, kLOpt, kOpt, false});
  events.send({T::flagsChanged, kLOpt, 0, false});
  EXPECT_EQ(log, (std::vector<std::string>{"region armed", "region cancelled", "lookup"}));
  EXPECT_EQ(monitor, nullptr);
  EXPECT_EQ(events.monitorCount(), 0u);
}

}  // namespace
}  // namespace trelvis
