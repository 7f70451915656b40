#include <gtest/gtest.h>
// Before any X header: X's macros (None, Bool) would replace names of gtest.
#include "platform/x11/x11_test_display.h"

#include <X11/XKBlib.h>
#include <X11/Xlib-xcb.h>
#include <X11/extensions/XTest.h>
#include <X11/extensions/Xrandr.h>
#include <X11/keysym.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>

namespace trelvis::testing {

Xvfb::Xvfb(const Options& options) {
  const std::string screen = std::to_string(options.width) + "x" + std::to_string(options.height) +
                             "x" + std::to_string(options.depth);
  int fds[2];
  if (pipe2(fds, O_CLOEXEC) != 0) {
    ADD_FAILURE() << "pipe failed";
    return;
  }
  pid_ = fork();
  if (pid_ == 0) {
    // The server must not outlive a test program that crashes.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(fds[1], 3);
    const int devNull = open("/dev/null", O_WRONLY);
    dup2(devNull, 2);
    // "-extension MIT-SHM" turns the extension off; "+extension" keeps the default.
    execlp("Xvfb", "Xvfb", "-displayfd", "3", "-nolisten", "tcp", "-noreset", "-screen", "0",
           screen.c_str(), options.sharedMemory ? "+extension" : "-extension", "MIT-SHM",
           options.security ? "+extension" : "-extension", "SECURITY",
           options.xtest ? "+extension" : "-extension", "XTEST", static_cast<char*>(nullptr));
    _exit(127);
  }
  close(fds[1]);
  // The server writes its display number once it accepts connections.
  std::string number;
  pollfd fd{fds[0], POLLIN, 0};
  char c = 0;
  while (poll(&fd, 1, 10000) > 0 && read(fds[0], &c, 1) == 1 && c != '\n') number += c;
  close(fds[0]);
  if (number.empty()) {
    ADD_FAILURE() << "Xvfb did not start (is it installed? scripts/setup installs it)";
    return;
  }
  displayName_ = ":" + number;
}

Xvfb::~Xvfb() {
  kill();
}

void Xvfb::kill() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGTERM);
  waitpid(pid_, nullptr, 0);
  pid_ = -1;
}

Xvfb& Xvfb::shared() {
  static Xvfb server;
  return server;
}

TestDisplay::TestDisplay(const std::string& displayName)
    : display_(XOpenDisplay(displayName.c_str())) {
  if (!display_) throw std::runtime_error("cannot open " + displayName);
}

TestDisplay::~TestDisplay() {
  // Never leave a key held for the next test.
  for (KeyCode keycode : pressed_) XTestFakeKeyEvent(display_, keycode, False, CurrentTime);
  XSync(display_, False);
  XCloseDisplay(display_);
}

void TestDisplay::key(KeySym keysym, bool press) {
  const KeyCode keycode = this->keycode(keysym);
  ASSERT_NE(keycode, 0) << "no key for keysym " << keysym;
  XTestFakeKeyEvent(display_, keycode, press ? True : False, CurrentTime);
  XSync(display_, False);
  if (press) {
    pressed_.push_back(keycode);
  } else {
    pressed_.erase(std::remove(pressed_.begin(), pressed_.end(), keycode), pressed_.end());
  }
}

void TestDisplay::tap(KeySym keysym) {
  key(keysym, true);
  key(keysym, false);
}

void TestDisplay::button(unsigned int button, bool press) {
  XTestFakeButtonEvent(display_, button, press ? True : False, CurrentTime);
  XSync(display_, False);
}

void TestDisplay::moveTo(int x, int y) {
  XTestFakeMotionEvent(display_, 0, x, y, CurrentTime);
  XSync(display_, False);
}

bool TestDisplay::canGrab(KeySym keysym, unsigned int modifiers) {
  xcb_connection_t* xcb = XGetXCBConnection(display_);
  const auto mask = static_cast<uint16_t>(modifiers);
  xcb_generic_error_t* error =
      xcb_request_check(xcb, xcb_grab_key_checked(xcb, 0, root(), mask, keycode(keysym),
                                                  XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
  std::free(error);
  if (!error) xcb_ungrab_key(xcb, keycode(keysym), root(), mask);
  XSync(display_, False);
  return !error;
}

void TestDisplay::setNumLock(bool on) {
  const unsigned int mask = XkbKeysymToModifiers(display_, XK_Num_Lock);
  XkbLockModifiers(display_, XkbUseCoreKbd, mask, on ? mask : 0);
  XSync(display_, False);
}

void TestDisplay::hold(KeySym keysym, std::chrono::milliseconds duration) {
  unsigned int delay = 0;
  unsigned int interval = 0;
  XkbGetAutoRepeatRate(display_, XkbUseCoreKbd, &delay, &interval);
  XkbSetAutoRepeatRate(display_, XkbUseCoreKbd, 50, 10);
  key(keysym, true);
  std::this_thread::sleep_for(duration);
  key(keysym, false);
  XkbSetAutoRepeatRate(display_, XkbUseCoreKbd, delay, interval);
  XSync(display_, False);
}

MonitorLayout::MonitorLayout(Display* display, const std::vector<Monitor>& monitors)
    : display_(display) {
  for (size_t i = 0; i < monitors.size(); ++i) {
    const Monitor& m = monitors[i];
    XRRMonitorInfo* info = XRRAllocateMonitor(display_, 0);
    const std::string name = "TEST-" + std::to_string(i);
    info->name = XInternAtom(display_, name.c_str(), False);
    info->primary = m.primary ? True : False;
    info->x = m.x;
    info->y = m.y;
    info->width = m.width;
    info->height = m.height;
    info->mwidth = m.width / 4;
    info->mheight = m.height / 4;
    XRRSetMonitor(display_, DefaultRootWindow(display_), info);
    names_.push_back(info->name);
    XRRFreeMonitors(info);
  }
  XSync(display_, False);
}

MonitorLayout::~MonitorLayout() {
  for (Atom name : names_) XRRDeleteMonitor(display_, DefaultRootWindow(display_), name);
  XSync(display_, False);
}

}  // namespace trelvis::testing
