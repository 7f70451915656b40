#pragma once

// Fakes of the capture seams: a screen arrangement the test lays out, a
// screenshot source that answers with an image of the asked-for size (or
// refuses, or fails as told) and records what it was asked, a JPEG encoder that
// records the executor it ran on, and a clock the fakes move forward by what
// their work "cost". Single-threaded, like the virtual-time tests that use them.

#include <atomic>
#include <cmath>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "base/async/executor.h"
#include "base/clock.h"
#include "core/capture/screen_capture_error.h"
#include "core/capture/screen_listing.h"
#include "core/capture/screenshot_capturing.h"

namespace trelvis {

class ManualClock final : public Clock {
 public:
  Instant now() const override { return Instant::fromNanoseconds(nanoseconds_.load()); }
  void advance(Duration d) { nanoseconds_ += d.count(); }

 private:
  std::atomic<int64_t> nanoseconds_{0};
};

class FakeScreens final : public ScreenListing {
 public:
  std::vector<Screen> screens() const override {
    ++queries;
    return list;
  }
  std::optional<Screen> mainScreen() const override {
    ++queries;
    return main;
  }
  Rect displayBounds(uint32_t displayID) const override {
    auto found = bounds.find(displayID);
    return found == bounds.end() ? Rect{} : found->second;
  }

  std::vector<Screen> list;
  std::optional<Screen> main;
  std::map<uint32_t, Rect> bounds;  // top-left; a display missing here has empty bounds
  mutable int queries = 0;
};

class FakeScreenshots final : public ScreenshotCapturing {
 public:
  explicit FakeScreenshots(ManualClock& clock) : clock_(clock) {}

  bool preflightScreenCaptureAccess() override { return granted; }

  // An image of the rectangle at `pixelsPerPoint`, unless `answer` says otherwise.
  CapturedImage captureImage(const Rect& rect) override {
    requests.push_back(rect);
    clock_.advance(captureCost);
    if (answer) return answer(rect);
    const int width = static_cast<int>(std::ceil(rect.width() * pixelsPerPoint));
    const int height = static_cast<int>(std::ceil(rect.height() * pixelsPerPoint));
    return CapturedImage::owning(
        width, height, CapturedImage::Layout::bgrx,
        std::vector<uint8_t>(static_cast<size_t>(width) * static_cast<size_t>(height) * 4, 0x80));
  }

  bool granted = true;
  double pixelsPerPoint = 1;
  Duration captureCost{0};
  std::function<CapturedImage(const Rect&)> answer;
  std::vector<Rect> requests;

 private:
  ManualClock& clock_;
};

class FakeJpegEncoder final : public JpegEncoding {
 public:
  explicit FakeJpegEncoder(ManualClock& clock) : clock_(clock) {}

  // A stand-in "JPEG" naming the image's size, e.g. "jpeg 640x90".
  std::vector<uint8_t> jpegData(const CapturedImage& image) const override {
    ranOn.push_back(Executor::current());
    clock_.advance(encodeCost);
    if (fails) throw ScreenCaptureError(ScreenCaptureError::Kind::encodingFailed);
    const std::string text =
        "jpeg " + std::to_string(image.width) + "x" + std::to_string(image.height);
    return std::vector<uint8_t>(text.begin(), text.end());
  }

  bool fails = false;
  Duration encodeCost{0};
  mutable std::vector<Executor*> ranOn;

 private:
  ManualClock& clock_;
};

}  // namespace trelvis
