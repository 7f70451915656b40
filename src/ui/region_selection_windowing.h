#pragma once

// QtRegionSelectionWindowing: the region overlay's windows as Qt widgets. Each
// is a frameless window that bypasses the window manager, stays above
// everything, never takes focus and covers one whole screen; its view dims the
// screen with a hole at the selection and a one-pixel hairline around it, in
// the light or dark colours, at the screen's own pixel density, and reports the
// left button's press, drag and release.
//
// Where a compositing manager runs the window is translucent. Without one an
// X server would show its transparent pixels as black, so the window instead
// paints a picture of its screen taken just before it appears (through the
// screen capture, which reads it through shared memory in about a millisecond),
// and the scrim over that.
//
// Main thread only; needs a QApplication. Borrows the screen capture. A window
// that is released is hidden at once and deleted from the event loop, so that
// one may be released while it is delivering its own event.

#include <memory>
#include <vector>

#include "core/capture/region_selection_surface.h"
#include "core/capture/screenshot_capturing.h"

namespace trelvis {

class QtRegionSelectionWindowing final : public RegionSelectionWindowing {
 public:
  explicit QtRegionSelectionWindowing(ScreenshotCapturing& screenshots)
      : screenshots_(screenshots) {}

  std::shared_ptr<RegionSelectionWindow> makeWindow(const Rect& frame, const Rect& displayBounds,
                                                    AppearanceMode appearance) override;
  // The application's top-level selection windows, including those that
  // nothing tracks any more.
  std::vector<RegionSelectionWindow*> windows() override;

 private:
  ScreenshotCapturing& screenshots_;
};

}  // namespace trelvis
