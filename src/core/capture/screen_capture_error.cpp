#include "core/capture/screen_capture_error.h"

#include <string_view>
#include <utility>

#include "base/check.h"

namespace trelvis {
namespace {

std::string_view caseName(ScreenCaptureError::Kind kind) {
  using Kind = ScreenCaptureError::Kind;
  switch (kind) {
    case Kind::captureFailed:
      return "captureFailed";
    case Kind::permissionDenied:
      return "permissionDenied";
    case Kind::displayUnavailable:
      return "displayUnavailable";
    case Kind::emptyImage:
      return "emptyImage";
    case Kind::encodingFailed:
      return "encodingFailed";
  }
  return "unknown";
}

}  // namespace

ScreenCaptureError::ScreenCaptureError(Kind kind, std::string reason)
    : kind_(kind), reason_(std::move(reason)) {
  description_ = "ScreenCaptureError.";
  description_ += caseName(kind_);
  if (kind_ == Kind::captureFailed) description_ += "(" + reason_ + ")";
}

ScreenCaptureError::ScreenCaptureError(Kind kind) : ScreenCaptureError(kind, {}) {
  TRELVIS_DCHECK(kind != Kind::captureFailed, "captureFailed carries a reason: use its factory");
}

ScreenCaptureError ScreenCaptureError::captureFailed(std::string reason) {
  return ScreenCaptureError(Kind::captureFailed, std::move(reason));
}

}  // namespace trelvis
