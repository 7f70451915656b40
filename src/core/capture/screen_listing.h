#pragma once

// ScreenListing: the displays as the window system arranges them, the seam
// through which the capture service, the region overlay and the card's panel
// learn about screens. Frames are bottom-left global points; display bounds are
// the same display in top-left global points. Asked on the main thread.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/geometry.h"

namespace trelvis {

struct Screen {
  Rect frame;
  // The frame less the panels and docks that the desktop reserves.
  Rect visibleFrame;
  std::string localizedName;
  // What identifies the display to the capture; none when the system names none.
  std::optional<uint32_t> displayID;
  friend bool operator==(const Screen&, const Screen&) = default;
};

class ScreenListing {
 public:
  virtual ~ScreenListing() = default;
  // Every screen, the main one first; empty without a display.
  virtual std::vector<Screen> screens() const = 0;
  // The screen that holds the desktop's origin; none without a display.
  virtual std::optional<Screen> mainScreen() const = 0;
  // The display's rectangle in top-left global points; empty when it is unknown.
  virtual Rect displayBounds(uint32_t displayID) const = 0;
};

}  // namespace trelvis
