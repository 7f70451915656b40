#include "ui/qt_local_event_monitor.h"

#include <QtGui/qguiapplication_platform.h>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QObject>
#include <QScreen>

// X headers last, and without the macros that would rename QEvent's types.
#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/keysym.h>
#undef KeyPress
#undef KeyRelease

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "platform/x11/x11_key_translation.h"
#include "platform/x11/x11_raw_event_translator.h"

namespace trelvis {
namespace {

// The X connection of Qt's xcb platform, or none on any other platform.
Display* x11Display() {
  if (QGuiApplication::platformName() != QLatin1String("xcb")) return nullptr;
  auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  return x11 ? x11->display() : nullptr;
}

struct QtKeysym {
  int key;
  unsigned long keysym;
};

// Qt's names of the keys that are not printable Latin-1 characters, as keysyms.
constexpr std::array<QtKeysym, 38> kSpecialKeys{{
    {Qt::Key_Escape, XK_Escape},
    {Qt::Key_Tab, XK_Tab},
    {Qt::Key_Backtab, XK_ISO_Left_Tab},
    {Qt::Key_Backspace, XK_BackSpace},
    {Qt::Key_Return, XK_Return},
    {Qt::Key_Enter, XK_KP_Enter},
    {Qt::Key_Insert, XK_Insert},
    {Qt::Key_Delete, XK_Delete},
    {Qt::Key_Clear, XK_Clear},
    {Qt::Key_Home, XK_Home},
    {Qt::Key_End, XK_End},
    {Qt::Key_Left, XK_Left},
    {Qt::Key_Up, XK_Up},
    {Qt::Key_Right, XK_Right},
    {Qt::Key_Down, XK_Down},
    {Qt::Key_PageUp, XK_Prior},
    {Qt::Key_PageDown, XK_Next},
    {Qt::Key_Shift, XK_Shift_L},
    {Qt::Key_Control, XK_Control_L},
    {Qt::Key_Meta, XK_Super_L},
    {Qt::Key_Alt, XK_Alt_L},
    {Qt::Key_AltGr, XK_ISO_Level3_Shift},
    {Qt::Key_CapsLock, XK_Caps_Lock},
    {Qt::Key_NumLock, XK_Num_Lock},
    {Qt::Key_Help, XK_Help},
    {Qt::Key_VolumeUp, 0x1008FF13},
    {Qt::Key_VolumeDown, 0x1008FF11},
    {Qt::Key_VolumeMute, 0x1008FF12},
    {Qt::Key_F1, XK_F1},
    {Qt::Key_F2, XK_F2},
    {Qt::Key_F3, XK_F3},
    {Qt::Key_F4, XK_F4},
    {Qt::Key_F5, XK_F5},
    {Qt::Key_F6, XK_F6},
    {Qt::Key_F7, XK_F7},
    {Qt::Key_F8, XK_F8},
    {Qt::Key_F9, XK_F9},
    {Qt::Key_F10, XK_F10},
}};

std::optional<unsigned long> keysymOfQtKey(int key) {
  // Printable Latin-1 keys carry their keysym as their Qt code.
  if (key >= 0x20 && key <= 0xFF) return static_cast<unsigned long>(key);
  if (key >= Qt::Key_F11 && key <= Qt::Key_F20) {
    return static_cast<unsigned long>(XK_F11 + (key - Qt::Key_F11));
  }
  for (const QtKeysym& entry : kSpecialKeys) {
    if (entry.key == key) return entry.keysym;
  }
  return std::nullopt;
}

uint64_t flagsOfQtModifiers(Qt::KeyboardModifiers modifiers) {
  uint64_t flags = 0;
  if (modifiers & Qt::ShiftModifier) flags |= ModifierFlags::shift;
  if (modifiers & Qt::ControlModifier) flags |= ModifierFlags::control;
  if (modifiers & Qt::AltModifier) flags |= ModifierFlags::option;
  if (modifiers & Qt::MetaModifier) flags |= ModifierFlags::command;
  return flags;
}

bool hasNativeX11Codes(const QKeyEvent& key) {
  return key.nativeScanCode() != 0 && QGuiApplication::platformName() == QLatin1String("xcb");
}

// The key's US-layout code. From an X keycode the key is known by its first
// keysym, as the global tap knows it, so that Shift+1 is the key 1 and a Cyrillic
// layout's keys are still their Latin ones.
uint16_t virtualKeyCode(const QKeyEvent& key) {
  if (hasNativeX11Codes(key)) {
    const quint32 keycode = key.nativeScanCode();
    if (Display* display = x11Display(); display && keycode <= 255) {
      const KeySym first = XkbKeycodeToKeysym(display, static_cast<KeyCode>(keycode), 0, 0);
      if (auto code = X11KeyTranslation::virtualKeyCode(first)) return *code;
    }
    if (auto code = X11KeyTranslation::virtualKeyCode(key.nativeVirtualKey())) return *code;
    return static_cast<uint16_t>(X11RawEventTranslator::kUnmappedKeyBase + (keycode & 0xFF));
  }
  if (auto keysym = keysymOfQtKey(key.key())) {
    if (auto code = X11KeyTranslation::virtualKeyCode(*keysym)) return *code;
  }
  return static_cast<uint16_t>(X11RawEventTranslator::kUnmappedKeyBase + (key.key() & 0xFF));
}

}  // namespace

// ---- The filter ---------------------------------------------------------------

class QtLocalEventMonitor::Filter final : public QObject {
 public:
  explicit Filter(QtLocalEventMonitor& owner) : owner_(owner) {}

  bool eventFilter(QObject* watched, QEvent* event) override {
    // Input reaches a window before its widgets; watching windows alone sees
    // each event once, and swallowing it there keeps it from every widget.
    if (!watched->isWindowType()) return false;
    switch (event->type()) {
      case QEvent::KeyPress:
      case QEvent::KeyRelease:
      case QEvent::MouseButtonPress:
      case QEvent::MouseButtonRelease:
      case QEvent::MouseMove:
        break;
      default:
        return false;
    }
    const std::optional<LocalInputEvent> translated = translate(*event);
    return translated && !owner_.deliver(*translated);
  }

 private:
  QtLocalEventMonitor& owner_;
};

struct QtLocalEventMonitor::Monitor {
  Token token;
  uint64_t mask;
  std::shared_ptr<Handler> handler;
};

QtLocalEventMonitor::QtLocalEventMonitor()
    : filter_(std::make_unique<Filter>(*this)),
      monitors_(std::make_shared<std::vector<Monitor>>()) {}

QtLocalEventMonitor::~QtLocalEventMonitor() {
  if (qApp) qApp->removeEventFilter(filter_.get());
}

std::optional<LocalEventMonitoring::Token> QtLocalEventMonitor::addLocalMonitor(uint64_t eventMask,
                                                                                Handler handler) {
  if (!qApp || !handler) return std::nullopt;
  if (monitors_->empty()) qApp->installEventFilter(filter_.get());
  const Token token = nextToken_++;
  monitors_->push_back({token, eventMask, std::make_shared<Handler>(std::move(handler))});
  return token;
}

void QtLocalEventMonitor::removeMonitor(Token token) {
  std::erase_if(*monitors_, [token](const Monitor& m) { return m.token == token; });
  // Nothing to look at: the application's events go by without a detour.
  if (monitors_->empty() && qApp) qApp->removeEventFilter(filter_.get());
}

bool QtLocalEventMonitor::deliver(const LocalInputEvent& event) {
  // Handlers may add and remove monitors; a monitor removed by an earlier one
  // during this delivery is not called.
  const std::vector<Monitor> monitors = *monitors_;
  const std::shared_ptr<std::vector<Monitor>> live = monitors_;
  for (const Monitor& monitor : monitors) {
    if ((monitor.mask & eventMaskBit(event.type)) == 0) continue;
    const bool stillThere = std::any_of(live->begin(), live->end(),
                                        [&](const Monitor& m) { return m.token == monitor.token; });
    if (!stillThere) continue;
    if (!(*monitor.handler)(event)) return false;
  }
  return true;
}

namespace {

// Where the pointer is in global points, with the origin at the bottom left of
// the primary screen, as the global tap reports it: Qt's device-independent
// pixels are those points counted from the top.
Point globalLocation(const QMouseEvent& mouse) {
  const QScreen* primary = QGuiApplication::primaryScreen();
  const qreal height = primary ? primary->geometry().height() : 0;
  const QPointF at = mouse.globalPosition();
  return X11KeyTranslation::globalPoint(at.x(), at.y(), height);
}

}  // namespace

std::optional<LocalInputEvent> QtLocalEventMonitor::translate(const QEvent& event) {
  switch (event.type()) {
    case QEvent::KeyPress:
    case QEvent::KeyRelease: {
      const auto& key = static_cast<const QKeyEvent&>(event);
      const bool press = event.type() == QEvent::KeyPress;
      const uint16_t code = virtualKeyCode(key);
      // The X state of a key event is the one before it; Qt's modifiers may or
      // may not count the key itself. Either way the modifier key's own bit is
      // set right below.
      uint64_t flags = hasNativeX11Codes(key)
                           ? X11KeyTranslation::modifierFlags(key.nativeModifiers())
                           : flagsOfQtModifiers(key.modifiers());
      if (const std::optional<uint64_t> flag = X11KeyTranslation::modifierFlag(code)) {
        if (key.isAutoRepeat()) return std::nullopt;
        if (code == KeyCodes::capsLock) {
          // The lock toggles when the key goes down; its release changes nothing.
          if (!press) return std::nullopt;
          flags ^= ModifierFlags::capsLock;
        } else if (press) {
          flags |= *flag;
        } else {
          flags &= ~*flag;
        }
        return LocalInputEvent{InputEventType::flagsChanged, code, flags, false, {}};
      }
      // A held key repeats as presses; the releases between them are not real.
      if (!press && key.isAutoRepeat()) return std::nullopt;
      return LocalInputEvent{press ? InputEventType::keyDown : InputEventType::keyUp, code, flags,
                             key.isAutoRepeat(), {}};
    }
    // A double click's second press arrives as a press too; the double-click
    // event that follows it is no new press.
    case QEvent::MouseButtonPress: {
      const auto& mouse = static_cast<const QMouseEvent&>(event);
      const uint64_t flags = flagsOfQtModifiers(mouse.modifiers());
      const Point at = globalLocation(mouse);
      switch (mouse.button()) {
        case Qt::LeftButton:
          return LocalInputEvent{InputEventType::leftMouseDown, 0, flags, false, at};
        case Qt::RightButton:
          return LocalInputEvent{InputEventType::rightMouseDown, 0, flags, false, at};
        default:
          return LocalInputEvent{InputEventType::otherMouseDown, 0, flags, false, at};
      }
    }
    case QEvent::MouseButtonRelease: {
      const auto& mouse = static_cast<const QMouseEvent&>(event);
      if (mouse.button() != Qt::LeftButton) return std::nullopt;
      return LocalInputEvent{InputEventType::leftMouseUp, 0, flagsOfQtModifiers(mouse.modifiers()),
                             false, globalLocation(mouse)};
    }
    case QEvent::MouseMove: {
      const auto& mouse = static_cast<const QMouseEvent&>(event);
      if (!(mouse.buttons() & Qt::LeftButton)) return std::nullopt;
      return LocalInputEvent{InputEventType::leftMouseDragged, 0,
                             flagsOfQtModifiers(mouse.modifiers()), false, globalLocation(mouse)};
    }
    default:
      return std::nullopt;
  }
}

}  // namespace trelvis
