#pragma once

// A private Xvfb for the X11 tests, and the test's own connection to it that
// injects input with XTest. The server picks a free display number itself
// (-displayfd); $DISPLAY is never set, the classes under test get the name.

#include <X11/Xlib.h>
#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace trelvis::testing {

class Xvfb {
 public:
  struct Options {
    int width = 1280;
    int height = 1024;
    int depth = 24;
    bool sharedMemory = true;  // false turns the MIT-SHM extension off
    bool security = false;     // true turns the SECURITY extension (untrusted clients) on
    bool xtest = true;         // false turns the XTEST extension off
  };

  // No TCP, no reset when the last client leaves. Fails the test (ADD_FAILURE)
  // and gives an empty name when the server does not come up.
  Xvfb() : Xvfb(Options{}) {}
  explicit Xvfb(const Options& options);
  // Kills the server.
  ~Xvfb();
  Xvfb(const Xvfb&) = delete;
  Xvfb& operator=(const Xvfb&) = delete;

  // One server for the whole test program, killed when it ends.
  static Xvfb& shared();

  const std::string& displayName() const { return displayName_; }
  void kill();

 private:
  pid_t pid_ = -1;
  std::string displayName_;
};

// The test's connection: XTest input (each call waits until the server has
// processed it) and access to the display for windows and grabs.
class TestDisplay {
 public:
  explicit TestDisplay(const std::string& displayName);
  ~TestDisplay();

  Display* display() const { return display_; }
  Window root() const { return DefaultRootWindow(display_); }
  KeyCode keycode(KeySym keysym) const { return XKeysymToKeycode(display_, keysym); }

  void key(KeySym keysym, bool press);
  // Press and release, one after the other.
  void tap(KeySym keysym);
  void button(unsigned int button, bool press);
  void moveTo(int x, int y);
  // Whether this client may grab `keysym` with exactly `modifiers` now, as
  // another application would; a grab it gets is released again at once.
  bool canGrab(KeySym keysym, unsigned int modifiers);
  // Sets or clears the Num Lock modifier's lock.
  void setNumLock(bool on);
  // Holds `keysym` down for `duration` with the server's auto-repeat made fast
  // (50 ms delay, 10 ms interval), so that a few repeats happen meanwhile.
  void hold(KeySym keysym, std::chrono::milliseconds duration);

 private:
  Display* display_;
  std::vector<KeyCode> pressed_;
};

// RandR monitors laid over the screen for the lifetime of the object.
class MonitorLayout {
 public:
  struct Monitor {
    int x, y, width, height;
    bool primary;
  };
  MonitorLayout(Display* display, const std::vector<Monitor>& monitors);
  ~MonitorLayout();

 private:
  Display* display_;
  std::vector<Atom> names_;
};

// Values that another thread appends, and waiting for them. Declare it before
// whatever writes into it from another thread, so that it outlives the writer.
template <class T>
class Recorder {
 public:
  // Notifies under the lock, so that a waiter cannot return (and let the test
  // destroy the recorder) while the notification is still under way.
  void add(T value) {
    std::lock_guard lock(mutex_);
    values_.push_back(std::move(value));
    changed_.notify_all();
  }
  // Waits (at most five seconds) until there are `count` values; returns them.
  std::vector<T> waitFor(size_t count) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(5), [&] { return values_.size() >= count; });
    return values_;
  }
  // Waits (at most five seconds) until `done(values)` holds; returns the values.
  template <class Predicate>
  std::vector<T> waitUntil(Predicate done) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(5), [&] { return done(values_); });
    return values_;
  }
  std::vector<T> values() {
    std::lock_guard lock(mutex_);
    return values_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<T> values_;
};

}  // namespace trelvis::testing
