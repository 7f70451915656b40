#include "platform/x11/x11_connection.h"

#include <X11/Xlib-xcb.h>
#include <X11/Xutil.h>
#include <X11/extensions/Xrandr.h>
#include <X11/keysym.h>
#include <xcb/xcb.h>
#include <xcb/xproto.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <mutex>
#include <span>
#include <vector>

#include "base/log.h"

// Last: Xlib's internal header defines min and max as macros.
#include <X11/Xlibint.h>
#undef min
#undef max

namespace trelvis::x11 {
namespace {

const LogCategory kLog("x11");

// Xlib's default handler ends the process on any protocol error, which a stray
// error of one request must not do.
int logProtocolError(Display* /*display*/, XErrorEvent* event) {
  kLog.warning("X protocol error {} (request {}.{}, resource 0x{:x})",
               static_cast<int>(event->error_code), static_cast<int>(event->request_code),
               static_cast<int>(event->minor_code), event->resourceid);
  return 0;
}

// Xlib's default handler of a lost connection ends the process before the
// connection's own exit handler could say otherwise; this one only logs, and the
// exit handler decides (Connection's marks it broken).
int logLostConnection(Display* display) {
  kLog.error("the connection to X display {} was lost", DisplayString(display));
  return 0;
}

std::array<unsigned int, 4> lockVariants(unsigned int numLock) {
  return {0u, static_cast<unsigned int>(LockMask), numLock, LockMask | numLock};
}

// Variants that coincide (no Num Lock modifier) are grabbed once.
std::vector<unsigned int> distinctLockVariants(unsigned int numLock) {
  std::vector<unsigned int> variants;
  for (unsigned int variant : lockVariants(numLock)) {
    bool seen = false;
    for (unsigned int other : variants) seen = seen || other == variant;
    if (!seen) variants.push_back(variant);
  }
  return variants;
}

// Waits until the server has processed everything sent so far, so that a grab
// released here is free for other clients when the caller goes on.
void roundTrip(xcb_connection_t* connection) {
  std::free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
}

}  // namespace

std::unique_ptr<Connection> Connection::open(const std::string& displayName) {
  static std::once_flag once;
  std::call_once(once, [] {
    XInitThreads();
    XSetErrorHandler(logProtocolError);
    XSetIOErrorHandler(logLostConnection);
  });
  Display* display = XOpenDisplay(displayName.empty() ? nullptr : displayName.c_str());
  if (!display) return nullptr;
  return std::unique_ptr<Connection>(new Connection(display));
}

Connection::Connection(Display* display) : display_(display) {
  XSetIOErrorExitHandler(display_, &Connection::onIOError, this);
}

Connection::~Connection() {
  XCloseDisplay(display_);
}

void Connection::markBroken() {
  if (broken_) return;
  broken_ = true;
  logLostConnection(display_);
  // Xlib's own mark of a dead connection, which makes XCloseDisplay (and any
  // other call) skip the socket instead of running into its end.
  display_->flags = display_->flags | XlibDisplayIOError;
}

void Connection::onIOError(Display* /*display*/, void* self) {
  // Returning (instead of exiting, as Xlib's default does) leaves the connection
  // dead: later calls on it return at once, and the owner stops using it.
  static_cast<Connection*>(self)->broken_ = true;
}

PointerState queryPointer(Display* display, Window root) {
  PointerState state;
  Window rootReturn = 0;
  Window child = 0;
  int windowX = 0;
  int windowY = 0;
  XQueryPointer(display, root, &rootReturn, &child, &state.rootX, &state.rootY, &windowX, &windowY,
                &state.mask);
  return state;
}

std::vector<Monitor> monitors(Display* display) {
  std::vector<Monitor> result;
  int eventBase = 0;
  int errorBase = 0;
  int major = 0;
  int minor = 0;
  if (!XRRQueryExtension(display, &eventBase, &errorBase) ||
      !XRRQueryVersion(display, &major, &minor) || major * 100 + minor < 105) {
    return result;
  }
  int count = 0;
  XRRMonitorInfo* info = XRRGetMonitors(display, DefaultRootWindow(display), True, &count);
  for (int i = 0; i < count; ++i) {
    result.push_back(Monitor{info[i].name, info[i].x, info[i].y, info[i].width, info[i].height,
                             info[i].primary != 0});
  }
  if (info) XRRFreeMonitors(info);
  return result;
}

const Monitor* originMonitor(const std::vector<Monitor>& monitors) {
  for (const Monitor& m : monitors) {
    if (m.primary && m.height > 0) return &m;
  }
  for (const Monitor& m : monitors) {
    if (m.x == 0 && m.y == 0 && m.height > 0) return &m;
  }
  return nullptr;
}

std::vector<Monitor> monitorsOrRoot(Display* display, Window root) {
  std::vector<Monitor> all = monitors(display);
  if (all.empty()) {
    const int screen = DefaultScreen(display);
    all.push_back(Monitor{static_cast<Atom>(root), 0, 0, DisplayWidth(display, screen),
                          DisplayHeight(display, screen), true});
  }
  return all;
}

X11PointSpace pointSpace(Display* display, const std::vector<Monitor>& monitors,
                         double pixelsPerPoint) {
  std::vector<Rect> frames;
  for (const Monitor& m : monitors) {
    frames.push_back(Rect{{static_cast<double>(m.x), static_cast<double>(m.y)},
                          {static_cast<double>(m.width), static_cast<double>(m.height)}});
  }
  const Monitor* origin = originMonitor(monitors);
  return X11PointSpace(std::move(frames),
                       origin ? size_t(origin - monitors.data()) : monitors.size(),
                       DisplayHeight(display, DefaultScreen(display)), pixelsPerPoint);
}

X11PointSpace pointSpace(Display* display, double pixelsPerPoint) {
  return pointSpace(display, monitorsOrRoot(display, DefaultRootWindow(display)), pixelsPerPoint);
}

std::optional<X11RawEventTranslator::KeycodeMap> keycodeMap(Display* display) {
  int minKeycode = 0;
  int maxKeycode = 0;
  XDisplayKeycodes(display, &minKeycode, &maxKeycode);
  int perKeycode = 0;
  KeySym* keysyms = XGetKeyboardMapping(display, static_cast<KeyCode>(minKeycode),
                                        maxKeycode - minKeycode + 1, &perKeycode);
  if (!keysyms) return std::nullopt;
  const size_t count = static_cast<size_t>(maxKeycode - minKeycode + 1) *
                       static_cast<size_t>(std::max(perKeycode, 0));
  auto map = X11RawEventTranslator::keycodeMap(std::span<const unsigned long>(keysyms, count),
                                               minKeycode, perKeycode);
  XFree(keysyms);
  return map;
}

unsigned int numLockMask(Display* display) {
  XModifierKeymap* map = XGetModifierMapping(display);
  if (!map) return 0;
  const KeyCode numLock = XKeysymToKeycode(display, XK_Num_Lock);
  unsigned int mask = 0;
  for (int modifier = 0; numLock != 0 && mask == 0 && modifier < 8; ++modifier) {
    for (int k = 0; k < map->max_keypermod; ++k) {
      if (map->modifiermap[modifier * map->max_keypermod + k] == numLock) {
        mask = 1u << modifier;
        break;
      }
    }
  }
  XFreeModifiermap(map);
  return mask;
}

bool grabKey(Display* display, unsigned int keycode, unsigned int modifiers, unsigned int numLock,
             bool syncKeyboard) {
  xcb_connection_t* connection = XGetXCBConnection(display);
  const auto root = static_cast<xcb_window_t>(DefaultRootWindow(display));
  const auto keyboardMode =
      static_cast<uint8_t>(syncKeyboard ? XCB_GRAB_MODE_SYNC : XCB_GRAB_MODE_ASYNC);
  const std::vector<unsigned int> variants = distinctLockVariants(numLock);
  std::vector<xcb_void_cookie_t> cookies;
  for (unsigned int variant : variants) {
    cookies.push_back(xcb_grab_key_checked(
        connection, 0, root, static_cast<uint16_t>(modifiers | variant),
        static_cast<xcb_keycode_t>(keycode), XCB_GRAB_MODE_ASYNC, keyboardMode));
  }
  std::vector<unsigned int> grabbed;
  bool complete = true;
  for (size_t i = 0; i < cookies.size(); ++i) {
    if (xcb_generic_error_t* error = xcb_request_check(connection, cookies[i])) {
      complete = false;
      std::free(error);
    } else {
      grabbed.push_back(variants[i]);
    }
  }
  if (!complete) {
    for (unsigned int variant : grabbed) {
      xcb_ungrab_key(connection, static_cast<xcb_keycode_t>(keycode), root,
                     static_cast<uint16_t>(modifiers | variant));
    }
    roundTrip(connection);
  }
  return complete;
}

void ungrabKey(Display* display, unsigned int keycode, unsigned int modifiers,
               unsigned int numLock) {
  xcb_connection_t* connection = XGetXCBConnection(display);
  const auto root = static_cast<xcb_window_t>(DefaultRootWindow(display));
  for (unsigned int variant : distinctLockVariants(numLock)) {
    xcb_ungrab_key(connection, static_cast<xcb_keycode_t>(keycode), root,
                   static_cast<uint16_t>(modifiers | variant));
  }
  roundTrip(connection);
}

}  // namespace trelvis::x11
