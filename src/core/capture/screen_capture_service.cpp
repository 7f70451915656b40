#include "core/capture/screen_capture_service.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <exception>
#include <utility>

#include "base/async/continuation.h"
#include "base/async/executor.h"
#include "core/prefs/target_language_store.h"
#include "core/triggers/input_events.h"

namespace trelvis {
namespace {

// Rounded to the nearest millisecond, halves away from zero.
int64_t milliseconds(Duration elapsed) {
  return std::llround(std::chrono::duration<double, std::milli>(elapsed).count());
}

double distance(Point p, const Rect& frame) {
  const double dx = std::max({frame.minX() - p.x, p.x - frame.maxX(), 0.0});
  const double dy = std::max({frame.minY() - p.y, p.y - frame.maxY(), 0.0});
  return std::sqrt(dx * dx + dy * dy);
}

}  // namespace

ScreenCaptureService::ScreenCaptureService(Platform platform,
                                           TargetLanguageStore& targetLanguageStore,
                                           SecondaryTargetLanguage secondaryTargetLanguage)
    : platform_(std::move(platform)),
      targetLanguageStore_(targetLanguageStore),
      secondaryTargetLanguage_(std::move(secondaryTargetLanguage)) {}

Async<NativeCapture> ScreenCaptureService::captureImageAtPointer(Point pointer) {
  checkAccess();
  const std::optional<CaptureGeometry> geometry = captureGeometry(pointer);
  if (!geometry) throw ScreenCaptureError(ScreenCaptureError::Kind::displayUnavailable);
  auto capture = stamped<NativeCapture>(co_await takePicture(*geometry));
  const Point hotspot =
      CaptureGeometryCalculator::hotspot(*geometry, capture.imageWidth, capture.imageHeight);
  capture.hotspotX = hotspot.x;
  capture.hotspotY = hotspot.y;
  capture.mouseX = geometry->mouseInAppKit.x;
  capture.mouseY = geometry->mouseInAppKit.y;
  co_return capture;
}

Async<RegionCapture> ScreenCaptureService::captureRegion(Rect rect) {
  checkAccess();
  const std::optional<CaptureGeometry> geometry = captureGeometry(rect);
  if (!geometry) throw ScreenCaptureError(ScreenCaptureError::Kind::displayUnavailable);
  auto capture = stamped<RegionCapture>(co_await takePicture(*geometry));
  // What was captured, after clipping to the screen, not what was asked for.
  capture.selectionRect = geometry->captureRectInAppKit;
  co_return capture;
}

std::optional<CaptureGeometry> ScreenCaptureService::captureGeometry(Point mouse) const {
  const std::optional<Screen> screen = screenOrMain(mouse);
  if (!screen) return std::nullopt;
  return geometryOn(*screen, mouse,
                    CaptureGeometryCalculator::lookupCaptureRect(
                        mouse, screen->frame, CaptureGeometryCalculator::kLookupHeightRatio));
}

std::optional<CaptureGeometry> ScreenCaptureService::captureGeometry(const Rect& rect) const {
  if (rect.isEmpty()) return std::nullopt;
  const std::optional<Screen> screen = screenOrMain(rect.center());
  if (!screen) return std::nullopt;
  // A region across two displays keeps only the part on the one under its centre.
  const std::optional<Rect> clipped = intersection(rect, screen->frame);
  if (!clipped || clipped->width() < kMinimumRegionSide || clipped->height() < kMinimumRegionSide) {
    return std::nullopt;
  }
  return geometryOn(*screen, rect.center(), *clipped);
}

std::optional<Screen> ScreenCaptureService::screenContaining(Point point,
                                                             const std::vector<Screen>& screens) {
  for (const Screen& screen : screens) {
    if (screen.frame.contains(point)) return screen;
  }
  // The pointer can rest just off the edge of the arrangement of displays.
  const Screen* nearest = nullptr;
  double nearestDistance = kScreenTolerance;
  for (const Screen& screen : screens) {
    const double d = distance(point, screen.frame);
    if (d <= nearestDistance && (!nearest || d < nearestDistance)) {
      nearest = &screen;
      nearestDistance = d;
    }
  }
  if (!nearest) return std::nullopt;
  return *nearest;
}

Async<std::vector<uint8_t>> ScreenCaptureService::encodeJPEG(
    CapturedImage image, std::shared_ptr<const JpegEncoding> encoder,
    std::shared_ptr<Executor> executor) {
  co_return co_await withContinuation<std::vector<uint8_t>>(
      [&](Continuation<std::vector<uint8_t>> continuation) {
        // Not cancellable: the encoding finishes, and the image is released after it.
        executor->post([continuation, encoder = std::move(encoder), image = std::move(image)] {
          try {
            continuation.resume(encoder->jpegData(image));
          } catch (...) {
            continuation.resumeThrowing(std::current_exception());
          }
        });
      });
}

std::optional<Screen> ScreenCaptureService::screenOrMain(Point point) const {
  if (auto screen = screenContaining(point, platform_.screens.screens())) return screen;
  return platform_.screens.mainScreen();
}

std::optional<CaptureGeometry> ScreenCaptureService::geometryOn(const Screen& screen, Point mouse,
                                                                const Rect& captureRect) const {
  if (!screen.displayID) return std::nullopt;
  CaptureGeometry geometry;
  geometry.mouseInAppKit = mouse;
  geometry.captureRectInAppKit = captureRect;
  geometry.displayID = *screen.displayID;
  geometry.screenFrameInAppKit = screen.frame;
  const Rect bounds = platform_.screens.displayBounds(*screen.displayID);
  geometry.displayBoundsInScreenCapture = bounds.isEmpty() ? screen.frame : bounds;
  geometry.captureRectInScreenCapture = CaptureGeometryCalculator::screenCaptureRect(
      captureRect, screen.frame, geometry.displayBoundsInScreenCapture);
  geometry.screenName = screen.localizedName;
  return geometry;
}

void ScreenCaptureService::checkAccess() {
  // The service only looks; asking the user for access is someone else's step.
  if (!platform_.screenshots.preflightScreenCaptureAccess()) {
    throw ScreenCaptureError(ScreenCaptureError::Kind::permissionDenied);
  }
}

template <class Capture>
Capture ScreenCaptureService::stamped(Picture picture) const {
  Capture capture;
  capture.imageData = std::move(picture.jpeg);
  capture.imageWidth = picture.width;
  capture.imageHeight = picture.height;
  capture.targetLanguage = targetLanguageStore_.code();
  if (secondaryTargetLanguage_) capture.secondaryTargetLanguage = secondaryTargetLanguage_();
  capture.captureMilliseconds = picture.captureMilliseconds;
  capture.encodeMilliseconds = picture.encodeMilliseconds;
  return capture;
}

Async<ScreenCaptureService::Picture> ScreenCaptureService::takePicture(
    const CaptureGeometry& geometry) {
  Picture picture;
  const Instant captureStart = platform_.clock.now();
  CapturedImage image = platform_.screenshots.captureImage(geometry.captureRectInScreenCapture);
  picture.captureMilliseconds = milliseconds(platform_.clock.now() - captureStart);
  if (image.width <= 0 || image.height <= 0) {
    throw ScreenCaptureError(ScreenCaptureError::Kind::emptyImage);
  }
  picture.width = image.width;
  picture.height = image.height;
  const Instant encodeStart = platform_.clock.now();
  picture.jpeg =
      co_await encodeJPEG(std::move(image), platform_.encoder, platform_.encodingExecutor);
  picture.encodeMilliseconds = milliseconds(platform_.clock.now() - encodeStart);
  co_return picture;
}

}  // namespace trelvis
