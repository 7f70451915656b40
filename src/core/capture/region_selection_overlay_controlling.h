#pragma once

// RegionSelectionOverlayControlling: what the gates of the composition root ask
// of the region selection overlay, the click-catching surface on which a region
// is dragged. The overlay controller implements it on the main thread. Its two
// callbacks report the drag that its own windows saw, and its failsafe giving
// up on a gesture whose end was lost.

#include <functional>
#include <optional>

#include "core/lookup/lookup_model.h"
#include "core/triggers/region_selection_gesture_update.h"

namespace trelvis {

class RegionSelectionOverlayControlling {
 public:
  virtual ~RegionSelectionOverlayControlling() = default;

  // Puts the catching surfaces up; a second call changes nothing.
  virtual void arm() = 0;
  virtual void begin(const RegionSelectionGesture& gesture) = 0;
  virtual void update(const RegionSelectionGesture& gesture) = 0;
  // Takes the surfaces down; the gesture clipped to its display, or none when
  // the region is too small to translate.
  virtual std::optional<RegionSelectionGesture> finish(const RegionSelectionGesture& gesture) = 0;
  // Forgets the drag that the surfaces' own views were tracking.
  virtual void resetDrag() = 0;
  virtual void dismissCaptureSurfaces() = 0;
  // Takes down selection windows that the overlay no longer tracks; their number.
  virtual int cleanupOrphanCaptureWindows() = 0;

  std::function<void(const RegionSelectionGestureUpdate& update)> onGestureUpdate;
  std::function<void()> onFailsafeCancel;
};

}  // namespace trelvis
