#pragma once

// An 8-bit grayscale raster, the form in which the OCR engine reads every image,
// and the integer rectangles that locate things on it. Plain values.

#include <algorithm>
#include <cstdint>
#include <vector>

namespace trelvis::server {

struct PixelRect {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;

  int right() const { return x + width; }
  int bottom() const { return y + height; }
  bool empty() const { return width <= 0 || height <= 0; }
  bool contains(int px, int py) const { return px >= x && px < right() && py >= y && py < bottom(); }
  // This rectangle cut to the `bounds`.
  PixelRect clampedTo(const PixelRect& bounds) const {
    int left = std::max(x, bounds.x);
    int top = std::max(y, bounds.y);
    int r = std::min(right(), bounds.right());
    int b = std::min(bottom(), bounds.bottom());
    return {left, top, std::max(0, r - left), std::max(0, b - top)};
  }
  friend bool operator==(const PixelRect&, const PixelRect&) = default;
};

struct GrayImage {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> pixels;  // row-major, width bytes per row

  uint8_t at(int x, int y) const { return pixels[static_cast<size_t>(y) * width + x]; }
  PixelRect bounds() const { return {0, 0, width, height}; }
};

}  // namespace trelvis::server
