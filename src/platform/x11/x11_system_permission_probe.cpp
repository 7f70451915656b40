#include "platform/x11/x11_system_permission_probe.h"

#include <X11/Xlib.h>
#include <X11/extensions/XInput2.h>
#include <X11/extensions/XTest.h>

#include <memory>
#include <utility>

#include "base/log.h"
#include "platform/x11/x11_connection.h"

namespace trelvis {
namespace {

const LogCategory kLog("permissions");

bool isWaylandSession(const EnvironmentLookup& environment) {
  const auto sessionType = environment("XDG_SESSION_TYPE");
  const auto waylandDisplay = environment("WAYLAND_DISPLAY");
  return (sessionType && *sessionType == "wayland") || (waylandDisplay && !waylandDisplay->empty());
}

std::string missingExtensions(const x11::GlobalInputSupport& support) {
  if (!support.xinput21 && !support.xtest) return "XInput 2.1 and XTEST";
  return support.xinput21 ? "XTEST" : "XInput 2.1";
}

}  // namespace

x11::GlobalInputSupport x11::queryGlobalInputSupport(const std::string& displayName) {
  GlobalInputSupport support;
  auto connection = Connection::open(displayName);
  if (!connection) return support;
  support.display = true;
  Display* display = connection->display();
  int opcode = 0;
  int event = 0;
  int error = 0;
  int major = 2;
  int minor = 1;
  support.xinput21 = XQueryExtension(display, "XInputExtension", &opcode, &event, &error) &&
                     XIQueryVersion(display, &major, &minor) == Success &&
                     major * 100 + minor >= 201;
  int testMajor = 0;
  int testMinor = 0;
  support.xtest = XTestQueryExtension(display, &event, &error, &testMajor, &testMinor);
  return support;
}

X11SystemPermissionProbe::X11SystemPermissionProbe(std::string displayName,
                                                   EnvironmentLookup environment)
    : displayName_(std::move(displayName)), environment_(std::move(environment)) {}

X11PermissionProbeResult X11SystemPermissionProbe::probe() const {
  // Under Wayland the X server is a compatibility layer that shows X clients only
  // each other's input and windows, whatever extensions it offers.
  if (isWaylandSession(environment_)) {
    return {false,
            "This is a Wayland session; capturing the screen and watching global input need "
            "an X11 session."};
  }
  const x11::GlobalInputSupport support = x11::queryGlobalInputSupport(displayName_);
  if (!support.display) return {false, "No X display could be opened."};
  if (!support.complete()) {
    return {false, "The X server does not offer " + missingExtensions(support) + "."};
  }
  return {true, {}};
}

SystemPermissionCoordinator::SystemCalls X11SystemPermissionProbe::systemCalls() const {
  // The triggers read the grants before every translation, and a probe opens a
  // connection to the X server. A server keeps its extensions for good, so a grant
  // is read once; a refusal is read again, and logged when its reason changes.
  struct Reading {
    bool granted = false;
    std::string reason;
  };
  const auto granted = [probe = *this, last = std::make_shared<Reading>()] {
    if (last->granted) return true;
    const X11PermissionProbeResult result = probe.probe();
    if (!result.granted && result.reason != last->reason) {
      kLog.warning("translation is unavailable: {}", result.reason);
    }
    last->granted = result.granted;
    last->reason = result.reason;
    return result.granted;
  };
  return {
      .screenRecordingPreflight = granted,
      .screenRecordingRequest = granted,
      .accessibilityPreflight = granted,
      .accessibilityRequest = [] {},
      .openURL =
          [](const std::string& url) {
            kLog.debug("no settings page grants a permission on X11 ({})", url);
            return false;
          },
      .restartHandler = {},
      .launchNewInstance = {},
      .terminate = {},
  };
}

}  // namespace trelvis
