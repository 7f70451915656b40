#pragma once

// SelectOverlayCardModel: what the floating panel uses of the Select card's
// model: the pin it shares with the lookup card, the card's height, where the
// card rests, and the reports the card's view makes (its height, the parts that
// must not start a drag, a translation to copy). The Select translation model
// implements it; it lives on the main thread.

#include <functional>
#include <string>
#include <vector>

#include "base/geometry.h"
#include "core/capture/overlay_window_geometry.h"

namespace trelvis {

class SelectOverlayCardModel {
 public:
  virtual ~SelectOverlayCardModel() = default;

  virtual bool isPinned() const = 0;
  // `notify` false when the panel only mirrors the lookup card's pin.
  virtual void setPinned(bool pinned, bool notify) = 0;
  // The card's height as its content asks, held within its limits.
  virtual double cardHeight() const = 0;
  virtual void setAnchor(OverlayAnchor anchor) = 0;
  virtual void setMaxCardHeight(double height) = 0;

  std::function<void(double height)> onCardHeightChange;
  // In the card's own space: origin top-left, y growing downward.
  std::function<void(const std::vector<Rect>& rects)> onDragExclusionRectsChange;
  std::function<void(bool pinned)> onPinStateChange;
  std::function<void(const std::string& text)> onCopySentenceTranslation;
};

}  // namespace trelvis
