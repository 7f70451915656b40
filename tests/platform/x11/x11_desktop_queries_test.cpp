// The one-question X11 seams: accessibility permission, pointer location and
// the frontmost application.

#include <gtest/gtest.h>
// After gtest, whose names X's macros (None, Bool) would replace.
#include <X11/Xatom.h>

#include "platform/x11/x11_accessibility_permission.h"
#include "platform/x11/x11_frontmost_application.h"
#include "platform/x11/x11_pointer_locator.h"
#include "platform/x11/x11_test_display.h"

namespace trelvis {
namespace {

class X11DesktopQueriesTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_FALSE(server_.displayName().empty()); }

  void setCardinal(Window window, const char* name, Atom type, unsigned long value) {
    const Atom atom = XInternAtom(desktop_.display(), name, False);
    XChangeProperty(desktop_.display(), window, atom, type, 32, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(&value), 1);
    XSync(desktop_.display(), False);
  }

  testing::Xvfb& server_ = testing::Xvfb::shared();
  testing::TestDisplay desktop_{server_.displayName()};
};

TEST_F(X11DesktopQueriesTest, PermissionFollowsTheServersExtensions) {
  EXPECT_TRUE(X11AccessibilityPermission(server_.displayName()).isProcessTrusted());
  EXPECT_FALSE(X11AccessibilityPermission(":65000").isProcessTrusted());
}

TEST_F(X11DesktopQueriesTest, PointerLocationHasItsOriginBottomLeft) {
  X11PointerLocator locator(server_.displayName());
  struct Case {
    int x, y;
    Point expected;
  };
  for (const Case& c :
       {Case{100, 200, {100, 824}}, Case{0, 0, {0, 1024}}, Case{1279, 1023, {1279, 1}}}) {
    desktop_.moveTo(c.x, c.y);
    EXPECT_EQ(locator.mouseLocation(), c.expected) << c.x << "," << c.y;
  }
  EXPECT_EQ(X11PointerLocator(":65000").mouseLocation(), (Point{0, 0}));

  // Two monitors side by side; the primary one, 800 high, sets the origin.
  testing::MonitorLayout layout(desktop_.display(),
                                {{0, 0, 640, 800, true}, {640, 0, 640, 1024, false}});
  desktop_.moveTo(100, 200);
  EXPECT_EQ(locator.mouseLocation(), (Point{100, 600}));
}

TEST_F(X11DesktopQueriesTest, FrontmostProcessComesFromTheActiveWindow) {
  X11FrontmostApplication frontmost(server_.displayName());
  // Xvfb has no window manager: nobody names an active window.
  EXPECT_EQ(frontmost.frontmostProcessIdentifier(), std::nullopt);

  Display* display = desktop_.display();
  const Window withPid = XCreateSimpleWindow(display, desktop_.root(), 0, 0, 10, 10, 0, 0, 0);
  const Window withoutPid = XCreateSimpleWindow(display, desktop_.root(), 0, 0, 10, 10, 0, 0, 0);
  setCardinal(withPid, "_NET_WM_PID", XA_CARDINAL, 4242);
  struct Case {
    Window active;
    std::optional<int32_t> expected;
  };
  const Window gone = withoutPid + 1000;  // no such window
  for (const Case& c : {Case{withPid, 4242}, Case{withoutPid, std::nullopt},
                        Case{gone, std::nullopt}, Case{0, std::nullopt}}) {
    setCardinal(desktop_.root(), "_NET_ACTIVE_WINDOW", XA_WINDOW, c.active);
    EXPECT_EQ(frontmost.frontmostProcessIdentifier(), c.expected) << c.active;
  }
  XDeleteProperty(display, desktop_.root(), XInternAtom(display, "_NET_ACTIVE_WINDOW", False));
  XDestroyWindow(display, withPid);
  XDestroyWindow(display, withoutPid);
  XSync(display, False);
}

}  // namespace
}  // namespace trelvis
