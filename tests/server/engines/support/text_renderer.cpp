#include "server/engines/support/text_renderer.h"

#include "server/engines/utf8.h"

#include <ft2build.h>
#include FT_FREETYPE_H
#include <turbojpeg.h>

#include <filesystem>
#include <memory>
#include <stdexcept>

namespace trelvis::server::testing {

namespace {

struct Library {
  FT_Library library = nullptr;
  FT_Face face = nullptr;
  ~Library() {
    if (face) FT_Done_Face(face);
    if (library) FT_Done_FreeType(library);
  }
};

uint8_t blend(uint8_t fg, uint8_t bg, unsigned coverage) {
  return static_cast<uint8_t>((fg * coverage + bg * (255 - coverage)) / 255);
}

}  // namespace

RenderedPicture renderText(const std::vector<std::vector<std::string>>& lines, const TextLayout& layout,
                           int width, int height) {
  Library ft;
  if (FT_Init_FreeType(&ft.library) != 0 ||
      FT_New_Face(ft.library, layout.fontPath.c_str(), layout.faceIndex, &ft.face) != 0 ||
      FT_Set_Pixel_Sizes(ft.face, 0, layout.pixelSize) != 0) {
    throw std::runtime_error("cannot load font " + layout.fontPath);
  }
  RenderedPicture picture{width, height, std::vector<uint8_t>(static_cast<size_t>(width) * height * 3), {},
                          layout.pixelSize};
  for (size_t p = 0; p < picture.rgb.size(); p += 3) {
    picture.rgb[p] = layout.background.r;
    picture.rgb[p + 1] = layout.background.g;
    picture.rgb[p + 2] = layout.background.b;
  }
  const int ascender = static_cast<int>(ft.face->size->metrics.ascender >> 6);
  const int descender = static_cast<int>(-(ft.face->size->metrics.descender >> 6));
  const int lineHeight = static_cast<int>(layout.pixelSize * layout.lineSpacing);

  auto drawGlyph = [&](int penX, int baseline) {
    const FT_Bitmap& bitmap = ft.face->glyph->bitmap;
    int originX = penX + ft.face->glyph->bitmap_left;
    int originY = baseline - ft.face->glyph->bitmap_top;
    for (unsigned row = 0; row < bitmap.rows; ++row) {
      for (unsigned col = 0; col < bitmap.width; ++col) {
        int x = originX + static_cast<int>(col);
        int y = originY + static_cast<int>(row);
        if (x < 0 || y < 0 || x >= width || y >= height) continue;
        unsigned coverage = bitmap.buffer[row * bitmap.pitch + col];
        uint8_t* pixel = &picture.rgb[(static_cast<size_t>(y) * width + x) * 3];
        pixel[0] = blend(layout.foreground.r, pixel[0], coverage);
        pixel[1] = blend(layout.foreground.g, pixel[1], coverage);
        pixel[2] = blend(layout.foreground.b, pixel[2], coverage);
      }
    }
  };

  for (size_t lineIndex = 0; lineIndex < lines.size(); ++lineIndex) {
    int baseline = layout.top + static_cast<int>(lineIndex) * lineHeight + ascender;
    int penX = layout.left;
    for (size_t w = 0; w < lines[lineIndex].size(); ++w) {
      std::string text = lines[lineIndex][w];
      if (w > 0) text = layout.separator + text;
      RenderedWord word{lines[lineIndex][w], {}, {}, {}, static_cast<int>(lineIndex), baseline};
      int wordStart = -1;
      size_t i = 0;
      size_t separatorBytes = w > 0 ? layout.separator.size() : 0;
      while (i < text.size()) {
        size_t start = i;
        char32_t codePoint = nextCodePoint(text, i);
        if (FT_Load_Char(ft.face, codePoint, FT_LOAD_RENDER | FT_LOAD_TARGET_NORMAL) != 0) continue;
        int advance = static_cast<int>(ft.face->glyph->advance.x >> 6);
        if (start >= separatorBytes) {
          if (wordStart < 0) wordStart = penX;
          word.chars.push_back({penX, baseline - ascender, advance, ascender + descender});
          word.charTexts.push_back(text.substr(start, i - start));
        }
        drawGlyph(penX, baseline);
        penX += advance;
      }
      word.box = {wordStart, baseline - ascender, penX - wordStart, ascender + descender};
      if (wordStart >= 0 && word.box.right() <= width && word.box.bottom() <= height) {
        picture.words.push_back(std::move(word));
      }
    }
  }
  return picture;
}

std::vector<uint8_t> encodeJpeg(const RenderedPicture& picture, int quality) {
  tjhandle encoder = tjInitCompress();
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  int status = tjCompress2(encoder, picture.rgb.data(), picture.width, picture.width * 3, picture.height,
                           TJPF_RGB, &buffer, &size, TJSAMP_420, quality, 0);
  std::vector<uint8_t> bytes;
  if (status == 0) bytes.assign(buffer, buffer + size);
  tjFree(buffer);
  tjDestroy(encoder);
  if (status != 0) throw std::runtime_error("JPEG encoding failed");
  return bytes;
}

namespace {
std::vector<TestFont> existing(std::vector<TestFont> fonts) {
  std::erase_if(fonts, [](const TestFont& font) { return !std::filesystem::exists(font.path); });
  return fonts;
}
}  // namespace

std::vector<TestFont> latinTestFonts() {
  return existing({
      {"/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf"},
      {"/usr/share/fonts/truetype/dejavu/DejaVuSerif.ttf"},
      {"/usr/share/fonts/truetype/liberation2/LiberationSans-Regular.ttf"},
      {"/usr/share/fonts/truetype/liberation2/LiberationSerif-Regular.ttf"},
      {"/usr/share/fonts/truetype/liberation2/LiberationMono-Regular.ttf"},
  });
}

std::vector<TestFont> chineseTestFonts() {
  return existing({
      {"/usr/share/fonts/truetype/wqy/wqy-microhei.ttc"},
      {"/usr/share/fonts/truetype/wqy/wqy-zenhei.ttc"},
      {"/usr/share/fonts/opentype/noto/NotoSansCJK-Regular.ttc", 2},  // the SC face
      {"/usr/share/fonts/opentype/noto/NotoSerifCJK-Regular.ttc", 2},
  });
}

}  // namespace trelvis::server::testing
