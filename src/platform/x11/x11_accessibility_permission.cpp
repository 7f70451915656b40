#include "platform/x11/x11_accessibility_permission.h"

#include <X11/Xlib.h>
#include <X11/extensions/XInput2.h>
#include <X11/extensions/XTest.h>

#include <utility>

#include "base/log.h"
#include "platform/x11/x11_connection.h"

namespace trelvis {
namespace {

const LogCategory kLog("permissions");

}  // namespace

X11AccessibilityPermission::X11AccessibilityPermission(std::string displayName)
    : displayName_(std::move(displayName)) {}

bool X11AccessibilityPermission::isProcessTrusted() const {
  if (trusted_.load(std::memory_order_acquire)) return true;
  auto connection = x11::Connection::open(displayName_);
  if (!connection) return false;
  Display* display = connection->display();
  int opcode = 0;
  int event = 0;
  int error = 0;
  int major = 2;
  int minor = 1;
  const bool xinput = XQueryExtension(display, "XInputExtension", &opcode, &event, &error) &&
                      XIQueryVersion(display, &major, &minor) == Success &&
                      major * 100 + minor >= 201;
  int testMajor = 0;
  int testMinor = 0;
  const bool xtest = XTestQueryExtension(display, &event, &error, &testMajor, &testMinor);
  if (!xinput || !xtest) {
    kLog.warning("global input needs XInput 2.1 ({}) and XTEST ({}) from the X server",
                 xinput ? "present" : "missing", xtest ? "present" : "missing");
    return false;
  }
  trusted_.store(true, std::memory_order_release);
  return true;
}

}  // namespace trelvis
