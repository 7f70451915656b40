#include "platform/x11/x11_overlay_keyboard_event_tap.h"

#include <poll.h>

#include <chrono>
#include <memory>
#include <thread>

#include <gtest/gtest.h>
// After gtest, whose names X's macros (None, Bool) would replace.
#include <X11/keysym.h>

#include "core/triggers/overlay_keyboard_monitor.h"
#include "platform/x11/x11_test_display.h"
#include "support/fake_input_environment.h"
#include "support/fake_overlay_keyboard_tap.h"

namespace trelvis {
namespace {

using testing::Recorder;
using Type = InputEventType;

// What the focused window received: "+Escape" for a press, "-Escape" for a release.
using WindowLog = std::vector<std::string>;

class X11OverlayKeyboardEventTapTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(server_.displayName().empty());
    Display* display = input_.display();
    window_ = XCreateSimpleWindow(display, input_.root(), 0, 0, 200, 200, 0, 0, 0);
    XSelectInput(display, window_, KeyPressMask | KeyReleaseMask);
    XMapWindow(display, window_);
    XSync(display, False);
    XSetInputFocus(display, window_, RevertToPointerRoot, CurrentTime);
    XSync(display, False);
  }
  void TearDown() override {
    XSetInputFocus(input_.display(), PointerRoot, RevertToPointerRoot, CurrentTime);
    XDestroyWindow(input_.display(), window_);
    XSync(input_.display(), False);
  }

  // The card's own logic decides, for a visible card with a selection; a pinned
  // card lets Escape through. What the tap delivered is recorded too.
  X11OverlayKeyboardEventTap::EventHandler handler(bool pinned) {
    monitor_ = std::make_shared<OverlayKeyboardMonitor>(
        permission_, unusedTap_,
        OverlayKeyboardMonitor::Closures{.isOverlayVisible = [] { return true; },
                                         .isOverlayPinned = [pinned] { return pinned; },
                                         .selectedText =
                                             [] {
                                               return "text";
                                             }});
    return [this](const OverlayKeyboardEvent& event) {
      seen_.add(event);
      return monitor_->handleEvent(event);
    };
  }

  // The window's key events until (and with) the release of `last`.
  WindowLog windowKeysUntilReleaseOf(KeySym last) {
    WindowLog log;
    Display* display = input_.display();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (std::chrono::steady_clock::now() < deadline) {
      while (XPending(display)) {
        XEvent event;
        XNextEvent(display, &event);
        if (event.type != KeyPress && event.type != KeyRelease) continue;
        const KeySym keysym = XLookupKeysym(&event.xkey, 0);
        log.push_back((event.type == KeyPress ? "+" : "-") + std::string(XKeysymToString(keysym)));
        if (event.type == KeyRelease && keysym == last) return log;
      }
      pollfd fd{ConnectionNumber(display), POLLIN, 0};
      poll(&fd, 1, 50);
    }
    ADD_FAILURE() << "the window never got the release of " << XKeysymToString(last);
    return log;
  }

  testing::Xvfb& server_ = testing::Xvfb::shared();
  testing::TestDisplay input_{server_.displayName()};
  Window window_ = 0;
  Recorder<OverlayKeyboardEvent> seen_;
  FakeAccessibilityPermission permission_;
  FakeOverlayKeyboardTap unusedTap_;  // the X11 tap under test calls the monitor itself
  std::shared_ptr<OverlayKeyboardMonitor> monitor_;
};

TEST_F(X11OverlayKeyboardEventTapTest, SwallowsEscapeAndCopyAndNothingElse) {
  X11OverlayKeyboardEventTap tap(server_.displayName());
  ASSERT_TRUE(tap.start(handler(false)));
  input_.hold(XK_Escape, std::chrono::milliseconds(150));
  input_.key(XK_Control_L, true);
  input_.tap(XK_c);
  input_.key(XK_Shift_L, true);
  input_.tap(XK_c);  // Control+Shift+C is no copy
  input_.key(XK_Shift_L, false);
  input_.key(XK_Control_L, false);
  input_.tap(XK_a);

  EXPECT_EQ(windowKeysUntilReleaseOf(XK_a), (WindowLog{"+Control_L", "+Shift_L", "+c", "-c",
                                                       "-Shift_L", "-Control_L", "+a", "-a"}));
  // Escape's press, its auto-repeats and release, then the copy chord's. The
  // grab ends with the release of C, so the window may see what follows before
  // the tap has handled that release: wait for it.
  std::vector<OverlayKeyboardEvent> seen = seen_.waitUntil([](const auto& events) {
    return !events.empty() && events.back().type == Type::keyUp && events.back().keyCode == 8;
  });
  ASSERT_GE(seen.size(), 5u);
  EXPECT_EQ(seen.front(), (OverlayKeyboardEvent{Type::keyDown, 53, 0, false}));
  for (size_t i = 1; i + 3 < seen.size(); ++i) {
    EXPECT_EQ(seen[i], (OverlayKeyboardEvent{Type::keyDown, 53, 0, true})) << i;
  }
  constexpr uint64_t command = ModifierFlags::command;
  EXPECT_EQ(std::vector(seen.end() - 3, seen.end()), (std::vector<OverlayKeyboardEvent>{
                                                         {Type::keyUp, 53, 0, false},
                                                         {Type::keyDown, 8, command, false},
                                                         {Type::keyUp, 8, command, false},
                                                     }));
}

TEST_F(X11OverlayKeyboardEventTapTest, DeclinedKeysReachTheWindowWhateverTheLocks) {
  X11OverlayKeyboardEventTap tap(server_.displayName());
  ASSERT_TRUE(tap.start(handler(true)));
  input_.setNumLock(true);
  input_.tap(XK_Escape);
  input_.key(XK_Control_L, true);
  input_.tap(XK_c);
  input_.key(XK_Control_L, false);
  input_.setNumLock(false);
  input_.tap(XK_a);
  EXPECT_EQ(windowKeysUntilReleaseOf(XK_a),
            (WindowLog{"+Escape", "-Escape", "+Control_L", "-Control_L", "+a", "-a"}));
  EXPECT_EQ(seen_.waitFor(3).size(), 3u);  // Escape's press, C's press and release

  // Once stopped, it holds no grab: another client can have Escape.
  tap.stop();
  bool released = false;
  for (int i = 0; i < 200 && !(released = input_.canGrab(XK_Escape, 0)); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_TRUE(released);
  input_.tap(XK_Escape);
  input_.tap(XK_a);
  EXPECT_EQ(windowKeysUntilReleaseOf(XK_a), (WindowLog{"+Escape", "-Escape", "+a", "-a"}));
}

TEST_F(X11OverlayKeyboardEventTapTest, FailsWhenAnotherClientHoldsBothKeys) {
  XGrabKey(input_.display(), input_.keycode(XK_Escape), 0, input_.root(), False, GrabModeAsync,
           GrabModeAsync);
  XGrabKey(input_.display(), input_.keycode(XK_c), ControlMask, input_.root(), False, GrabModeAsync,
           GrabModeAsync);
  XSync(input_.display(), False);
  X11OverlayKeyboardEventTap tap(server_.displayName());
  EXPECT_FALSE(tap.start(handler(false)));
  XUngrabKey(input_.display(), AnyKey, AnyModifier, input_.root());
  XSync(input_.display(), False);
  EXPECT_TRUE(tap.start(handler(false)));
}

}  // namespace
}  // namespace trelvis
