#include "platform/x11/x11_accessibility_permission.h"

#include <utility>

#include "base/log.h"
#include "platform/x11/x11_system_permission_probe.h"

namespace trelvis {
namespace {

const LogCategory kLog("permissions");

}  // namespace

X11AccessibilityPermission::X11AccessibilityPermission(std::string displayName)
    : displayName_(std::move(displayName)) {}

bool X11AccessibilityPermission::isProcessTrusted() const {
  if (trusted_.load(std::memory_order_acquire)) return true;
  const x11::GlobalInputSupport support = x11::queryGlobalInputSupport(displayName_);
  if (!support.display) return false;
  if (!support.complete()) {
    kLog.warning("global input needs XInput 2.1 ({}) and XTEST ({}) from the X server",
                 support.xinput21 ? "present" : "missing", support.xtest ? "present" : "missing");
    return false;
  }
  trusted_.store(true, std::memory_order_release);
  return true;
}

}  // namespace trelvis
