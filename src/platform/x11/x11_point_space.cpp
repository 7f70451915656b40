#include "platform/x11/x11_point_space.h"

#include <cmath>
#include <utility>

namespace trelvis {

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
    const Rect area =
        inPoints ? Rect{m.origin, {m.width() / pixelsPerPoint_, m.height() / pixelsPerPoint_}} : m;
    if (area.contains(p)) return m.origin;
  }
  return Point{0, 0};
}

Point X11PointSpace::point(double rootX, double rootY) const {
  const Point o = monitorOrigin(Point{rootX, rootY}, false);
  const double x = o.x + (rootX - o.x) / pixelsPerPoint_;
  const double y = o.y + (rootY - o.y) / pixelsPerPoint_;
  return Point{x, originHeight_ - y};
}

Rect X11PointSpace::topLeftPoints(const Rect& pixels) const {
  const Point o = monitorOrigin(pixels.origin, false);
  return Rect{{o.x + (pixels.minX() - o.x) / pixelsPerPoint_,
               o.y + (pixels.minY() - o.y) / pixelsPerPoint_},
              {pixels.width() / pixelsPerPoint_, pixels.height() / pixelsPerPoint_}};
}

Rect X11PointSpace::pixels(const Rect& topLeftPoints) const {
  const Point o = monitorOrigin(topLeftPoints.origin, true);
  return Rect{{o.x + (topLeftPoints.minX() - o.x) * pixelsPerPoint_,
               o.y + (topLeftPoints.minY() - o.y) * pixelsPerPoint_},
              {topLeftPoints.width() * pixelsPerPoint_, topLeftPoints.height() * pixelsPerPoint_}};
}

}  // namespace trelvis
