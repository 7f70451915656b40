#pragma once

// Decodes a JPEG back to RGB with TurboJPEG, for tests that check what an
// encoder or a whole capture produced.

#include <turbojpeg.h>

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <vector>

namespace trelvis::testing {

struct DecodedJpeg {
  int width = 0;
  int height = 0;
  int subsampling = -1;  // TJSAMP_*
  std::vector<uint8_t> rgb;

  // Red, green and blue of the pixel at (x, y), top-left origin.
  const uint8_t* at(int x, int y) const {
    return &rgb[(static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)) * 3];
  }
};

inline std::optional<DecodedJpeg> decodeJpeg(const std::vector<uint8_t>& jpeg) {
  tjhandle decompressor = tjInitDecompress();
  if (!decompressor) return std::nullopt;
  DecodedJpeg decoded;
  int colorspace = 0;
  auto* data = const_cast<unsigned char*>(jpeg.data());
  const auto size = static_cast<unsigned long>(jpeg.size());
  bool ok = tjDecompressHeader3(decompressor, data, size, &decoded.width, &decoded.height,
                                &decoded.subsampling, &colorspace) == 0;
  if (ok) {
    decoded.rgb.resize(static_cast<size_t>(decoded.width) * static_cast<size_t>(decoded.height) *
                       3);
    ok = tjDecompress2(decompressor, data, size, decoded.rgb.data(), decoded.width, 0,
                       decoded.height, TJPF_RGB, 0) == 0;
  }
  tjDestroy(decompressor);
  if (!ok) return std::nullopt;
  return decoded;
}

}  // namespace trelvis::testing
