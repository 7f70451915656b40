#pragma once

// ScreenCapturing: what the lookup coordinator asks of the screen capture
// service: the band of the screen around the pointer, or a selected region,
// each as a JPEG with its measurements and the user's languages. Called on the
// main thread; raises ScreenCaptureError.

#include "base/async/async.h"
#include "base/geometry.h"
#include "core/lookup/lookup_model.h"

namespace trelvis {

class ScreenCapturing {
 public:
  virtual ~ScreenCapturing() = default;

  // `pointer` is where the trigger saw the pointer, in global points.
  virtual Async<NativeCapture> captureImageAtPointer(Point pointer) = 0;
  // `rect` in global points, bottom-left origin; the result's selectionRect is
  // the part of it that lies on its display.
  virtual Async<RegionCapture> captureRegion(Rect rect) = 0;
};

}  // namespace trelvis
