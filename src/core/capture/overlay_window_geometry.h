#pragma once

// Where the floating card's window goes: a frame held inside a screen, the part
// of a slot that the card's content fills, and the slot beside a dragged region.
// All rectangles are bottom-left global points, so "below" means a smaller y.
// Pure functions, called on the main thread by the card's panel controller.

#include <optional>

#include "base/geometry.h"

namespace trelvis {

// The edge of the card's box at which the card sits; the card grows away from it.
enum class OverlayAnchor { top, bottom, center };

// A drag of the card by the user, from the press to the release.
struct OverlayDragSession {
  Point startMouse;
  Rect startCardFrame;
  Rect dragRegion;
  double contentHeight = 0;
  bool didDrag = false;
};

// A height that waits to be applied until a drag ends.
struct OverlayPendingResize {
  std::optional<double> height;
};

// The slot beside a region, the card inside it, its anchor and the tallest the
// card may grow.
struct OverlayRegionPlacement {
  Rect frame;
  Rect cardFrame;
  OverlayAnchor anchor = OverlayAnchor::top;
  double maxCardHeight = 0;
  friend bool operator==(const OverlayRegionPlacement&, const OverlayRegionPlacement&) = default;
};

struct OverlayWindowGeometry {
  // `frame` moved (not resized) inside `bounds`; a frame larger than the bounds
  // along an axis is centred on them along it rather than pinned to one edge.
  static Rect clamped(const Rect& frame, const Rect& bounds);

  // The y of a card `height` high that rests on the `anchor` edge of `box`.
  static double anchoredY(const Rect& box, OverlayAnchor anchor, double height);

  // The part of `box` the card fills: its full width and `contentHeight` (when
  // positive, at most the box's height) against the `anchor` edge.
  static Rect visibleContentRect(const Rect& box, OverlayAnchor anchor, double contentHeight);

  // A slot of `slotSize` beside `around` within `bounds`, `gap` away from it:
  // below, else above, else right, else left, else centred on the region.
  static OverlayRegionPlacement regionPlacement(const Rect& around, Size slotSize,
                                                const Rect& bounds, double gap);
};

}  // namespace trelvis
