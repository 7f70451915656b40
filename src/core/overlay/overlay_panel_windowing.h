#pragma once

// OverlayPanelWindowing: the floating window that holds the translation card, as
// the panel controller drives it. It is created once and reused; it floats above
// other windows and never takes the keyboard focus or activates the application.
// It is transparent around the card, whose shadow it draws there. Frames are in
// global points with a bottom-left origin. Main thread only.

#include <functional>

#include "base/geometry.h"
#include "core/capture/overlay_window_geometry.h"
#include "core/prefs/appearance_store.h"

namespace trelvis {

// Which card the window shows.
enum class OverlayPresentedFeature { lookup, selectTranslate };

class OverlayPanelWindowing {
 public:
  virtual ~OverlayPanelWindowing() = default;

  // Where the window is now; the window system may have placed it other than asked.
  virtual Rect frame() const = 0;
  // Moves and resizes; `display` draws the content at once.
  virtual void setFrame(const Rect& frame, bool display) = 0;
  virtual void setFrameOrigin(Point origin) = 0;
  // Draws what is marked as needing it, now.
  virtual void displayIfNeeded() = 0;
  virtual void setAlphaValue(double alpha) = 0;
  // Shows the window above the others without activating the application.
  virtual void orderFrontRegardless() = 0;
  virtual void orderOut() = 0;
  virtual bool isVisible() const = 0;
  // Whether the window is on the desktop that the user sees.
  virtual bool isOnActiveSpace() const = 0;
  virtual void setAppearance(AppearanceMode mode) = 0;

  // Replaces the hosted content with a fresh card of `feature`.
  virtual void installContent(OverlayPresentedFeature feature) = 0;
  // How the card lies in the window: against the `anchor` edge of the space
  // left inside a transparent margin of `shadowPadding`, as high as its content.
  virtual void setCardLayout(OverlayAnchor anchor, double shadowPadding) = 0;
  // Whether a text of the content under `point` holds a non-empty selection
  // that covers `point`, so that a secondary click there may offer to copy it.
  virtual bool containsCopySelection(Point point) const = 0;

  // Told on the main thread when the desktop that the user sees has changed.
  std::function<void()> onActiveSpaceChange;
};

}  // namespace trelvis
