// Qt before X11: Xlib's macros (None, KeyPress, ...) would replace Qt's names.
#include "ui/overlay_panel_window.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QPointer>
#include <QScreen>
#include <QWidget>

#include <gtest/gtest.h>

#include <unistd.h>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <memory>
#include <vector>

#include "ui/card_content.h"
#include "platform/x11/x11_test_display.h"

#include <X11/Xatom.h>
#include <X11/Xutil.h>

namespace trelvis {
namespace {

using testing::TestDisplay;
using testing::Xvfb;

constexpr int kScreenHeight = 1024;  // the shared Xvfb's, in pixels

// A card of a fixed height that says where its selected text lies.
class FixedCard final : public QWidget, public CardContent {
 public:
  int naturalHeight(int) const override { return height; }
  bool containsCopySelection(QPoint position) const override {
    return selection.contains(position);
  }
  int height = 200;
  QRect selection;
};

Rect rect(double x, double y, double w, double h) {
  return Rect{{x, y}, {w, h}};
}

class OverlayPanelWindowTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    setenv("QT_QPA_PLATFORM", "xcb", 1);
    setenv("DISPLAY", Xvfb::shared().displayName().c_str(), 1);
    static char runtimeDir[] = "/tmp/trelvis-ui-XXXXXX";
    if (mkdtemp(runtimeDir)) setenv("XDG_RUNTIME_DIR", runtimeDir, 1);
    static int argc = 1;
    static char name[] = "ui_window_tests";
    static char* argv[] = {name, nullptr};
    app_ = new QApplication(argc, argv);
  }
  static void TearDownTestSuite() {
    delete app_;
    app_ = nullptr;
    if (const char* runtimeDir = getenv("XDG_RUNTIME_DIR")) rmdir(runtimeDir);
  }

  OverlayPanelWindowTest() {
    // A focused window of another application, under the card.
    other_ = XCreateSimpleWindow(x_.display(), x_.root(), 0, 0, 1280, kScreenHeight, 0, 0, 0);
    XMapWindow(x_.display(), other_);
    XSync(x_.display(), False);
    XSetInputFocus(x_.display(), other_, RevertToParent, CurrentTime);
    XSync(x_.display(), False);
  }
  ~OverlayPanelWindowTest() override {
    XDestroyWindow(x_.display(), other_);
    XSync(x_.display(), False);
  }

  bool waitFor(const std::function<bool()>& done) {
    QDeadlineTimer deadline(5000);
    while (!done()) {
      if (deadline.hasExpired()) return false;
      QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
      XSync(x_.display(), False);
    }
    return true;
  }
  // Lets the X server and Qt catch up for a moment.
  void settle() {
    QDeadlineTimer deadline(200);
    while (!deadline.hasExpired()) QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
  }
  Window id() const { return static_cast<Window>(window_.widget()->winId()); }
  bool viewable(Window w) {
    XWindowAttributes attributes;
    return XGetWindowAttributes(x_.display(), w, &attributes) &&
           attributes.map_state == IsViewable;
  }
  // The window's rectangle on the root window, as the X server has it.
  QRect serverGeometry(Window w) {
    XWindowAttributes attributes;
    XGetWindowAttributes(x_.display(), w, &attributes);
    int x = 0, y = 0;
    Window child;
    XTranslateCoordinates(x_.display(), w, x_.root(), 0, 0, &x, &y, &child);
    return QRect(x, y, attributes.width, attributes.height);
  }
  Window focus() {
    Window focused = 0;
    int revert = 0;
    XGetInputFocus(x_.display(), &focused, &revert);
    return focused;
  }
  // The highest mapped window on the root.
  Window topmost() {
    Window root, parent, *children = nullptr;
    unsigned int count = 0;
    XQueryTree(x_.display(), x_.root(), &root, &parent, &children, &count);
    Window top = 0;
    for (unsigned int i = 0; i < count; ++i) {
      if (viewable(children[i])) top = children[i];
    }
    XFree(children);
    return top;
  }
  // Shows the card's window at `frame`, as the controller does.
  void present(const Rect& frame) {
    window_.setCardLayout(OverlayAnchor::top, 64);
    window_.setFrame(frame, false);
    window_.setAlphaValue(0);
    window_.orderFrontRegardless();
    window_.setAlphaValue(1);
    ASSERT_TRUE(waitFor([&] { return viewable(id()); }));
  }
  FixedCard* card() const { return static_cast<FixedCard*>(window_.content()); }

  static QApplication* app_;
  TestDisplay x_{Xvfb::shared().displayName()};
  Window other_ = 0;
  std::vector<OverlayPresentedFeature> made_;
  QtOverlayPanelWindow window_{[this](OverlayPresentedFeature feature) -> QWidget* {
    made_.push_back(feature);
    return new FixedCard;
  }};
};

QApplication* OverlayPanelWindowTest::app_ = nullptr;

// Also run at twice the density: frames are in points, Qt's device-independent
// pixels, and the X server gets them in its own.
TEST_F(OverlayPanelWindowTest, MapsWhereToldAboveTheOthersAndNeverTakesTheFocus) {
  const double s = QGuiApplication::primaryScreen()->devicePixelRatio();
  auto px = [s](double points) {
    return static_cast<int>(std::lround(points * s));
  };
  window_.installContent(OverlayPresentedFeature::lookup);
  present(rect(100, 100, 508, 400));
  // y counts up from the bottom of the screen: the top edge is 500 points down
  // from its top.
  EXPECT_EQ(serverGeometry(id()), QRect(px(100), kScreenHeight - px(500), px(508), px(400)));
  EXPECT_EQ(window_.frame(), rect(100, 100, 508, 400));
  EXPECT_EQ(topmost(), id());
  EXPECT_EQ(focus(), other_);
  // The card rests on the top edge inside the shadow's margin, as high as it asks.
  EXPECT_EQ(card()->geometry(), QRect(64, 64, 380, 200));

  // What a global monitor sees on the card belongs to this application; without a
  // compositing manager the window is shaped to the card, so its margin does not.
  EXPECT_TRUE(isInputToOwnWindows({InputEventType::leftMouseDown, 0, 0, false, {300, 400}}));
  EXPECT_FALSE(isInputToOwnWindows({InputEventType::leftMouseDown, 0, 0, false, {300, 150}}));
  EXPECT_FALSE(isInputToOwnWindows({InputEventType::leftMouseDown, 0, 0, false, {700, 150}}));
  EXPECT_FALSE(isInputToOwnWindows({InputEventType::keyDown, 53, 0, false, {300, 150}}));

  // A click on the card does not take the focus either.
  x_.moveTo(px(300), kScreenHeight - px(336));
  x_.button(1, true);
  x_.button(1, false);
  settle();
  EXPECT_EQ(focus(), other_);
  EXPECT_EQ(QGuiApplication::focusWindow(), nullptr);
}

TEST_F(OverlayPanelWindowTest, HidesAndShowsAgainAsTheSameWindow) {
  window_.installContent(OverlayPresentedFeature::lookup);
  present(rect(100, 300, 508, 528));
  const Window first = id();
  window_.orderOut();
  ASSERT_TRUE(waitFor([&] { return !viewable(first); }));
  EXPECT_FALSE(window_.isVisible());

  // Another window comes over it meanwhile; the card goes above it again.
  XRaiseWindow(x_.display(), other_);
  XSync(x_.display(), False);
  window_.setFrameOrigin({200, 100});
  window_.orderFrontRegardless();
  ASSERT_TRUE(waitFor([&] { return viewable(first); }));
  EXPECT_EQ(id(), first);
  EXPECT_EQ(topmost(), first);
  EXPECT_EQ(focus(), other_);
  EXPECT_TRUE(waitFor([&] { return serverGeometry(first) == QRect(200, 396, 508, 528); }));
  EXPECT_EQ(window_.frame(), rect(200, 100, 508, 528));
  EXPECT_EQ(made_.size(), 1u);

  // Brought forward while it shows (a pinned card shown again).
  XRaiseWindow(x_.display(), other_);
  XSync(x_.display(), False);
  window_.orderFrontRegardless();
  EXPECT_TRUE(waitFor([&] { return topmost() == first; }));
  EXPECT_EQ(focus(), other_);
}

TEST_F(OverlayPanelWindowTest, LaysTheContentOutByAnchorAndNaturalHeight) {
  window_.installContent(OverlayPresentedFeature::lookup);
  present(rect(100, 300, 508, 528));
  window_.setCardLayout(OverlayAnchor::bottom, 64);
  EXPECT_EQ(card()->geometry(), QRect(64, 264, 380, 200));
  // The content asks for another height.
  card()->height = 300;
  card()->updateGeometry();
  EXPECT_TRUE(waitFor([&] { return card()->geometry() == QRect(64, 164, 380, 300); }));
  // More than the window holds: the card fills the space inside the margin.
  card()->height = 1000;
  window_.setCardLayout(OverlayAnchor::center, 64);
  EXPECT_EQ(card()->geometry(), QRect(64, 64, 380, 400));

  // A text selection on the card, in core points: the card's top left is at
  // (164, 260) on the screen.
  card()->selection = QRect(10, 10, 50, 20);
  EXPECT_TRUE(window_.containsCopySelection({164 + 20, kScreenHeight - (260 + 15)}));
  EXPECT_FALSE(window_.containsCopySelection({164 + 80, kScreenHeight - (260 + 15)}));

  // A new card replaces the old one, which is deleted.
  QPointer<QWidget> old = window_.content();
  window_.installContent(OverlayPresentedFeature::selectTranslate);
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  EXPECT_TRUE(old.isNull());
  EXPECT_EQ(made_, (std::vector<OverlayPresentedFeature>{OverlayPresentedFeature::lookup,
                                                          OverlayPresentedFeature::selectTranslate}));
  EXPECT_EQ(card()->geometry(), QRect(64, 164, 380, 200));
  EXPECT_TRUE(card()->isVisible());
}

TEST_F(OverlayPanelWindowTest, TellsWhenTheUserSwitchesDesktops) {
  int changes = 0;
  window_.onActiveSpaceChange = [&] { ++changes; };
  present(rect(100, 300, 508, 528));
  // Without a window manager there are no desktops: the window is on the one shown.
  EXPECT_TRUE(window_.isOnActiveSpace());

  const Atom current = XInternAtom(x_.display(), "_NET_CURRENT_DESKTOP", False);
  const Atom desktop = XInternAtom(x_.display(), "_NET_WM_DESKTOP", False);
  const auto setCardinal = [&](Window w, Atom property, long value) {
    XChangeProperty(x_.display(), w, property, XA_CARDINAL, 32, PropModeReplace,
                    reinterpret_cast<unsigned char*>(&value), 1);
    XSync(x_.display(), False);
  };
  setCardinal(id(), desktop, 0);
  setCardinal(x_.root(), current, 1);
  EXPECT_TRUE(waitFor([&] { return changes == 1; }));
  EXPECT_FALSE(window_.isOnActiveSpace());
  setCardinal(x_.root(), current, 0);
  EXPECT_TRUE(waitFor([&] { return changes == 2; }));
  EXPECT_TRUE(window_.isOnActiveSpace());
  setCardinal(x_.root(), current, 3);
  setCardinal(id(), desktop, 0xFFFFFFFF);  // on every desktop
  EXPECT_TRUE(window_.isOnActiveSpace());
  XDeleteProperty(x_.display(), x_.root(), current);
  XSync(x_.display(), False);
}

}  // namespace
}  // namespace trelvis
