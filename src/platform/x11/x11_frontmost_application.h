#pragma once

// X11FrontmostApplication: the process that owns the active window, as the
// window manager publishes it (_NET_ACTIVE_WINDOW on the root window and the
// window's _NET_WM_PID). Asked by the shortcut controller when a select trigger
// fires, on the main thread or a tap thread. Owns one X connection, opened on
// first use.

#include <memory>
#include <optional>
#include <string>

#include "core/triggers/input_events.h"

namespace trelvis {
namespace x11 {
class SharedConnection;
}

class X11FrontmostApplication final : public FrontmostApplicationProviding {
 public:
  // `displayName` empty means $DISPLAY.
  explicit X11FrontmostApplication(std::string displayName = {});
  ~X11FrontmostApplication() override;

  // Nothing without a display, without a window manager that names the active
  // window, or when that window does not say its process.
  std::optional<int32_t> frontmostProcessIdentifier() const override;

 private:
  std::unique_ptr<x11::SharedConnection> connection_;
};

}  // namespace trelvis
