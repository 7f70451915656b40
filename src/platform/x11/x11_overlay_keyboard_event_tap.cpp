#include "platform/x11/x11_overlay_keyboard_event_tap.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/keysym.h>

#include <array>
#include <memory>
#include <utility>
#include <vector>

#include "base/log.h"
#include "platform/x11/x11_connection.h"
#include "platform/x11/x11_event_thread.h"
#include "platform/x11/x11_key_translation.h"
#include "platform/x11/x11_raw_event_translator.h"

namespace trelvis {
namespace {

const LogCategory kLog("overlay-keyboard-tap");
constexpr const char* kThreadName = "trelvis-kbdtap";
constexpr const char* kThreadLabel = "com.trelvis.overlay-keyboard-tap";

struct Chord {
  const char* name;
  KeySym keysym;
  unsigned int modifiers;
  uint16_t keyCode;
};

constexpr std::array<Chord, 2> kChords = {{
    {"Escape", XK_Escape, 0, KeyCodes::escape},
    {"Control+C", XK_c, ControlMask, KeyCodes::c},
}};

}  // namespace

// One run of the tap: its thread, connection and grabs. Apart from construction
// and the stop request, only the tap thread touches it.
class X11OverlayKeyboardEventTap::Session {
 public:
  Session(std::string displayName, EventHandler handler)
      : displayName_(std::move(displayName)), handler_(std::move(handler)) {}

  bool start() {
    return thread_.start(
        displayName_, kThreadName,
        {.setUp = [this](x11::Connection& c) { return setUp(c); },
         .handleEvent = [this](x11::Connection& c, XEvent& event) { handleEvent(c, event); },
         .tearDown =
             [this](x11::Connection& c) {
               tearDown(c);
             }});
  }
  void requestStop() { thread_.requestStop(); }
  bool hasExited() const { return thread_.hasExited(); }
  bool displayOpened() const { return displayOpened_; }

 private:
  struct Grab {
    unsigned int keycode;
    unsigned int modifiers;
  };

  bool setUp(x11::Connection& connection);
  void handleEvent(x11::Connection& connection, XEvent& event);
  void tearDown(x11::Connection& connection);
  uint16_t virtualKeyCode(Display* display, unsigned int keycode) const;

  const std::string displayName_;
  const EventHandler handler_;
  bool displayOpened_ = false;
  unsigned int numLock_ = 0;
  std::vector<Grab> grabs_;
  // Keys whose press this tap saw and whose release it has not: another press of
  // one of them is an auto-repeat (XKB's detectable auto-repeat leaves out the
  // fake releases in between).
  std::array<bool, 256> keyDown_{};
  // Last: joined before the state above goes away.
  x11::EventThread thread_;
};

bool X11OverlayKeyboardEventTap::Session::setUp(x11::Connection& connection) {
  displayOpened_ = true;
  Display* display = connection.display();
  Bool detectable = False;
  XkbSetDetectableAutoRepeat(display, True, &detectable);
  if (!detectable) {
    kLog.warning("the X server cannot report auto-repeat; a held key reads as new presses");
  }
  numLock_ = x11::numLockMask(display);
  for (const Chord& chord : kChords) {
    const KeyCode keycode = XKeysymToKeycode(display, chord.keysym);
    if (keycode == 0) {
      kLog.warning("no key produces {} here; it is not filtered", chord.name);
      continue;
    }
    // A synchronous keyboard: each grabbed press waits until the handler has
    // decided whether the application gets it.
    if (x11::grabKey(display, keycode, chord.modifiers, numLock_, /*syncKeyboard=*/true)) {
      grabs_.push_back({keycode, chord.modifiers});
    } else {
      kLog.warning("another client holds {}; it reaches applications unfiltered", chord.name);
    }
  }
  if (grabs_.empty()) {
    kLog.error("tap create failed: {} could grab neither Escape nor the copy chord", kThreadLabel);
    return false;
  }
  XSync(display, False);
  if (connection.isBroken()) return false;
  kLog.notice("tap run-loop thread started; tap enabled");
  return true;
}

uint16_t X11OverlayKeyboardEventTap::Session::virtualKeyCode(Display* display,
                                                             unsigned int keycode) const {
  const KeySym keysym = XkbKeycodeToKeysym(display, static_cast<KeyCode>(keycode), 0, 0);
  if (auto code = X11KeyTranslation::virtualKeyCode(keysym)) return *code;
  return static_cast<uint16_t>(X11RawEventTranslator::kUnmappedKeyBase + (keycode & 0xFF));
}

void X11OverlayKeyboardEventTap::Session::handleEvent(x11::Connection& connection, XEvent& event) {
  if (event.type != KeyPress && event.type != KeyRelease) return;
  Display* display = connection.display();
  const XKeyEvent& key = event.xkey;
  const unsigned int keycode = key.keycode & 0xFF;
  const bool press = event.type == KeyPress;
  const bool isRepeat = press && keyDown_[keycode];
  keyDown_[keycode] = press;

  const OverlayKeyboardEvent overlayEvent{
      .type = press ? InputEventType::keyDown : InputEventType::keyUp,
      .keyCode = virtualKeyCode(display, keycode),
      .modifierFlags = X11KeyTranslation::shortcutModifierFlags(key.state),
      .isRepeat = isRepeat,
  };
  const bool swallow = !thread_.isStopRequested() && handler_ && handler_(overlayEvent);
  // Every key event reaches this client only through a grab, with the keyboard
  // frozen. A swallowed one keeps the grab and freezes again at the next key
  // event; any other is replayed: the grab ends and the server delivers the same
  // event to the focused window as if it had never been grabbed (which a sent
  // copy would not be: many applications ignore sent key events).
  XAllowEvents(display, swallow ? SyncKeyboard : ReplayKeyboard, CurrentTime);
  XFlush(display);
  // Once replayed, the release goes to the application, not here.
  if (press && !swallow) keyDown_[keycode] = false;
}

void X11OverlayKeyboardEventTap::Session::tearDown(x11::Connection& connection) {
  Display* display = connection.display();
  if (!connection.isBroken()) {
    // A key event that froze the keyboard and was not decided on goes to the
    // application; a grab still active from a swallowed key ends here, so the
    // keyboard never stays frozen or grabbed after the tap.
    XAllowEvents(display, ReplayKeyboard, CurrentTime);
    XUngrabKeyboard(display, CurrentTime);
    for (const Grab& grab : grabs_) {
      x11::ungrabKey(display, grab.keycode, grab.modifiers, numLock_);
    }
  }
  kLog.notice("tap run-loop thread exiting");
}

X11OverlayKeyboardEventTap::X11OverlayKeyboardEventTap(std::string displayName)
    : displayName_(std::move(displayName)) {}

X11OverlayKeyboardEventTap::~X11OverlayKeyboardEventTap() {
  stop();
}

bool X11OverlayKeyboardEventTap::start(EventHandler handler) {
  return sessions_.startLogged(std::make_unique<Session>(displayName_, std::move(handler)), kLog,
                               kThreadLabel);
}

void X11OverlayKeyboardEventTap::stop() {
  sessions_.stopLogged(kLog);
}

void X11OverlayKeyboardEventTap::enable() {
  sessions_.enableLogged(kLog);
}

}  // namespace trelvis
