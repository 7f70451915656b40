#pragma once

// The seams of the region selection overlay's windows: one transparent,
// click-catching window over each screen, the view in it that draws the scrim,
// the hole and the hairline, and the windowing that makes such windows and
// lists the application's windows for the orphan sweep. The Qt layer implements
// them; everything here is used on the main thread.

#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "base/geometry.h"
#include "core/prefs/appearance_store.h"

namespace trelvis {

enum class RegionSelectionPointerPhase { began, changed, completed };

// What a selection view draws. `selectionRect` is in points local to the
// window's screen, origin bottom-left; nothing is drawn while
// `isSelectionActive` is false (the window only takes the click then).
struct RegionSelectionViewState {
  Rect selectionRect;
  bool isSelectionActive = false;
  AppearanceMode appearance = AppearanceMode::light;
  friend bool operator==(const RegionSelectionViewState&,
                         const RegionSelectionViewState&) = default;
};

// A borderless, non-activating window above everything on one screen, with its
// selection view as content. It never becomes key or main.
class RegionSelectionWindow {
 public:
  // What marks a window as a selection surface, for the orphan sweep.
  static constexpr std::string_view kIdentifier = "region-selection-capture";

  virtual ~RegionSelectionWindow() = default;

  virtual std::string_view identifier() const = 0;
  virtual bool isVisible() const = 0;
  // Shows the window in front of all others without activating the application.
  virtual void orderFrontRegardless() = 0;
  virtual void orderOut() = 0;
  // Hands the view what to draw and has it redrawn.
  virtual void display(const RegionSelectionViewState& state) = 0;

  // The view's own press, drag and release, at a point local to the window in
  // points, origin bottom-left. Set by the overlay controller.
  std::function<void(RegionSelectionPointerPhase phase, Point local)> onPointerEvent;
};

class RegionSelectionWindowing {
 public:
  virtual ~RegionSelectionWindowing() = default;

  // A new window covering the screen whose frame is `frame` (bottom-left global
  // points) and whose display bounds are `displayBounds` (the same screen in
  // top-left global points), not yet shown, drawn in `appearance`. Dropping the
  // last reference closes the window; a platform that is still delivering one
  // of its events finishes that first.
  virtual std::shared_ptr<RegionSelectionWindow> makeWindow(const Rect& frame,
                                                            const Rect& displayBounds,
                                                            AppearanceMode appearance) = 0;

  // The application's windows that can be selection surfaces, whether the
  // controller still tracks them or not; valid until the next call.
  virtual std::vector<RegionSelectionWindow*> windows() = 0;
};

}  // namespace trelvis
