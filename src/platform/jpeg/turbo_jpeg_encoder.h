#pragma once

// TurboJpegEncoder: encodes captured screen pixels as baseline JPEG with
// libjpeg-turbo, at quality 80 with 4:2:0 chroma subsampling and full size.
// The capture service calls it from the encoding pool; calls from several
// threads take turns on one compressor and its output buffer, which are kept
// between calls so that an encoding allocates only its result.

#include <memory>
#include <vector>

#include "core/capture/screenshot_capturing.h"

namespace trelvis {

class TurboJpegEncoder final : public JpegEncoding {
 public:
  static constexpr int kQuality = 80;

  TurboJpegEncoder();
  ~TurboJpegEncoder() override;
  TurboJpegEncoder(const TurboJpegEncoder&) = delete;
  TurboJpegEncoder& operator=(const TurboJpegEncoder&) = delete;

  // Raises ScreenCaptureError encodingFailed for an image with no pixels, with
  // fewer bytes than its size says, or one the library refuses.
  std::vector<uint8_t> jpegData(const CapturedImage& image) const override;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace trelvis
