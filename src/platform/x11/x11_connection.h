#pragma once

// x11::Connection: one Xlib connection of the X11 platform code, and the small
// X operations that several of its classes share (the monitors and their points,
// Num Lock's modifier bit, key grabs in every lock variant). A connection is used
// by one thread at a time. Opening the first one installs process-wide Xlib
// handlers of protocol errors and lost connections that log instead of ending
// the process (other Xlib users keep their own exit handlers); a connection of
// ours whose server goes away is marked broken, and its owner stops using it.
//
// Internal to src/platform/x11: it includes Xlib, so only .cpp files include it.

#include <X11/Xlib.h>

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/x11/x11_point_space.h"
#include "platform/x11/x11_raw_event_translator.h"

namespace trelvis::x11 {

class Connection {
 public:
  // Opens `displayName`, or $DISPLAY when it is empty. Null when that fails.
  static std::unique_ptr<Connection> open(const std::string& displayName);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  Display* display() const { return display_; }
  Window root() const { return DefaultRootWindow(display_); }
  // The server has gone away (or the connection failed); nothing more will come.
  bool isBroken() const { return broken_; }
  // For the owner that sees the server's end of the socket close before Xlib
  // does: logs it and marks the connection broken.
  void markBroken();

 private:
  explicit Connection(Display* display);
  static void onIOError(Display* display, void* self);

  Display* display_;
  bool broken_ = false;
};

// A connection for one-off questions from any thread: opened on first use, and
// again after its server went away; one question at a time.
class SharedConnection {
 public:
  explicit SharedConnection(std::string displayName) : displayName_(std::move(displayName)) {}

  // Runs `question(Connection&)` under the lock. False, without running it, when
  // the display cannot be opened.
  template <class Question>
  bool ask(Question&& question) {
    std::lock_guard lock(mutex_);
    if (connection_ && connection_->isBroken()) connection_.reset();
    if (!connection_) connection_ = Connection::open(displayName_);
    if (!connection_) return false;
    question(*connection_);
    return true;
  }

 private:
  const std::string displayName_;
  std::mutex mutex_;
  std::unique_ptr<Connection> connection_;
};

// One monitor of the X screen as XRandR lays it out, in root-window pixels with a
// top-left origin. `name` is its name atom, which stays the same while it exists.
struct Monitor {
  Atom name = 0;
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
  bool primary = false;
};

// The active monitors in XRandR's order; empty without RandR 1.5.
std::vector<Monitor> monitors(Display* display);

// The monitor whose height fixes the bottom-left origin of global points: the
// primary one, else the one at the root's origin; none when there is neither.
const Monitor* originMonitor(const std::vector<Monitor>& monitors);

// The monitors, or the whole root window as one when XRandR names none.
std::vector<Monitor> monitorsOrRoot(Display* display, Window root);

// Global points over `monitors` (as monitorsOrRoot gives them), at `pixelsPerPoint`.
X11PointSpace pointSpace(Display* display, const std::vector<Monitor>& monitors,
                         double pixelsPerPoint);
// Global points on this display now, at `pixelsPerPoint`.
X11PointSpace pointSpace(Display* display, double pixelsPerPoint);

// Where the pointer is on `root`, and which buttons and modifiers are down.
struct PointerState {
  int rootX = 0;
  int rootY = 0;
  unsigned int mask = 0;
};
PointerState queryPointer(Display* display, Window root);

// The virtual key code of each X keycode under the server's keyboard mapping now,
// each key known as X11RawEventTranslator::keycodeMap says; none when the
// server gives no mapping.
std::optional<X11RawEventTranslator::KeycodeMap> keycodeMap(Display* display);

// The modifier bit that Num Lock sets, from the modifier map; 0 when no modifier
// holds Num Lock.
unsigned int numLockMask(Display* display);

// A passive grab on the root window of `keycode` with exactly `modifiers`, in all
// four Caps Lock / Num Lock variants (`numLock` is numLockMask()), so that the
// lock state does not matter.
// All or nothing: when another client holds any variant, the variants already
// grabbed are released again and the result is false. With `syncKeyboard` the
// keyboard freezes at each grabbed press until XAllowEvents says what happens to
// it. Errors come back through checked XCB requests, so no process-wide Xlib
// error handler has to be swapped in and out around the grab.
bool grabKey(Display* display, unsigned int keycode, unsigned int modifiers, unsigned int numLock,
             bool syncKeyboard);
void ungrabKey(Display* display, unsigned int keycode, unsigned int modifiers,
               unsigned int numLock);

// The modifier bits of a key event's `state` without the pointer buttons and the
// two locks, which is what a grab's modifiers are compared with.
inline unsigned int grabModifiers(unsigned int state, unsigned int numLock) {
  return state & 0xFFu & ~(static_cast<unsigned int>(LockMask) | numLock);
}

}  // namespace trelvis::x11
