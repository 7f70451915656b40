#include "platform/x11/x11_point_space.h"

#include <cmath>
#include <utility>

namespace trelvis {
namespace {

// `r` scaled by `times / over` about `corner`, which stays where it is. One of
// the two is 1: a division by the scale stays a division, as the toolkit's is.
Rect scaledAbout(Point corner, const Rect& r, double times, double over) {
  auto scale = [&](double length) {
    return length * times / over;
  };
  return Rect{{corner.x + scale(r.minX() - corner.x), corner.y + scale(r.minY() - corner.y)},
              {scale(r.width()), scale(r.height())}};
}

}  // namespace

X11PointSpace::X11PointSpace(std::vector<Rect> monitors, size_t origin, double rootHeight,
                             double pixelsPerPoint)
    : monitors_(std::move(monitors)),
      pixelsPerPoint_(std::isnormal(pixelsPerPoint) && pixelsPerPoint > 0 ? pixelsPerPoint : 1) {
  const Rect* held = origin < monitors_.size() ? &monitors_[origin] : nullptr;
  // Its height in points is what the toolkit gives as the primary screen's.
  originHeight_ = (held ? held->height() : rootHeight) / pixelsPerPoint_;
}

Point X11PointSpace::monitorOrigin(Point p, bool inPoints) const {
  for (const Rect& m : monitors_) {
    const Rect area = inPoints ? scaledAbout(m.origin, m, 1, pixelsPerPoint_) : m;
    if (area.contains(p)) return m.origin;
  }
  return Point{0, 0};
}

Point X11PointSpace::point(double rootX, double rootY) const {
  const Point p = topLeftPoints(Rect{{rootX, rootY}, {0, 0}}).origin;
  return Point{p.x, originHeight_ - p.y};
}

Rect X11PointSpace::topLeftPoints(const Rect& pixels) const {
  return scaledAbout(monitorOrigin(pixels.origin, false), pixels, 1, pixelsPerPoint_);
}

Rect X11PointSpace::pixels(const Rect& topLeftPoints) const {
  return scaledAbout(monitorOrigin(topLeftPoints.origin, true), topLeftPoints, pixelsPerPoint_, 1);
}

}  // namespace trelvis
