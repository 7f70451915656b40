#pragma once

// The seams through which the capture service reads and encodes pixels: the
// permission check and the picture of a rectangle of the screen (main thread),
// and the JPEG encoder (any thread, one image at a time per call).

#include <cstdint>
#include <vector>

#include "base/geometry.h"

namespace trelvis {

// Pixels as the display gives them: 4 bytes each, rows top to bottom with no
// padding, in one of two byte orders.
struct CapturedImage {
  enum class Layout { bgrx, xrgb };
  int width = 0;
  int height = 0;
  Layout layout = Layout::bgrx;
  std::vector<uint8_t> pixels;  // width * height * 4 bytes
};

class ScreenshotCapturing {
 public:
  virtual ~ScreenshotCapturing() = default;
  // Whether this process may read the screen now; it never asks the user.
  virtual bool preflightScreenCaptureAccess() = 0;
  // The pixels of `rect`, top-left global points, at the display's own density.
  // Raises ScreenCaptureError: permissionDenied when the system refuses,
  // displayUnavailable without a display, emptyImage when nothing came back,
  // captureFailed with the system's reason otherwise.
  virtual CapturedImage captureImage(const Rect& rect) = 0;
};

class JpegEncoding {
 public:
  virtual ~JpegEncoding() = default;
  // The image as a JPEG at full size, or ScreenCaptureError encodingFailed.
  // Safe to call from any thread.
  virtual std::vector<uint8_t> jpegData(const CapturedImage& image) const = 0;
};

}  // namespace trelvis
