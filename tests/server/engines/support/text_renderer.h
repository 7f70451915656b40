#pragma once

// Renders lines of text with FreeType into an RGB picture, the way a screen shows
// them (anti-aliased, any colours), encodes it as the client does (JPEG quality 80)
// and remembers where every word and character landed, so that OCR tests can aim
// a hotspot at a known word. Needs no display.

#include "server/engines/ocr/gray_image.h"

#include <cstdint>
#include <string>
#include <vector>

namespace trelvis::server::testing {

struct Rgb {
  uint8_t r = 0, g = 0, b = 0;
};

struct RenderedWord {
  std::string text;
  PixelRect box;                 // the word's cell: advances by line height
  std::vector<PixelRect> chars;  // one cell per character
  std::vector<std::string> charTexts;
  int line = 0;
  int baseline = 0;
};

struct RenderedPicture {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> rgb;
  std::vector<RenderedWord> words;
  int pixelSize = 0;
};

struct TextLayout {
  std::string fontPath;
  int faceIndex = 0;
  int pixelSize = 16;
  double lineSpacing = 1.5;  // line height as a multiple of the pixel size
  std::string separator = " ";  // put between words ("" for Chinese)
  int left = 20;
  int top = 20;
  Rgb foreground{0, 0, 0};
  Rgb background{255, 255, 255};
};

// Renders `lines` (each a list of words) into a `width` by `height` picture.
// Words that do not fit on the picture are not recorded. Throws std::runtime_error
// when the font cannot be loaded.
RenderedPicture renderText(const std::vector<std::vector<std::string>>& lines, const TextLayout& layout,
                           int width, int height);

// The picture as a JPEG of the given quality (4:2:0, as screen captures are sent).
std::vector<uint8_t> encodeJpeg(const RenderedPicture& picture, int quality = 80);

// The fonts available for tests: Latin and Chinese faces of several designs.
struct TestFont {
  std::string path;
  int faceIndex = 0;
};
std::vector<TestFont> latinTestFonts();
std::vector<TestFont> chineseTestFonts();

}  // namespace trelvis::server::testing
