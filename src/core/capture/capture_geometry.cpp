#include "core/capture/capture_geometry.h"

#include <algorithm>
#include <climits>
#include <cmath>

namespace trelvis {

Rect CaptureGeometryCalculator::lookupCaptureRect(Point mouse, const Rect& screenFrame,
                                                  double heightRatio) {
  if (!(screenFrame.width() > 0) || !(screenFrame.height() > 0) || !(heightRatio > 0)) {
    return screenFrame;
  }
  const double h = std::min(screenFrame.height() * heightRatio, screenFrame.height());
  // Raised first, then lowered: near the top edge the band sits against it and the
  // pointer is no longer at its centre.
  double y = mouse.y - h / 2;
  if (y < screenFrame.minY()) y = screenFrame.minY();
  if (y > screenFrame.maxY() - h) y = screenFrame.maxY() - h;
  return Rect{{screenFrame.minX(), y}, {screenFrame.width(), h}};
}

Rect CaptureGeometryCalculator::screenCaptureRect(const Rect& appKitRect, const Rect& appKitFrame,
                                                  const Rect& displayBounds) {
  if (!(appKitFrame.width() > 0) || !(appKitFrame.height() > 0) || !(displayBounds.width() > 0) ||
      !(displayBounds.height() > 0)) {
    return displayBounds;
  }
  // Other than 1 only when the screen and the display disagree about its size.
  const double sx = displayBounds.width() / appKitFrame.width();
  const double sy = displayBounds.height() / appKitFrame.height();
  // The flip measures from the frame's own top and the bounds' own top, so displays
  // below or left of the main one (negative coordinates) come out right.
  const double x = displayBounds.minX() + (appKitRect.minX() - appKitFrame.minX()) * sx;
  const double y = displayBounds.minY() + (appKitFrame.maxY() - appKitRect.maxY()) * sy;
  const double width = appKitRect.width() * sx;
  const double height = appKitRect.height() * sy;
  // Outward, so that a fractional edge never loses the pixels it touches.
  const double left = std::max(std::floor(x), displayBounds.minX());
  const double top = std::max(std::floor(y), displayBounds.minY());
  const double right = std::min(std::ceil(x + width), displayBounds.maxX());
  const double bottom = std::min(std::ceil(y + height), displayBounds.maxY());
  return Rect{{left, top}, {std::max(right - left, 1.0), std::max(bottom - top, 1.0)}};
}

std::optional<ScreenCaptureStreamGeometry> CaptureGeometryCalculator::streamGeometry(
    const Rect& globalRect, const Rect& displayBounds, double pointPixelScale) {
  if (!std::isnormal(pointPixelScale) || pointPixelScale < 0) return std::nullopt;
  if (!(displayBounds.width() > 0) || !(displayBounds.height() > 0)) return std::nullopt;
  const std::optional<Rect> common = intersection(globalRect, displayBounds);
  if (!common || common->isEmpty()) return std::nullopt;
  const Rect source{{common->minX() - displayBounds.minX(), common->minY() - displayBounds.minY()},
                    common->size};
  const auto pixels = [&](double points) {
    const double size = std::ceil(points * pointPixelScale);
    return static_cast<int>(std::clamp(size, 1.0, static_cast<double>(INT_MAX)));
  };
  return ScreenCaptureStreamGeometry{source, pixels(source.width()), pixels(source.height())};
}

Point CaptureGeometryCalculator::hotspot(const CaptureGeometry& geometry, double imageWidth,
                                         double imageHeight) {
  const Rect& rect = geometry.captureRectInAppKit;
  const Point& mouse = geometry.mouseInAppKit;
  // A rectangle without width or height (a screen that reports no size) has no
  // scale; its axis gives 0 rather than a number that is not one.
  const double x = rect.width() > 0 ? (mouse.x - rect.minX()) * (imageWidth / rect.width()) : 0;
  const double y =
      rect.height() > 0 ? imageHeight - (mouse.y - rect.minY()) * (imageHeight / rect.height()) : 0;
  return Point{x, y};
}

}  // namespace trelvis
