#include "platform/x11/x11_command_event_tap.h"

#include <dirent.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>
// After gtest, whose names X's macros (None, Bool) would replace.
#include <X11/keysym.h>

#include "base/log.h"
#include "platform/x11/x11_test_display.h"

namespace trelvis {
namespace {

using namespace std::chrono_literals;
using testing::Recorder;
using Type = InputEventType;

struct Seen {
  Type type;
  uint16_t keyCode;
  uint64_t flags;
  Point location;
  friend bool operator==(const Seen&, const Seen&) = default;
};

std::ostream& operator<<(std::ostream& out, const Seen& s) {
  return out << "{type " << static_cast<uint32_t>(s.type) << ", key " << s.keyCode << ", flags 0x"
             << std::hex << s.flags << std::dec << ", at " << s.location.x << "," << s.location.y
             << "}";
}

constexpr uint64_t kOption = ModifierFlags::option;

class X11CommandEventTapTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(server_.displayName().empty());
    input_.moveTo(640, 512);
  }

  bool startTap(X11CommandEventTap& tap, Recorder<Seen>& seen) {
    return tap.start([&seen](Type type, uint16_t keyCode, uint64_t flags, Point location) {
      seen.add({type, keyCode, flags, location});
    });
  }

  testing::Xvfb& server_ = testing::Xvfb::shared();
  testing::TestDisplay input_{server_.displayName()};
};

TEST_F(X11CommandEventTapTest, ReportsADragWithBottomLeftPositions) {
  Recorder<Seen> seen;
  X11CommandEventTap tap({.displayName = server_.displayName()});
  ASSERT_TRUE(startTap(tap, seen));
  auto click = [&](unsigned int button) {
    input_.button(button, true);
    input_.button(button, false);
  };
  // Each step waits for its event, so that the position read is the one it set.
  struct Step {
    std::function<void()> act;
    std::optional<Seen> expected;
  };
  const Step steps[] = {
      {[&] { input_.moveTo(100, 200); }, std::nullopt},  // no button: not a drag
      {[&] { input_.key(XK_Alt_L, true); }, Seen{Type::flagsChanged, 58, kOption, {100, 824}}},
      {[&] { input_.button(1, true); }, Seen{Type::leftMouseDown, 0, kOption, {100, 824}}},
      {[&] { input_.moveTo(150, 300); }, Seen{Type::leftMouseDragged, 0, kOption, {150, 724}}},
      {[&] { input_.button(1, false); }, Seen{Type::leftMouseUp, 0, kOption, {150, 724}}},
      {[&] { input_.key(XK_Alt_L, false); }, Seen{Type::flagsChanged, 58, 0, {150, 724}}},
      {[&] { click(4); }, std::nullopt},  // a step of the wheel
      {[&] { click(3); }, Seen{Type::rightMouseDown, 0, 0, {150, 724}}},
      {[&] { click(2); }, Seen{Type::otherMouseDown, 0, 0, {150, 724}}},
      {[&] { input_.tap(XK_Escape); }, Seen{Type::keyDown, 53, 0, {150, 724}}},
  };
  std::vector<Seen> expected;
  for (const Step& step : steps) {
    step.act();
    if (step.expected) {
      expected.push_back(*step.expected);
      seen.waitFor(expected.size());
    }
  }
  // The steps without an event delivered nothing, or the ones after would be off.
  EXPECT_EQ(seen.values(), expected);

  // A new monitor layout moves the origin to the new primary monitor's bottom.
  testing::MonitorLayout layout(input_.display(), {{0, 0, 1280, 700, true}});
  input_.tap(XK_Escape);
  expected.push_back({Type::keyDown, 53, 0, {150, 400}});
  EXPECT_EQ(seen.waitFor(expected.size()), expected);
}

std::optional<pid_t> threadNamed(const std::string& name) {
  DIR* tasks = opendir("/proc/self/task");
  std::optional<pid_t> found;
  while (dirent* entry = tasks ? readdir(tasks) : nullptr) {
    std::ifstream comm("/proc/self/task/" + std::string(entry->d_name) + "/comm");
    std::string line;
    if (std::getline(comm, line) && line == name) found = std::stoi(entry->d_name);
  }
  if (tasks) closedir(tasks);
  return found;
}

long cpuTicks(pid_t tid) {
  std::ifstream stat("/proc/self/task/" + std::to_string(tid) + "/stat");
  std::string all((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
  // Fields after the parenthesised name: state is field 3, utime 14, stime 15.
  std::istringstream rest(all.substr(all.rfind(')') + 2));
  std::vector<std::string> fields{std::istream_iterator<std::string>(rest), {}};
  return std::stol(fields.at(11)) + std::stol(fields.at(12));
}

TEST_F(X11CommandEventTapTest, LifecycleLogsAndAnIdleThreadThatSleeps) {
  LogCapture capture;
  Recorder<Seen> first;
  Recorder<Seen> second;
  X11CommandEventTap tap({.displayName = server_.displayName()});
  ASSERT_TRUE(startTap(tap, first));
  tap.enable();
  ASSERT_TRUE(startTap(tap, second));  // stops the first

  const auto tid = threadNamed("trelvis-cmdtap");
  ASSERT_TRUE(tid);
  const long before = cpuTicks(*tid);
  std::this_thread::sleep_for(500ms);
  EXPECT_LE(cpuTicks(*tid) - before, 1);

  input_.tap(XK_b);
  EXPECT_EQ(second.waitFor(1).size(), 1u);
  EXPECT_TRUE(first.values().empty());
  tap.stop();
  tap.enable();  // stopped: nothing to re-enable
  for (int i = 0; i < 500 && threadNamed("trelvis-cmdtap"); ++i) std::this_thread::sleep_for(10ms);
  EXPECT_FALSE(threadNamed("trelvis-cmdtap")) << "stop() ends the thread without a join";

  // Two runs, each logged from its start to its thread's exit, and the re-enable.
  std::vector<std::string> lines;
  for (const LogRecord& record : capture.records("command-event-tap")) {
    lines.push_back(record.message);
  }
  const auto count = [&](const char* message) {
    return std::count(lines.begin(), lines.end(), message);
  };
  EXPECT_EQ(count("tap run-loop thread started; tap enabled"), 2)
      << ::testing::PrintToString(lines);
  EXPECT_EQ(count("tap run-loop thread exiting"), 2);
  EXPECT_EQ(count("tap re-enabled"), 1);
  EXPECT_EQ(lines.size(), 9u);

  X11CommandEventTap nowhere({.displayName = ":65000"});
  EXPECT_FALSE(nowhere.start([](Type, uint16_t, uint64_t, Point) {}));
}

TEST_F(X11CommandEventTapTest, IgnoresSyntheticInputOnlyWhenAsked) {
  Recorder<Seen> allSeen;
  Recorder<Seen> realSeen;
  X11CommandEventTap all({.displayName = server_.displayName()});
  X11CommandEventTap real({.displayName = server_.displayName(), .ignoreSyntheticInput = true});
  ASSERT_TRUE(startTap(all, allSeen));
  ASSERT_TRUE(startTap(real, realSeen));
  input_.tap(XK_a);
  EXPECT_EQ(allSeen.waitFor(1).size(), 1u);
  std::this_thread::sleep_for(100ms);
  EXPECT_TRUE(realSeen.values().empty());
}

TEST_F(X11CommandEventTapTest, SurvivesItsServerGoingAway) {
  LogCapture capture;
  testing::Xvfb doomed;
  Recorder<Seen> seen;
  X11CommandEventTap tap({.displayName = doomed.displayName()});
  ASSERT_TRUE(startTap(tap, seen));
  doomed.kill();
  auto exited = [&] {
    for (const LogRecord& record : capture.records("command-event-tap")) {
      if (record.message == "tap run-loop thread exiting") return true;
    }
    return false;
  };
  for (int i = 0; i < 500 && !exited(); ++i) std::this_thread::sleep_for(10ms);
  EXPECT_TRUE(exited());
  tap.stop();
}

}  // namespace
}  // namespace trelvis
