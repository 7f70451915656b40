#include "platform/jpeg/turbo_jpeg_encoder.h"

#include <turbojpeg.h>

#include <climits>
#include <mutex>

#include "base/log.h"
#include "core/capture/screen_capture_error.h"

namespace trelvis {
namespace {

const LogCategory kLog("capture");

int pixelFormat(CapturedImage::Layout layout) {
  switch (layout) {
    case CapturedImage::Layout::bgrx:
      return TJPF_BGRX;
    case CapturedImage::Layout::xrgb:
      return TJPF_XRGB;
  }
  return TJPF_BGRX;
}

ScreenCaptureError encodingFailed() {
  return ScreenCaptureError(ScreenCaptureError::Kind::encodingFailed);
}

}  // namespace

struct TurboJpegEncoder::State {
  std::mutex mutex;
  tjhandle compressor = nullptr;    // created on first use
  unsigned char* buffer = nullptr;  // tjAlloc'd, for the largest image so far
  unsigned long bufferSize = 0;
};

TurboJpegEncoder::TurboJpegEncoder() : state_(std::make_unique<State>()) {}

TurboJpegEncoder::~TurboJpegEncoder() {
  if (state_->compressor) tjDestroy(state_->compressor);
  tjFree(state_->buffer);
}

std::vector<uint8_t> TurboJpegEncoder::jpegData(const CapturedImage& image) const {
  if (image.width <= 0 || image.height <= 0 ||
      !image.pixels || image.byteCount / 4 / static_cast<size_t>(image.width) <
          static_cast<size_t>(image.height)) {
    kLog.error("cannot encode a {}x{} image from {} bytes", image.width, image.height,
               image.byteCount);
    throw encodingFailed();
  }
  std::lock_guard lock(state_->mutex);
  if (!state_->compressor) state_->compressor = tjInitCompress();
  if (!state_->compressor) {
    kLog.error("cannot create a JPEG compressor: {}", tjGetErrorStr2(nullptr));
    throw encodingFailed();
  }
  // Room for the worst case, so that the library never reallocates the buffer.
  const unsigned long needed = tjBufSize(image.width, image.height, TJSAMP_420);
  if (needed == static_cast<unsigned long>(-1) || needed > INT_MAX || image.width > INT_MAX / 4) {
    throw encodingFailed();
  }
  if (state_->bufferSize < needed) {
    tjFree(state_->buffer);
    state_->buffer = tjAlloc(static_cast<int>(needed));
    state_->bufferSize = state_->buffer ? needed : 0;
    if (!state_->buffer) throw encodingFailed();
  }
  unsigned long size = state_->bufferSize;
  if (tjCompress2(state_->compressor, image.pixels, image.width, image.width * 4,
                  image.height, pixelFormat(image.layout), &state_->buffer, &size, TJSAMP_420,
                  kQuality, TJFLAG_NOREALLOC) != 0) {
    kLog.error("JPEG encoding failed: {}", tjGetErrorStr2(state_->compressor));
    throw encodingFailed();
  }
  return std::vector<uint8_t>(state_->buffer, state_->buffer + size);
}

}  // namespace trelvis
