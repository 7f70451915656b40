#include "server/engines/ocr/jpeg_decoder.h"

#include <turbojpeg.h>

#include <memory>

namespace trelvis::server {

namespace {

struct DecoderCloser {
  void operator()(void* handle) const { tjDestroy(handle); }
};

}  // namespace

tl::expected<GrayImage, std::string> decodeJpegToGray(std::span<const uint8_t> jpeg) {
  if (jpeg.size() < 4 || jpeg[0] != 0xFF || jpeg[1] != 0xD8) {
    return tl::unexpected(std::string("the image is not a JPEG"));
  }
  std::unique_ptr<void, DecoderCloser> decoder(tjInitDecompress());
  if (!decoder) return tl::unexpected(std::string("no JPEG decoder available"));

  int width = 0;
  int height = 0;
  int subsampling = 0;
  int colorspace = 0;
  auto* data = const_cast<unsigned char*>(jpeg.data());
  auto size = static_cast<unsigned long>(jpeg.size());
  if (tjDecompressHeader3(decoder.get(), data, size, &width, &height, &subsampling, &colorspace) != 0) {
    return tl::unexpected("the JPEG header cannot be read: " + std::string(tjGetErrorStr2(decoder.get())));
  }
  if (width <= 0 || height <= 0 || static_cast<int64_t>(width) * height > kMaxJpegPixels) {
    return tl::unexpected(std::string("the JPEG is empty or too large"));
  }
  GrayImage image{width, height, std::vector<uint8_t>(static_cast<size_t>(width) * height)};
  // A truncated upload only warns in libjpeg and leaves grey rows behind; that is
  // no picture of the screen, so warnings stop the decode too.
  if (tjDecompress2(decoder.get(), data, size, image.pixels.data(), width, width, height, TJPF_GRAY,
                    TJFLAG_STOPONWARNING) != 0) {
    return tl::unexpected("the JPEG is truncated or corrupt: " + std::string(tjGetErrorStr2(decoder.get())));
  }
  return image;
}

}  // namespace trelvis::server
