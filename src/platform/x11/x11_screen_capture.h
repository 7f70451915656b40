#pragma once

// X11ScreenCapture: the screens of the X display and the pixels of a rectangle of
// them. Screens are the XRandR monitors, primary first, in bottom-left global
// points (X11PointSpace); their visible frames leave out what _NET_WORKAREA
// reserves. Pixels come from the root window through MIT-SHM into a shared
// segment that is attached once and reused, and which the captured image refers
// to instead of a copy; a second one serves while an image still holds the
// first, and images larger than a 5K display's lookup band get one of their own.
// Without shared memory (a remote display, or the extension turned off) a plain
// GetImage serves.
//
// Used on the main thread only; owns its X connection, opened on first use and
// again after the server went away, and the shared segment.

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/capture/screen_listing.h"
#include "core/capture/screenshot_capturing.h"

namespace trelvis {

class X11ScreenCapture final : public ScreenListing, public ScreenshotCapturing {
 public:
  // `displayName` empty means $DISPLAY; `pixelsPerPoint` is the interface's
  // scale, by which points are the display's pixels divided.
  explicit X11ScreenCapture(std::string displayName = {}, double pixelsPerPoint = 1);
  ~X11ScreenCapture() override;
  X11ScreenCapture(const X11ScreenCapture&) = delete;
  X11ScreenCapture& operator=(const X11ScreenCapture&) = delete;

  // Connects, attaches the shared segment and reads a lookup band of the main
  // screen once, so that the first real capture does not pay for page faults.
  // Does nothing without a display.
  void warmUp();

  std::vector<Screen> screens() const override;
  std::optional<Screen> mainScreen() const override;
  Rect displayBounds(uint32_t displayID) const override;

  // X11 has no per-application screen permission: true unless the server has
  // refused this connection an image (an untrusted client).
  bool preflightScreenCaptureAccess() override;
  CapturedImage captureImage(const Rect& rect) override;

  // The bytes of the shared segments kept for captures through MIT-SHM (after
  // warmUp or a first capture); 0 when they go through GetImage.
  size_t sharedMemoryBytes() const;

 private:
  class Session;
  Session* session() const;

  std::string displayName_;
  double pixelsPerPoint_;
  mutable std::unique_ptr<Session> session_;
};

}  // namespace trelvis
