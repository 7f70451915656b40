#pragma once

// X11SystemPermissionProbe: the two permissions as this platform has them. X11
// has no grant per application: watching global input takes XInput 2.1 and
// posting the copy chord takes XTEST, and a session that has both gives both
// permissions; one that lacks either (a Wayland session, where X clients see
// only each other, or a server without the extensions) gives neither, with a
// reason the permission page can show. There are no prompts or settings pages to
// open here: systemCalls() answers no for them and logs why. Main thread; each
// probe opens a short-lived connection.

#include <string>

#include "base/environment.h"
#include "core/permissions/system_permission_coordinator.h"

namespace trelvis {

namespace x11 {

// What an X server offers for global input.
struct GlobalInputSupport {
  bool display = false;  // the server could be reached at all
  bool xinput21 = false;
  bool xtest = false;
  bool complete() const { return display && xinput21 && xtest; }
};

// Asks the server at `displayName` ($DISPLAY when empty).
GlobalInputSupport queryGlobalInputSupport(const std::string& displayName);

}  // namespace x11

struct X11PermissionProbeResult {
  bool granted = false;
  // Why not, in a sentence; empty when granted.
  std::string reason;
};

class X11SystemPermissionProbe {
 public:
  explicit X11SystemPermissionProbe(std::string displayName = {},
                                    EnvironmentLookup environment = processEnvironment());

  X11PermissionProbeResult probe() const;

  // Both preflights from probe(); the prompts, the settings pages and a new
  // instance do not exist here.
  SystemPermissionCoordinator::SystemCalls systemCalls() const;

 private:
  std::string displayName_;
  EnvironmentLookup environment_;
};

}  // namespace trelvis
