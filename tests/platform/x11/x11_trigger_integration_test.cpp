// The whole trigger path on a real X server: XTest input, the X11 command tap
// and hot keys, the recognizers and monitors, and the shortcut controller, with
// a RunLoop standing in for the UI thread.

#include <X11/keysym.h>

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/async/run_loop.h"
#include "core/prefs/in_memory_preference_store.h"
#include "core/triggers/shortcut_controller.h"
#include "platform/x11/x11_accessibility_permission.h"
#include "platform/x11/x11_command_event_tap.h"
#include "platform/x11/x11_frontmost_application.h"
#include "platform/x11/x11_hot_key_registrar.h"
#include "platform/x11/x11_pointer_locator.h"
#include "platform/x11/x11_test_display.h"
#include "support/command_tap_monitors.h"
#include "support/fake_local_event_monitor.h"

namespace trelvis {
namespace {

using namespace std::chrono_literals;

class X11TriggerIntegrationTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(server_.displayName().empty());
    ASSERT_TRUE(permission_.isProcessTrusted());
    controller_ = std::make_shared<ShortcutController>(
        main_, store_, testing::commandTapMonitorsOver(permission_, tap_, clock_),
        ShortcutController::Platform{permission_, hotKeys_, localEvents_, pointer_, frontmost_,
                                     clock_, [] {
                                       return false;
                                     }});
    // Everything below runs on the loop's thread, the stand-in for the UI thread.
    controller_->onLookupTriggered = [this](const HotKeyEvent& e) {
      log_.push_back("lookup " + e.source);
    };
    controller_->onSelectTranslateTriggered = [this](const HotKeyEvent& e, bool) {
      log_.push_back("select " + e.source);
    };
    controller_->onRegionSelection = [this](const RegionSelectionGestureUpdate& update) {
      std::string entry = "region " + std::string(toString(update.kind()));
      if (const auto* gesture = update.gesture()) {
        entry += " " + point(gesture->start) + " " + point(gesture->end);
      }
      log_.push_back(entry);
    };
    controller_->start();
    ASSERT_TRUE(controller_->hasCommandTapMonitor());
    ASSERT_FALSE(controller_->isRetrying());
  }

  void TearDown() override {
    if (controller_) controller_->stop();
    settle();
  }

  static std::string point(Point p) {
    return std::to_string(static_cast<int>(p.x)) + "," + std::to_string(static_cast<int>(p.y));
  }

  // Runs the loop until `count` entries are logged, or five seconds pass.
  bool waitForEntries(std::size_t count) {
    return loop_.runUntil([&] { return log_.size() >= count; }, 5s);
  }
  // Runs the loop for a while so that anything late shows up.
  void settle() {
    loop_.runUntil([] { return false; }, 200ms);
  }

  testing::Xvfb& server_ = testing::Xvfb::shared();
  testing::TestDisplay input_{server_.displayName()};
  RunLoop loop_;
  std::shared_ptr<Executor> main_ = loop_.executor();
  X11CommandEventTap tap_{{.displayName = server_.displayName()}};
  X11HotKeyRegistrar hotKeys_{main_, server_.displayName()};
  X11AccessibilityPermission permission_{server_.displayName()};
  X11PointerLocator pointer_{server_.displayName()};
  X11FrontmostApplication frontmost_{server_.displayName()};
  FakeLocalEventMonitor localEvents_;  // the application is never in front here
  ContinuousClock clock_;
  InMemoryPreferenceStore preferences_;
  ShortcutBindingStore store_{preferences_};
  std::shared_ptr<ShortcutController> controller_;
  std::vector<std::string> log_;
};

// The tap reads the pointer when it handles an event, so each step waits for its
// delivery before the pointer moves on.
TEST_F(X11TriggerIntegrationTest, TapDragAndHotKeyReachTheControllersClosures) {
  input_.tap(XK_Alt_L);
  ASSERT_TRUE(waitForEntries(3));

  input_.moveTo(100, 200);
  input_.key(XK_Alt_L, true);
  ASSERT_TRUE(waitForEntries(4));
  input_.button(1, true);
  ASSERT_TRUE(waitForEntries(5));
  input_.moveTo(300, 400);
  ASSERT_TRUE(waitForEntries(6));
  input_.button(1, false);
  ASSERT_TRUE(waitForEntries(7));
  input_.key(XK_Alt_L, false);

  // The Option press of the hot key is spoiled by the key: no lookup tap with it.
  input_.key(XK_Alt_L, true);
  input_.tap(XK_s);
  input_.key(XK_Alt_L, false);
  ASSERT_TRUE(waitForEntries(10));
  settle();
  // The hot key's thread and the tap's post to the main loop independently.
  std::sort(log_.begin() + 7, log_.end());
  // The screen is 1024 points high: y = 1024 - y_x11. Releasing Alt after the
  // drag is no tap and no update.
  EXPECT_EQ(log_, (std::vector<std::string>{
                      "region armed", "region cancelled", "lookup modifier_tap", "region armed",
                      "region began 100,824 100,824", "region changed 100,824 300,624",
                      "region completed 100,824 300,624", "region armed", "region cancelled",
                      "select hotkey"}));
}

}  // namespace
}  // namespace trelvis
