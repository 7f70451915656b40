#pragma once

// One warm Tesseract recogniser with its English and simplified Chinese models
// loaded. Initialising the models costs hundreds of milliseconds, so instances are
// made once at start-up and lent to requests through an EnginePool; an instance is
// used by one thread at a time.

#include "server/engines/ocr/gray_image.h"

#include <tl/expected.hpp>

#include <memory>
#include <string>
#include <vector>

namespace tesseract {
class TessBaseAPI;
}

namespace trelvis::server {

enum class OcrLanguage { english, chinese };

// How the recogniser should read the image.
enum class OcrLayout {
  block,   // one uniform block of text, possibly several lines
  automatic,  // find columns and paragraphs first (whole regions)
};

struct OcrSymbol {
  std::string text;
  PixelRect box;
};

struct OcrWord {
  std::string text;
  PixelRect box;
  float confidence = 0;  // 0...100
  int line = 0;          // index of the text line, in reading order
  int paragraph = 0;     // index of the paragraph the recogniser saw, in reading order
  std::vector<OcrSymbol> symbols;
};

class TesseractOcr {
 public:
  // Loads both models from `dataPath` (the tessdata folder), or says why it cannot.
  static tl::expected<std::unique_ptr<TesseractOcr>, std::string> create(const std::string& dataPath);
  ~TesseractOcr();
  TesseractOcr(const TesseractOcr&) = delete;
  TesseractOcr& operator=(const TesseractOcr&) = delete;

  // The words of `image`, which must show dark text on a light ground, with boxes
  // in the image's own pixels.
  std::vector<OcrWord> recognize(const GrayImage& image, OcrLanguage language, OcrLayout layout);

  // The model names, for the result's provider fields.
  static std::string modelName(OcrLanguage language);

 private:
  TesseractOcr();
  std::unique_ptr<tesseract::TessBaseAPI> english_;
  std::unique_ptr<tesseract::TessBaseAPI> chinese_;
};

// The tessdata folder of the installed models, or empty when none is found.
std::string findTessdataPath();

}  // namespace trelvis::server
