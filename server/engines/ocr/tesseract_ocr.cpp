#include "server/engines/ocr/tesseract_ocr.h"

#include <tesseract/baseapi.h>
#include <tesseract/resultiterator.h>

#include <dlfcn.h>

#include <algorithm>
#include <filesystem>

namespace trelvis::server {

namespace {

tl::expected<std::unique_ptr<tesseract::TessBaseAPI>, std::string> loadModel(const std::string& dataPath,
                                                                              const char* model) {
  auto api = std::make_unique<tesseract::TessBaseAPI>();
  if (api->Init(dataPath.c_str(), model, tesseract::OEM_LSTM_ONLY) != 0) {
    return tl::unexpected("cannot load the OCR model " + std::string(model) + " from " + dataPath);
  }
  // Screens carry no resolution; this is the one Tesseract would guess, said once
  // so that it does not warn on every image.
  api->SetVariable("user_defined_dpi", "96");
  api->SetVariable("debug_file", "/dev/null");
  return api;
}

PixelRect boxOf(const tesseract::ResultIterator& it, tesseract::PageIteratorLevel level) {
  int left = 0, top = 0, right = 0, bottom = 0;
  if (!it.BoundingBox(level, &left, &top, &right, &bottom)) return {};
  return {left, top, right - left, bottom - top};
}

std::string textOf(const tesseract::ResultIterator& it, tesseract::PageIteratorLevel level) {
  std::unique_ptr<char[]> text(it.GetUTF8Text(level));
  return text ? std::string(text.get()) : std::string();
}

// Whether `text` is one ideograph (three UTF-8 bytes in the CJK blocks).
bool isIdeograph(const std::string& text) {
  return text.size() == 3 && static_cast<unsigned char>(text[0]) >= 0xE3 && static_cast<unsigned char>(text[0]) <= 0xE9;
}

// The LSTM models place word and symbol boxes of Chinese loosely: the ends of a
// line are right, positions inside it drift by a character or more. Ideographs
// all have the same advance (Latin letters and digits about half of it), so the
// line's extent shared out by advance is the better guess.
void spreadAlongLines(std::vector<OcrWord>& words) {
  size_t begin = 0;
  while (begin < words.size()) {
    size_t end = begin;
    int left = words[begin].box.x;
    int right = words[begin].box.right();
    double units = 0;
    while (end < words.size() && words[end].line == words[begin].line) {
      left = std::min(left, words[end].box.x);
      right = std::max(right, words[end].box.right());
      for (const OcrSymbol& symbol : words[end].symbols) units += isIdeograph(symbol.text) ? 1.0 : 0.5;
      ++end;
    }
    double position = 0;
    for (size_t w = begin; w < end && units > 0; ++w) {
      OcrWord& word = words[w];
      int wordLeft = 0;
      for (size_t k = 0; k < word.symbols.size(); ++k) {
        double advance = isIdeograph(word.symbols[k].text) ? 1.0 : 0.5;
        int symbolLeft = left + static_cast<int>((right - left) * position / units);
        position += advance;
        int symbolRight = left + static_cast<int>((right - left) * position / units);
        word.symbols[k].box = {symbolLeft, word.box.y, symbolRight - symbolLeft, word.box.height};
        if (k == 0) wordLeft = symbolLeft;
        if (k + 1 == word.symbols.size()) word.box = {wordLeft, word.box.y, symbolRight - wordLeft, word.box.height};
      }
    }
    begin = end;
  }
}

}  // namespace

TesseractOcr::TesseractOcr() = default;
TesseractOcr::~TesseractOcr() {
  if (english_) english_->End();
  if (chinese_) chinese_->End();
}

tl::expected<std::unique_ptr<TesseractOcr>, std::string> TesseractOcr::create(const std::string& dataPath) {
  std::unique_ptr<TesseractOcr> ocr(new TesseractOcr());
  auto english = loadModel(dataPath, "eng");
  if (!english) return tl::unexpected(english.error());
  auto chinese = loadModel(dataPath, "chi_sim");
  if (!chinese) return tl::unexpected(chinese.error());
  ocr->english_ = std::move(*english);
  ocr->chinese_ = std::move(*chinese);
  return ocr;
}

std::string TesseractOcr::modelName(OcrLanguage language) {
  return language == OcrLanguage::english ? "tesseract-lstm-eng" : "tesseract-lstm-chi_sim";
}

// Tesseract parallelises with OpenMP inside one recognition; the pool already runs
// one recognition per core, and extra threads only spin against each other (on two
// busy cores a hover took three times as long). Its loops ask for their thread
// count explicitly, which overrides omp_set_num_threads; allowing no active
// parallel level does hold. The setting is per calling thread, so each request
// thread makes it for itself.
void limitToOneThread() {
  thread_local bool done = false;
  if (done) return;
  done = true;
  using SetLimit = void (*)(int);
  if (auto set = reinterpret_cast<SetLimit>(dlsym(RTLD_DEFAULT, "omp_set_max_active_levels"))) set(0);
}

std::vector<OcrWord> TesseractOcr::recognize(const GrayImage& image, OcrLanguage language, OcrLayout layout) {
  std::vector<OcrWord> words;
  limitToOneThread();
  if (image.width <= 0 || image.height <= 0) return words;
  tesseract::TessBaseAPI& api = language == OcrLanguage::english ? *english_ : *chinese_;
  api.SetPageSegMode(layout == OcrLayout::block ? tesseract::PSM_SINGLE_BLOCK : tesseract::PSM_AUTO);
  api.SetImage(image.pixels.data(), image.width, image.height, 1, image.width);
  if (api.Recognize(nullptr) != 0) {
    api.Clear();
    return words;
  }
  std::unique_ptr<tesseract::ResultIterator> it(api.GetIterator());
  int line = -1;
  int paragraph = -1;
  if (it) {
    do {
      if (it->Empty(tesseract::RIL_WORD)) continue;
      if (it->IsAtBeginningOf(tesseract::RIL_PARA)) ++paragraph;
      if (it->IsAtBeginningOf(tesseract::RIL_TEXTLINE)) ++line;
      OcrWord word{textOf(*it, tesseract::RIL_WORD), boxOf(*it, tesseract::RIL_WORD),
                   it->Confidence(tesseract::RIL_WORD), std::max(line, 0), std::max(paragraph, 0), {}};
      // The symbols of this word: step through them on a copy of the iterator.
      tesseract::ResultIterator symbols(*it);
      do {
        word.symbols.push_back({textOf(symbols, tesseract::RIL_SYMBOL), boxOf(symbols, tesseract::RIL_SYMBOL)});
      } while (!symbols.IsAtFinalElement(tesseract::RIL_WORD, tesseract::RIL_SYMBOL) &&
               symbols.Next(tesseract::RIL_SYMBOL));
      if (!word.text.empty()) words.push_back(std::move(word));
    } while (it->Next(tesseract::RIL_WORD));
  }
  api.Clear();
  if (language == OcrLanguage::chinese) spreadAlongLines(words);
  return words;
}

std::string findTessdataPath() {
  for (const char* candidate : {"/usr/share/tesseract-ocr/5/tessdata", "/usr/share/tesseract-ocr/4.00/tessdata",
                                "/usr/share/tessdata"}) {
    std::error_code error;
    if (std::filesystem::exists(std::filesystem::path(candidate) / "eng.traineddata", error)) return candidate;
  }
  return {};
}

}  // namespace trelvis::server
