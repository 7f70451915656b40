#pragma once

// X11PointSpace: between the X server's root-window pixels and the global points
// that the rest of the application uses. The interface toolkit scales each
// monitor's pixels by its pixels-per-point about the monitor's own top-left
// corner (a monitor keeps its origin, only its size shrinks), so points follow
// the same rule: then a point names the same place to a window as to the tap and
// the capture. Points count up from the bottom of the origin monitor.

#include <cstddef>
#include <vector>

#include "base/geometry.h"

namespace trelvis {

class X11PointSpace {
 public:
  // `monitors` in root pixels with a top-left origin; `origin` indexes the one
  // that holds the bottom-left origin of points (its height fixes it), or is out
  // of range when there is none, in which case `rootHeight` does.
  X11PointSpace(std::vector<Rect> monitors, size_t origin, double rootHeight,
                double pixelsPerPoint);

  // A root-window position as a global point, origin bottom left.
  Point point(double rootX, double rootY) const;
  // A rectangle of root pixels (top-left origin) in top-left points, scaled about
  // the monitor that holds its top-left corner.
  Rect topLeftPoints(const Rect& pixels) const;
  // The inverse: a rectangle of top-left points in root pixels.
  Rect pixels(const Rect& topLeftPoints) const;
  // The same rectangle with the origin of points at the bottom left.
  Rect bottomLeft(const Rect& topLeftPoints) const {
    return Rect{{topLeftPoints.minX(), originHeight_ - topLeftPoints.maxY()}, topLeftPoints.size};
  }

 private:
  // The top-left pixel of the monitor holding `p` (pixels, or points when
  // `inPoints`), or the root's origin when no monitor does.
  Point monitorOrigin(Point p, bool inPoints) const;

  std::vector<Rect> monitors_;
  double pixelsPerPoint_;
  double originHeight_;  // in points
};

}  // namespace trelvis
