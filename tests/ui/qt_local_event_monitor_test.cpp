#include <gtest/gtest.h>
// Before any X header: X's macros (None, Bool) would replace names of gtest and Qt.
#include "ui/qt_local_event_monitor.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QScreen>
#include <QWidget>
#include <QWindow>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "ui/qt_test_application.h"

#include "platform/x11/x11_test_display.h"

#include <X11/keysym.h>
// Xlib's names of event types would rename QEvent's.
#undef KeyPress
#undef KeyRelease

namespace trelvis {
namespace {

using testing::QtTestApplication;
using T = InputEventType;

std::string describe(const LocalInputEvent& e) {
  char text[64];
  std::snprintf(text, sizeof text, "%u %u %#llx%s", unsigned(e.type), unsigned(e.keyCode),
                static_cast<unsigned long long>(e.modifierFlags), e.isRepeat ? " repeat" : "");
  return text;
}
std::string describe(T type, uint16_t code = 0, uint64_t flags = 0) {
  return describe(LocalInputEvent{type, code, flags, false, {}});
}

constexpr uint64_t kOption = ModifierFlags::option;
constexpr uint64_t kShift = ModifierFlags::shift;
constexpr uint64_t kControl = ModifierFlags::control;
constexpr uint64_t kEveryType = kCommandTapEventMask | eventMaskBit(T::keyUp);

// A window that notes the keys it is given.
class KeyWindow final : public QWidget {
 public:
  void keyPressEvent(QKeyEvent* event) override { keys.push_back(event->key()); }
  std::vector<int> keys;
};

class QtLocalEventMonitorTest : public ::testing::Test {
 protected:
  // A window of this application, focused, under the pointer.
  void showWindow() {
    window.setGeometry(100, 100, 300, 200);
    window.show();
    window.activateWindow();
    ASSERT_TRUE(QtTestApplication::runUntil(
        [&] { return QGuiApplication::focusWindow() == window.windowHandle(); }));
    input.moveTo(250, 200);
    QtTestApplication::settle();
  }
  // Waits until the events sent with XTest have been through Qt: Pause, which
  // nothing here watches, marks the end.
  void sync() {
    input.tap(XK_Pause);
    ASSERT_TRUE(QtTestApplication::runUntil(
        [&] { return !window.keys.empty() && window.keys.back() == Qt::Key_Pause; }));
    window.keys.pop_back();
  }
  // Pause has no key code of the logic's own; it reports as its X keycode.
  uint16_t pauseCode() { return uint16_t(0x100 + input.keycode(XK_Pause)); }

  QApplication& app = QtTestApplication::instance();
  KeyWindow window;
  testing::TestDisplay input{QtTestApplication::displayName()};
  QtLocalEventMonitor monitor;
};

TEST_F(QtLocalEventMonitorTest, DeliversTheWindowsInputAsTheTriggerLogicKnowsIt) {
  showWindow();
  std::vector<std::string> all;
  std::vector<std::string> later;
  std::vector<std::optional<LocalEventMonitoring::Token>> tokens{
      monitor.addLocalMonitor(kEveryType,
                              [&](const LocalInputEvent& e) {
                                if (e.keyCode != pauseCode()) all.push_back(describe(e));
                                return true;
                              }),
      // Swallows Escape: the window and the monitors after it never see that press.
      monitor.addLocalMonitor(eventMaskBit(T::keyDown),
                              [&](const LocalInputEvent& e) { return e.keyCode != 53; }),
      monitor.addLocalMonitor(eventMaskBit(T::keyDown), [&](const LocalInputEvent& e) {
        later.push_back(describe(e));
        return true;
      })};
  for (const auto& token : tokens) ASSERT_TRUE(token);

  input.tap(XK_Alt_L);
  input.key(XK_Shift_L, true);
  input.tap(XK_1);  // "!" with Shift; still the key 1
  input.key(XK_Shift_L, false);
  input.tap(XK_a);
  input.tap(XK_Escape);
  input.button(1, true);
  input.moveTo(260, 205);
  input.button(1, false);
  input.key(XK_Control_L, true);
  input.button(3, true);
  input.button(3, false);
  input.key(XK_Control_L, false);
  for (int click = 0; click < 2; ++click) {  // a double click is two presses, no more
    input.button(1, true);
    input.button(1, false);
  }
  sync();

  EXPECT_EQ(all, (std::vector<std::string>{describe(T::flagsChanged, 58, kOption),
                                           describe(T::flagsChanged, 58, 0),
                                           describe(T::flagsChanged, 56, kShift),
                                           describe(T::keyDown, 18, kShift),
                                           describe(T::keyUp, 18, kShift),
                                           describe(T::flagsChanged, 56, 0),
                                           describe(T::keyDown, 0),
                                           describe(T::keyUp, 0),
                                           describe(T::keyDown, 53),
                                           describe(T::keyUp, 53),
                                           describe(T::leftMouseDown),
                                           describe(T::leftMouseDragged),
                                           describe(T::leftMouseUp),
                                           describe(T::flagsChanged, 59, kControl),
                                           describe(T::rightMouseDown, 0, kControl),
                                           describe(T::flagsChanged, 59, 0),
                                           describe(T::leftMouseDown),
                                           describe(T::leftMouseUp),
                                           describe(T::leftMouseDown),
                                           describe(T::leftMouseUp)}));
  EXPECT_EQ(later,
            (std::vector<std::string>{describe(T::keyDown, 18, kShift), describe(T::keyDown, 0),
                                      describe(T::keyDown, pauseCode())}));
  EXPECT_EQ(window.keys, (std::vector<int>{Qt::Key_Alt, Qt::Key_Shift, Qt::Key_Exclam, Qt::Key_A,
                                           Qt::Key_Control}));

  // Once the last monitor is gone the window's input passes untouched.
  for (const auto& token : tokens) monitor.removeMonitor(*token);
  window.keys.clear();
  const std::size_t seen = all.size();
  input.tap(XK_Escape);
  sync();
  EXPECT_EQ(all.size(), seen);
  EXPECT_EQ(window.keys, std::vector<int>{Qt::Key_Escape});
}

// Events that carry no X codes (another platform, or synthesised ones) are read
// from Qt's key and modifiers.
TEST_F(QtLocalEventMonitorTest, TranslatesQtKeysWhereNoXCodesCame) {
  struct Case {
    QEvent::Type type;
    int key;
    Qt::KeyboardModifiers modifiers;
    bool autoRepeat;
    std::optional<std::string> expected;
  } cases[] = {
      {QEvent::KeyPress, Qt::Key_A, Qt::ShiftModifier, false, describe(T::keyDown, 0, kShift)},
      {QEvent::KeyPress, Qt::Key_F12, Qt::NoModifier, false, describe(T::keyDown, 111)},
      {QEvent::KeyPress, Qt::Key_Alt, Qt::NoModifier, false,
       describe(T::flagsChanged, 58, kOption)},
      {QEvent::KeyRelease, Qt::Key_Alt, Qt::AltModifier, false, describe(T::flagsChanged, 58, 0)},
      {QEvent::KeyPress, Qt::Key_Meta, Qt::NoModifier, false,
       describe(T::flagsChanged, 55, ModifierFlags::command)},
      {QEvent::KeyPress, Qt::Key_Alt, Qt::AltModifier, true, std::nullopt},
      {QEvent::KeyPress, Qt::Key_CapsLock, Qt::NoModifier, false,
       describe(T::flagsChanged, 57, ModifierFlags::capsLock)},
      {QEvent::KeyRelease, Qt::Key_CapsLock, Qt::NoModifier, false, std::nullopt},
      {QEvent::KeyPress, Qt::Key_B, Qt::NoModifier, true,
       describe(LocalInputEvent{T::keyDown, 11, 0, true, {}})},
      {QEvent::KeyRelease, Qt::Key_B, Qt::NoModifier, true, std::nullopt},
      {QEvent::KeyRelease, Qt::Key_B, Qt::NoModifier, false, describe(T::keyUp, 11)},
  };
  for (const Case& c : cases) {
    QKeyEvent event(c.type, c.key, c.modifiers, QString(), c.autoRepeat);
    const std::optional<LocalInputEvent> translated = QtLocalEventMonitor::translate(event);
    SCOPED_TRACE(c.key);
    EXPECT_EQ(translated ? std::optional(describe(*translated)) : std::nullopt, c.expected);
  }

  struct MouseCase {
    QEvent::Type type;
    Qt::MouseButton button;
    Qt::MouseButtons buttons;
    std::optional<std::string> expected;
  } mice[] = {
      {QEvent::MouseButtonPress, Qt::LeftButton, Qt::LeftButton, describe(T::leftMouseDown)},
      {QEvent::MouseButtonDblClick, Qt::LeftButton, Qt::LeftButton, std::nullopt},
      {QEvent::MouseButtonPress, Qt::MiddleButton, Qt::MiddleButton, describe(T::otherMouseDown)},
      {QEvent::MouseButtonRelease, Qt::RightButton, Qt::NoButton, std::nullopt},
      {QEvent::MouseMove, Qt::NoButton, Qt::NoButton, std::nullopt},
      {QEvent::MouseMove, Qt::NoButton, Qt::LeftButton, describe(T::leftMouseDragged)},
  };
  // The pointer's place is the root window's, counted from the primary screen's bottom.
  const double screenHeight = QGuiApplication::primaryScreen()->geometry().height();
  for (const MouseCase& c : mice) {
    QMouseEvent event(c.type, QPointF(1, 1), QPointF(10, 20), c.button, c.buttons, Qt::NoModifier);
    const std::optional<LocalInputEvent> translated = QtLocalEventMonitor::translate(event);
    EXPECT_EQ(translated ? std::optional(describe(*translated)) : std::nullopt, c.expected)
        << c.type;
    if (translated) {
      EXPECT_EQ(translated->location.x, 10);
      EXPECT_EQ(translated->location.y, screenHeight - 20);
    }
  }
}

}  // namespace
}  // namespace trelvis
