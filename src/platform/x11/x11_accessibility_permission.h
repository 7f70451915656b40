#pragma once

// X11AccessibilityPermission: whether this process may watch and post global
// input. X11 has no per-application trust: what it takes is a server that offers
// XInput 2.1 (raw events for the command tap) and XTEST (posting the copy chord).
// The permission gate asks on the main thread; the answer is kept once it is yes,
// since a server does not lose extensions.

#include <atomic>
#include <string>

#include "core/triggers/input_events.h"

namespace trelvis {

class X11AccessibilityPermission final : public AccessibilityPermissionProviding {
 public:
  // `displayName` empty means $DISPLAY.
  explicit X11AccessibilityPermission(std::string displayName = {});

  // False without a display, too; each call until the first yes asks the server.
  bool isProcessTrusted() const override;

 private:
  std::string displayName_;
  mutable std::atomic<bool> trusted_{false};
};

}  // namespace trelvis
