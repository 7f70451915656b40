#include "core/triggers/shared_command_event_tap.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "base/async/test_scheduler.h"
#include "support/fake_command_event_tap.h"

namespace trelvis {
namespace {

using T = InputEventType;
using Lines = std::vector<std::string>;

class SharedCommandEventTapTest : public ::testing::Test {
 protected:
  // Delivers `type` at (1, 2) from a thread of its own, as the platform tap does.
  void sendFromTapThread(T type, uint16_t keyCode = 0) {
    std::thread([&] { platformTap.send(type, keyCode, 0, {1, 2}); }).join();
  }
  GlobalEventMonitoring::Handler note(std::string name) {
    return [this, name](const LocalInputEvent& event) {
      seen.push_back(fmt::format("{} {} at {},{}", name, static_cast<int>(event.type),
                                 event.location.x, event.location.y));
    };
  }

  TestScheduler scheduler;
  FakeCommandEventTap platformTap;
  Lines seen;
  bool ownInput = false;
  std::shared_ptr<SharedCommandEventTap> shared = std::make_shared<SharedCommandEventTap>(
      platformTap, scheduler.makeExecutor(), [this](const LocalInputEvent&) { return ownInput; });
};

TEST_F(SharedCommandEventTapTest, ThePlatformTapRunsWhileEitherListenerWantsIt) {
  // Global monitors first, then the command listener, then each goes.
  auto clicks = shared->addGlobalMonitor(eventMaskBit(T::leftMouseDown), note("clicks"));
  ASSERT_TRUE(clicks);
  EXPECT_TRUE(platformTap.isStarted());
  auto keys = shared->addGlobalMonitor(eventMaskBit(T::keyDown), note("keys"));
  EXPECT_TRUE(shared->start([](T, uint16_t, uint64_t, Point) {}));
  EXPECT_EQ(platformTap.startCount, 1);
  shared->removeMonitor(*clicks);
  shared->removeMonitor(*keys);
  EXPECT_TRUE(platformTap.isStarted());
  shared->enable();
  EXPECT_EQ(platformTap.enableCount, 1);
  shared->stop();
  EXPECT_FALSE(platformTap.isStarted());

  // The command listener first; a monitor outlives it.
  EXPECT_TRUE(shared->start([](T, uint16_t, uint64_t, Point) {}));
  clicks = shared->addGlobalMonitor(eventMaskBit(T::leftMouseDown), note("clicks"));
  shared->stop();
  EXPECT_TRUE(platformTap.isStarted());
  shared->removeMonitor(*clicks);
  EXPECT_FALSE(platformTap.isStarted());
  EXPECT_EQ(platformTap.startCount, 2);

  // A platform tap that cannot run gives neither a start nor a monitor.
  platformTap.startSucceeds = false;
  EXPECT_FALSE(shared->addGlobalMonitor(eventMaskBit(T::leftMouseDown), note("clicks")));
  EXPECT_FALSE(shared->start([](T, uint16_t, uint64_t, Point) {}));
  platformTap.startSucceeds = true;
  EXPECT_FALSE(platformTap.send(T::leftMouseDown));
}

TEST_F(SharedCommandEventTapTest, CommandEventsStayOnTheTapThreadAndGlobalOnesGoToTheMainThread) {
  const std::thread::id mainThread = std::this_thread::get_id();
  Lines command;
  bool commandOnMain = false;
  shared->start([&](T type, uint16_t keyCode, uint64_t, Point) {
    commandOnMain = commandOnMain || std::this_thread::get_id() == mainThread;
    command.push_back(fmt::format("{} {}", static_cast<int>(type), keyCode));
  });
  auto clicks = shared->addGlobalMonitor(
      eventMaskBit(T::leftMouseDown) | eventMaskBit(T::rightMouseDown), note("clicks"));
  auto escape = shared->addGlobalMonitor(eventMaskBit(T::keyDown), note("keys"));

  sendFromTapThread(T::leftMouseDown);
  sendFromTapThread(T::flagsChanged, 58);
  sendFromTapThread(T::keyDown, 53);
  EXPECT_EQ(command, (Lines{"1 0", "12 58", "10 53"}));
  EXPECT_FALSE(commandOnMain);
  EXPECT_EQ(seen, Lines{});  // not before the main thread runs
  scheduler.runUntilIdle();
  EXPECT_EQ(seen, (Lines{"clicks 1 at 1,2", "keys 10 at 1,2"}));
  seen.clear();

  // What went to this application's own windows is not the global monitors'.
  ownInput = true;
  sendFromTapThread(T::rightMouseDown);
  scheduler.runUntilIdle();
  ownInput = false;
  // A monitor removed before its event reaches the main thread hears nothing;
  // so does one removed by another handler of the same event.
  sendFromTapThread(T::keyDown, 53);
  shared->removeMonitor(*escape);
  sendFromTapThread(T::leftMouseDown);
  shared->removeMonitor(*clicks);
  std::optional<GlobalEventMonitoring::Token> second;
  clicks = shared->addGlobalMonitor(eventMaskBit(T::leftMouseDown), [&](const LocalInputEvent&) {
    seen.push_back("first, removing the second");
    shared->removeMonitor(*second);
  });
  second = shared->addGlobalMonitor(eventMaskBit(T::leftMouseDown), note("second"));
  scheduler.runUntilIdle();
  EXPECT_EQ(seen, Lines{"first, removing the second"});
  EXPECT_EQ(command.size(), 6u);
}

}  // namespace
}  // namespace trelvis
