#pragma once

// The fixed numbers of the floating card and the edge of its slot on which it
// rests. The overlay model derives them from what the card shows; the panel
// controller sizes and places its window by them.

#include "core/capture/overlay_window_geometry.h"

namespace trelvis {

struct EdgeInsets {
  double top = 0;
  double leading = 0;
  double bottom = 0;
  double trailing = 0;
  friend bool operator==(const EdgeInsets&, const EdgeInsets&) = default;
};

struct OverlayLayoutMetrics {
  double width = 380;
  double maxHeight = 400;
  double minHeight = 137;
  // The transparent margin round the card, where its shadow is drawn.
  double shadowPadding = 64;
  EdgeInsets cardPadding{22, 24, 22, 24};
  bool showsPinButton = true;
  friend bool operator==(const OverlayLayoutMetrics&, const OverlayLayoutMetrics&) = default;
};

}  // namespace trelvis
