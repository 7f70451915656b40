#pragma once

// The rectangle arithmetic of a capture, with no platform objects: which band of
// a screen is captured around the pointer, how a rectangle in bottom-left global
// points ("InAppKit" names) becomes one in top-left global points of the display
// ("InScreenCapture" names), how it is cut down to one display, and where the
// pointer falls in the finished image. The capture service calls it on the main
// thread; everything here is pure and can run anywhere.

#include <cstdint>
#include <optional>
#include <string>

#include "base/geometry.h"

namespace trelvis {

// Where one capture was taken: the pointer, the captured rectangle in both spaces,
// and the screen it belongs to.
struct CaptureGeometry {
  Point mouseInAppKit;
  Rect captureRectInAppKit;
  Rect captureRectInScreenCapture;
  uint32_t displayID = 0;
  Rect screenFrameInAppKit;
  Rect displayBoundsInScreenCapture;
  std::string screenName;
  friend bool operator==(const CaptureGeometry&, const CaptureGeometry&) = default;
};

// The part of one display to read, and the size of the picture to make of it.
struct ScreenCaptureStreamGeometry {
  Rect sourceRect;  // local to the display, top-left origin, in points
  int width = 0;    // output size in pixels
  int height = 0;
  friend bool operator==(const ScreenCaptureStreamGeometry&,
                         const ScreenCaptureStreamGeometry&) = default;
};

struct CaptureGeometryCalculator {
  // The share of the screen's height that a lookup captures around the pointer.
  static constexpr double kLookupHeightRatio = 0.25;

  // A band across the whole width of `screenFrame`, `heightRatio` of its height,
  // centred on the pointer's height and held inside the frame. A degenerate frame
  // or ratio gives the frame whole.
  static Rect lookupCaptureRect(Point mouse, const Rect& screenFrame, double heightRatio);

  // `appKitRect` (bottom-left, within `appKitFrame`) in the top-left space of
  // `displayBounds`, snapped outward to whole points, kept inside the bounds and
  // at least 1 by 1.
  static Rect screenCaptureRect(const Rect& appKitRect, const Rect& appKitFrame,
                                const Rect& displayBounds);

  // The part of `globalRect` on the display, local to it, and its pixel size at
  // `pointPixelScale`. None for a scale that is not a finite positive normal
  // number, an empty display, or a rectangle off the display.
  static std::optional<ScreenCaptureStreamGeometry> streamGeometry(const Rect& globalRect,
                                                                   const Rect& displayBounds,
                                                                   double pointPixelScale);

  // The pointer's place in an image of `imageWidth` by `imageHeight` pixels made
  // of the geometry's capture rectangle: image pixels, origin top-left.
  static Point hotspot(const CaptureGeometry& geometry, double imageWidth, double imageHeight);
};

}  // namespace trelvis
