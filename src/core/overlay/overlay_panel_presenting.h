#pragma once

// OverlayPanelPresenting: what the lookup coordinator and the composition root
// ask of the floating panel that holds the card. The panel controller
// implements it on the main thread; it places the window, and it tells
// `onDismiss` when the user sent a lookup card away ("escape", "click_outside",
// "active_space", "tiling").

#include <functional>
#include <string>
#include <variant>

#include "base/geometry.h"
#include "core/overlay/overlay_layout.h"

namespace trelvis {

// Where a card goes: beside the pointer, or beside a selected region.
struct OverlayPresentationTarget {
  std::variant<Point, Rect> value;

  static OverlayPresentationTarget mouse(Point point) { return {point}; }
  static OverlayPresentationTarget region(Rect rect) { return {rect}; }
  friend bool operator==(const OverlayPresentationTarget&,
                         const OverlayPresentationTarget&) = default;
};

// Where the card came to rest and how high it may grow there.
struct OverlayPlacement {
  OverlayAnchor anchor = OverlayAnchor::top;
  double maxCardHeight = 0;
};

class OverlayPanelPresenting {
 public:
  virtual ~OverlayPanelPresenting() = default;

  // Makes the lookup card the panel's content (it may show a Select card).
  virtual void activateLookupContent() = 0;
  // Shows the card at `target`; a visible card keeps its place and is only resized.
  virtual OverlayPlacement show(const OverlayPresentationTarget& target,
                                const OverlayLayoutMetrics& layout) = 0;
  // Hides the window whatever the pin says, and tells nobody.
  virtual void hideWindow() = 0;

  // Told, with the reason, when the user dismissed a visible lookup card.
  std::function<void(const std::string& reason)> onDismiss;
};

}  // namespace trelvis
