#pragma once

// The seams through which the capture service reads and encodes pixels: the
// permission check and the picture of a rectangle of the screen (main thread),
// and the JPEG encoder (any thread, one image at a time per call).

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "base/geometry.h"

namespace trelvis {

// Pixels as the display gives them: 4 bytes each, rows top to bottom with no
// padding, in one of two byte orders. `storage` keeps the bytes alive, so that
// they can stay where the platform received them (memory shared with a display
// server, which is not written into again while an image holds it) instead of
// being copied; copies of an image share them.
struct CapturedImage {
  enum class Layout { bgrx, xrgb };
  int width = 0;
  int height = 0;
  Layout layout = Layout::bgrx;
  const uint8_t* pixels = nullptr;  // byteCount bytes: width * height * 4 when whole
  size_t byteCount = 0;
  std::shared_ptr<const void> storage;

  // An image that owns `bytes`.
  static CapturedImage owning(int width, int height, Layout layout, std::vector<uint8_t> bytes) {
    auto held = std::make_shared<const std::vector<uint8_t>>(std::move(bytes));
    return CapturedImage{width, height, layout, held->data(), held->size(), held};
  }
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
