#pragma once

// X11RegionSelectionPhysicalState: the keys and the primary button as the X
// server holds them now (XQueryKeymap, XQueryPointer), for the region overlay's
// failsafe. A key is known by its virtual key code under the server's current
// keyboard mapping, the same reading of keys as the event tap's. Asked on the
// main thread; owns one X connection, opened on first use and again after the
// server went away. What cannot be read (no display) counts as released, so that
// a selection is never left up on a display that is gone.

#include <cstdint>
#include <memory>
#include <string>

#include "core/capture/region_selection_physical_state.h"

namespace trelvis {
namespace x11 {
class SharedConnection;
}

class X11RegionSelectionPhysicalState {
 public:
  // `displayName` empty means $DISPLAY.
  explicit X11RegionSelectionPhysicalState(std::string displayName = {});
  ~X11RegionSelectionPhysicalState();
  X11RegionSelectionPhysicalState(const X11RegionSelectionPhysicalState&) = delete;
  X11RegionSelectionPhysicalState& operator=(const X11RegionSelectionPhysicalState&) = delete;

  // Bit 0 is set while the primary (logical first) button is down.
  int pressedMouseButtons() const;
  bool keyState(uint16_t virtualKeyCode) const;

  // The two readings as the overlay takes them; they borrow this object.
  RegionSelectionPhysicalStateSource source() const;

 private:
  std::unique_ptr<x11::SharedConnection> connection_;
};

}  // namespace trelvis
