#pragma once

// Decodes the JPEG images that clients upload into the grayscale raster the OCR
// engine reads. Stateless and thread-safe; each call uses its own decoder.

#include "server/engines/ocr/gray_image.h"

#include <tl/expected.hpp>

#include <cstdint>
#include <span>
#include <string>

namespace trelvis::server {

// Images larger than this many pixels are refused before any memory is given to them.
inline constexpr int64_t kMaxJpegPixels = 40'000'000;

// The image as grayscale, or a message saying why it cannot be read (not a JPEG,
// truncated, corrupt, too large). The message carries no image bytes.
tl::expected<GrayImage, std::string> decodeJpegToGray(std::span<const uint8_t> jpeg);

}  // namespace trelvis::server
