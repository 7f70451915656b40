#pragma once

// ScreenCaptureService turns the pointer's position, or a rectangle the user
// dragged, into a JPEG with its measurements: it picks the screen, takes the
// picture through the platform, has it encoded on the encoding executor (never
// on the caller's), and stamps the result with the user's languages and the
// capture and encoding times that the lookup request reports. It runs on the
// main thread except for the encoding, keeps no state between calls, and
// borrows its seams and stores from the composition root.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/async/async.h"
#include "base/clock.h"
#include "base/geometry.h"
#include "core/capture/capture_geometry.h"
#include "core/capture/screen_capture_error.h"
#include "core/capture/screen_listing.h"
#include "core/capture/screenshot_capturing.h"
#include "core/capture/screen_capturing.h"
#include "core/lookup/lookup_model.h"

namespace trelvis {

class Executor;
class TargetLanguageStore;

class ScreenCaptureService final : public ScreenCapturing {
 public:
  using SecondaryTargetLanguage = std::function<std::optional<std::string>()>;

  // What the platform supplies. The encoder and its executor are shared with
  // encodings still under way when a caller stops waiting.
  struct Platform {
    ScreenListing& screens;
    ScreenshotCapturing& screenshots;
    std::shared_ptr<const JpegEncoding> encoder;
    std::shared_ptr<Executor> encodingExecutor;  // a pool's, off the main thread
    const Clock& clock;                          // times the capture and the encoding
  };

  // The smallest region, in points along either side after clipping to its
  // screen, that is worth capturing.
  static constexpr double kMinimumRegionSide = 8;
  // How far off every screen the pointer may be and still count for the nearest.
  static constexpr double kScreenTolerance = 64;

  ScreenCaptureService(Platform platform, TargetLanguageStore& targetLanguageStore,
                       SecondaryTargetLanguage secondaryTargetLanguage);

  // The band of the screen around `pointer`, where the trigger saw the pointer.
  // Raises ScreenCaptureError.
  Async<NativeCapture> captureImageAtPointer(Point pointer) override;
  // `rect` (bottom-left global points) cut to the screen under its centre.
  // Raises ScreenCaptureError.
  Async<RegionCapture> captureRegion(Rect rect) override;

  // The steps of the two captures: what is captured for a pointer at `mouse`, or
  // for a dragged `rect`; none when no screen serves.
  std::optional<CaptureGeometry> captureGeometry(Point mouse) const;
  std::optional<CaptureGeometry> captureGeometry(const Rect& rect) const;

  // The first of `screens` holding `point`; otherwise the nearest within the
  // tolerance, the earlier one on a tie; otherwise none.
  static std::optional<Screen> screenContaining(Point point, const std::vector<Screen>& screens);

  // Runs `encoder` on `executor` and waits for it there, so that the caller's
  // thread stays free.
  static Async<std::vector<uint8_t>> encodeJPEG(CapturedImage image,
                                                std::shared_ptr<const JpegEncoding> encoder,
                                                std::shared_ptr<Executor> executor);

 private:
  struct Picture {
    std::vector<uint8_t> jpeg;
    double width = 0;
    double height = 0;
    int64_t captureMilliseconds = 0;
    int64_t encodeMilliseconds = 0;
  };

  // Raises permissionDenied unless the platform lets this process read the screen.
  void checkAccess();
  std::optional<Screen> screenOrMain(Point point) const;
  std::optional<CaptureGeometry> geometryOn(const Screen& screen, Point mouse,
                                            const Rect& captureRect) const;
  Async<Picture> takePicture(const CaptureGeometry& geometry);
  // A capture result with the picture, its measurements and the languages in force.
  template <class Capture>
  Capture stamped(Picture picture) const;

  Platform platform_;
  TargetLanguageStore& targetLanguageStore_;
  SecondaryTargetLanguage secondaryTargetLanguage_;
};

}  // namespace trelvis
