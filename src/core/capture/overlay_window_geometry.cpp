#include "core/capture/overlay_window_geometry.h"

#include <algorithm>

namespace trelvis {
namespace {

// `origin` of an extent `length` held within [low, high]; centred when it is
// longer than the range.
double heldWithin(double origin, double length, double low, double high) {
  if (high - low < length) return (low + high) / 2 - length / 2;
  return std::min(std::max(origin, low), high - length);
}

}  // namespace

Rect OverlayWindowGeometry::clamped(const Rect& frame, const Rect& bounds) {
  return Rect{{heldWithin(frame.minX(), frame.width(), bounds.minX(), bounds.maxX()),
               heldWithin(frame.minY(), frame.height(), bounds.minY(), bounds.maxY())},
              frame.size};
}

double OverlayWindowGeometry::anchoredY(const Rect& box, OverlayAnchor anchor, double height) {
  switch (anchor) {
    case OverlayAnchor::top:
      return box.maxY() - height;
    case OverlayAnchor::bottom:
      return box.minY();
    case OverlayAnchor::center:
      return box.midY() - height / 2;
  }
  return box.minY();
}

Rect OverlayWindowGeometry::visibleContentRect(const Rect& box, OverlayAnchor anchor,
                                               double contentHeight) {
  const double h = contentHeight > 0 ? std::min(box.height(), contentHeight) : box.height();
  return Rect{{box.minX(), anchoredY(box, anchor, h)}, {box.width(), h}};
}

OverlayRegionPlacement OverlayWindowGeometry::regionPlacement(const Rect& around, Size slotSize,
                                                              const Rect& bounds, double gap) {
  const std::optional<Rect> common = intersection(around, bounds);
  const Rect sel = common && !common->isEmpty() ? *common : Rect{bounds.center(), {}};
  const double g = std::max(gap, 0.0);
  const double w = slotSize.width;
  const double h = slotSize.height;

  const double below = std::max(sel.minY() - g - bounds.minY(), 0.0);
  const double above = std::max(bounds.maxY() - sel.maxY() - g, 0.0);
  // Under the region or over it, horizontally centred on it as far as the bounds allow.
  const double verticalX =
      bounds.width() < w ? bounds.midX() - w / 2
                         : std::min(std::max(sel.midX() - w / 2, bounds.minX()), bounds.maxX() - w);
  if (below >= h) {
    const Rect frame{{verticalX, sel.minY() - g - h}, slotSize};
    return {frame, frame, OverlayAnchor::top, h};
  }
  if (above >= h) {
    const Rect frame{{verticalX, sel.maxY() + g}, slotSize};
    return {frame, frame, OverlayAnchor::bottom, h};
  }

  // Beside the region, or on top of it, vertically centred on it.
  const double cardHeight = std::min(bounds.height(), h);
  const double frameY = heldWithin(sel.midY() - h / 2, h, bounds.minY(), bounds.maxY());
  const double cardY =
      heldWithin(sel.midY() - cardHeight / 2, cardHeight, bounds.minY(), bounds.maxY());
  const double right = std::max(bounds.maxX() - sel.maxX() - g, 0.0);
  const double left = std::max(sel.minX() - g - bounds.minX(), 0.0);
  double x = verticalX;
  if (right >= w) {
    x = sel.maxX() + g;
  } else if (left >= w) {
    x = sel.minX() - g - w;
  }
  return {Rect{{x, frameY}, slotSize}, Rect{{x, cardY}, {w, cardHeight}}, OverlayAnchor::center,
          cardHeight};
}

}  // namespace trelvis
