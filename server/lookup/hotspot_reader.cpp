#include "server/lookup/hotspot_reader.h"

#include "server/lookup/word_selector.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

namespace trelvis::server {

namespace {

// Below this spread of grey levels a neighbourhood holds no text.
constexpr int kMinContrast = 40;
// A window never grows past this many widenings.
constexpr int kMaxWidenings = 2;
// English words below this confidence send the reader to the Chinese model.
constexpr float kConfidentEnglish = 70;
// Below this an English reading is noise, not a word cut by the window's edge.
constexpr float kHopelessEnglish = 40;
// White margin around a window, in recogniser pixels: Tesseract reads glyphs that
// touch the image border badly.
constexpr int kMargin = 12;

struct Ground {
  int threshold = 128;
  bool dark = false;
  uint8_t low = 0;    // grey level taken as full ink
  uint8_t high = 255; // grey level taken as ground
  bool hasText = false;
};

// Otsu's threshold over `rect`, and which side of it the ground is on.
Ground analyse(const GrayImage& image, const PixelRect& rect) {
  std::array<int64_t, 256> histogram{};
  for (int y = rect.y; y < rect.bottom(); ++y) {
    for (int x = rect.x; x < rect.right(); ++x) ++histogram[image.at(x, y)];
  }
  int64_t total = static_cast<int64_t>(rect.width) * rect.height;
  Ground ground;
  if (total == 0) return ground;
  double sumAll = 0;
  for (int v = 0; v < 256; ++v) sumAll += static_cast<double>(v) * histogram[v];
  double sumBelow = 0;
  int64_t below = 0;
  double bestVariance = -1;
  for (int v = 0; v < 256; ++v) {
    below += histogram[v];
    sumBelow += static_cast<double>(v) * histogram[v];
    int64_t above = total - below;
    if (below == 0 || above == 0) continue;
    double meanBelow = sumBelow / below;
    double meanAbove = (sumAll - sumBelow) / above;
    double variance = static_cast<double>(below) * above * (meanBelow - meanAbove) * (meanBelow - meanAbove);
    if (variance > bestVariance) {
      bestVariance = variance;
      ground.threshold = v;
    }
  }
  int64_t darkCount = 0;
  for (int v = 0; v <= ground.threshold; ++v) darkCount += histogram[v];
  ground.dark = darkCount * 2 > total;
  // Percentiles rather than extremes, so that JPEG ringing does not set the scale.
  auto percentile = [&](double fraction) {
    int64_t wanted = static_cast<int64_t>(fraction * total);
    int64_t seen = 0;
    for (int v = 0; v < 256; ++v) {
      seen += histogram[v];
      if (seen > wanted) return static_cast<uint8_t>(v);
    }
    return static_cast<uint8_t>(255);
  };
  uint8_t p1 = percentile(0.01);
  uint8_t p99 = percentile(0.99);
  ground.hasText = p99 - p1 >= kMinContrast;
  ground.low = ground.dark ? p99 : p1;
  ground.high = ground.dark ? p1 : p99;
  return ground;
}

bool isInk(const Ground& ground, uint8_t value) {
  return ground.dark ? value > ground.threshold : value <= ground.threshold;
}

bool rowHasInk(const GrayImage& image, const Ground& ground, int y, int x0, int x1) {
  for (int x = x0; x < x1; ++x) {
    if (isInk(ground, image.at(x, y))) return true;
  }
  return false;
}

// The rows [top, bottom) of the ink run through `seed`, following the ink of
// columns [x0, x1), at most `limit` rows each way.
std::pair<int, int> inkRun(const GrayImage& image, const Ground& ground, int seedTop, int seedBottom, int x0, int x1,
                           int limit) {
  int top = seedTop;
  while (top > 0 && seedTop - top < limit && rowHasInk(image, ground, top - 1, x0, x1)) --top;
  int bottom = seedBottom;
  while (bottom < image.height && bottom - seedBottom < limit && rowHasInk(image, ground, bottom, x0, x1)) ++bottom;
  return {top, bottom};
}

// The part of `image` in `source`, as dark ink on white, scaled by `scale`, with a
// white margin: the picture the recogniser gets.
GrayImage normalise(const GrayImage& image, const PixelRect& source, const Ground& ground, int scale) {
  GrayImage out;
  out.width = source.width * scale + 2 * kMargin;
  out.height = source.height * scale + 2 * kMargin;
  out.pixels.assign(static_cast<size_t>(out.width) * out.height, 255);
  auto level = [&](double value) {
    // Ink maps to 0, ground to 255, whichever way round the screen had them.
    double t = (value - ground.low) / (ground.high - ground.low == 0 ? 1 : (ground.high - ground.low));
    return static_cast<uint8_t>(std::clamp(t * 255.0, 0.0, 255.0));
  };
  for (int y = 0; y < source.height * scale; ++y) {
    double sy = std::clamp((y + 0.5) / scale - 0.5, 0.0, source.height - 1.0);
    int y0 = static_cast<int>(sy);
    int y1 = std::min(y0 + 1, source.height - 1);
    double fy = sy - y0;
    uint8_t* row = &out.pixels[static_cast<size_t>(y + kMargin) * out.width + kMargin];
    for (int x = 0; x < source.width * scale; ++x) {
      double sx = std::clamp((x + 0.5) / scale - 0.5, 0.0, source.width - 1.0);
      int x0 = static_cast<int>(sx);
      int x1 = std::min(x0 + 1, source.width - 1);
      double fx = sx - x0;
      double top = image.at(source.x + x0, source.y + y0) * (1 - fx) + image.at(source.x + x1, source.y + y0) * fx;
      double bottom = image.at(source.x + x0, source.y + y1) * (1 - fx) + image.at(source.x + x1, source.y + y1) * fx;
      row[x] = level(top * (1 - fy) + bottom * fy);
    }
  }
  return out;
}

// Recognises `window` of the image and gives the words in image pixels.
std::vector<OcrWord> recognizeWindow(TesseractOcr& ocr, const GrayImage& image, const PixelRect& window,
                                     const Ground& ground, int scale, OcrLanguage language, OcrLayout layout) {
  GrayImage picture = normalise(image, window, ground, scale);
  std::vector<OcrWord> words = ocr.recognize(picture, language, layout);
  auto back = [&](PixelRect box) {
    int left = static_cast<int>(std::floor(double(box.x - kMargin) / scale)) + window.x;
    int top = static_cast<int>(std::floor(double(box.y - kMargin) / scale)) + window.y;
    int right = static_cast<int>(std::ceil(double(box.right() - kMargin) / scale)) + window.x;
    int bottom = static_cast<int>(std::ceil(double(box.bottom() - kMargin) / scale)) + window.y;
    return PixelRect{left, top, right - left, bottom - top}.clampedTo(window);
  };
  for (OcrWord& word : words) {
    word.box = back(word.box);
    for (OcrSymbol& symbol : word.symbols) symbol.box = back(symbol.box);
  }
  return words;
}

// Small text is enlarged: the recogniser reads glyphs of about 30 pixels best.
int scaleFor(int lineHeight) { return lineHeight < 16 ? 3 : lineHeight < 28 ? 2 : 1; }

bool isAsciiWord(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

struct Pass {
  std::vector<OcrWord> words;
  std::optional<WordChoice> choice;
  PixelRect window;
  int passes = 0;
};

// Reads the line in `language`, widening while the chosen word touches a cut edge.
Pass readLine(TesseractOcr& ocr, const GrayImage& image, const Ground& ground, int top, int bottom, int halfWidth,
              double hx, double hy, OcrLanguage language) {
  Pass pass;
  const int scale = scaleFor(bottom - top);
  for (int attempt = 0; attempt <= kMaxWidenings; ++attempt) {
    int left = std::max(0, static_cast<int>(hx) - halfWidth);
    int right = std::min(image.width, static_cast<int>(hx) + halfWidth);
    pass.window = {left, top, right - left, bottom - top};
    pass.words = recognizeWindow(ocr, image, pass.window, ground, scale, language, OcrLayout::block);
    ++pass.passes;
    pass.choice = chooseWord(pass.words, hx, hy);
    if (!pass.choice) return pass;
    const OcrWord& word = pass.words[pass.choice->index];
    // What the English model makes of other scripts is no word worth a wider look;
    // the Chinese model reads it next.
    if (language == OcrLanguage::english && (word.confidence < kHopelessEnglish || !isAsciiWord(word.text))) {
      return pass;
    }
    // For Chinese the recogniser's "word" may be a whole run of characters; what
    // matters is room for a dictionary word on both sides of the character.
    int reach = 2;
    PixelRect span = word.box;
    if (language == OcrLanguage::chinese && !word.symbols.empty()) {
      const PixelRect& symbol = word.symbols[symbolAt(word, hx)].box;
      reach = 4 * std::max(1, symbol.width);
      span = {std::max(word.box.x, symbol.x - reach), word.box.y, 0, word.box.height};
      span.width = std::min(word.box.right(), symbol.right() + reach) - span.x;
      reach = 2;
    }
    bool cutLeft = left > 0 && span.x <= left + reach;
    bool cutRight = right < image.width && span.right() >= right - reach;
    if (!cutLeft && !cutRight) return pass;
    halfWidth = halfWidth * 5 / 2;
  }
  return pass;
}

}  // namespace

HotspotReading readAroundHotspot(TesseractOcr& ocr, const GrayImage& image, double hotspotX, double hotspotY) {
  HotspotReading reading;
  const int hx = static_cast<int>(hotspotX);
  const int hy = static_cast<int>(hotspotY);
  PixelRect neighbourhood = PixelRect{hx - 200, hy - 60, 400, 120}.clampedTo(image.bounds());
  if (neighbourhood.empty()) return reading;
  Ground ground = analyse(image, neighbourhood);
  if (!ground.hasText) return reading;

  // The line under the hotspot: the ink run of a narrow band of columns around it,
  // starting at the nearest inked row within the selection slack.
  const int bandLeft = std::max(0, hx - 40);
  const int bandRight = std::min(image.width, hx + 40);
  int seed = -1;
  for (int offset = 0; offset <= static_cast<int>(kSelectionSlack) && seed < 0; ++offset) {
    for (int y : {hy - offset, hy + offset}) {
      if (y >= 0 && y < image.height && rowHasInk(image, ground, y, bandLeft, bandRight)) {
        seed = y;
        break;
      }
    }
  }
  if (seed < 0) return reading;
  auto [runTop, runBottom] = inkRun(image, ground, seed, seed + 1, bandLeft, bandRight, 80);
  const int runHeight = runBottom - runTop;
  int halfWidth = std::max(160, 12 * runHeight);
  // The whole line: what other words of the window add above and below (capitals,
  // descenders), up to the first empty row.
  int lineLeft = std::max(0, hx - halfWidth);
  int lineRight = std::min(image.width, hx + halfWidth);
  auto [top, bottom] = inkRun(image, ground, runTop, runBottom, lineLeft, lineRight, runHeight);
  top = std::max(0, top - 1);
  bottom = std::min(image.height, bottom + 1);

  Pass english = readLine(ocr, image, ground, top, bottom, halfWidth, hotspotX, hotspotY, OcrLanguage::english);
  reading.passes = english.passes;
  bool confident = english.choice && english.words[english.choice->index].confidence >= kConfidentEnglish &&
                   isAsciiWord(english.words[english.choice->index].text);
  if (confident) {
    reading.words = std::move(english.words);
    reading.window = english.window;
    return reading;
  }
  Pass chinese = readLine(ocr, image, ground, top, bottom, halfWidth, hotspotX, hotspotY, OcrLanguage::chinese);
  reading.passes += chinese.passes;
  bool chineseWins = chinese.choice && (!english.choice || chinese.words[chinese.choice->index].confidence >
                                                                english.words[english.choice->index].confidence);
  Pass& best = chineseWins ? chinese : english;
  reading.language = chineseWins ? OcrLanguage::chinese : OcrLanguage::english;
  reading.words = std::move(best.words);
  reading.window = best.window;
  return reading;
}

HotspotReading readRegion(TesseractOcr& ocr, const GrayImage& image) {
  HotspotReading reading;
  if (image.width <= 0 || image.height <= 0) return reading;
  Ground ground = analyse(image, image.bounds());
  if (!ground.hasText) return reading;
  // The typical line height: the median height of the inked row runs.
  std::vector<int> runs;
  int start = -1;
  for (int y = 0; y <= image.height; ++y) {
    bool ink = y < image.height && rowHasInk(image, ground, y, 0, image.width);
    if (ink && start < 0) start = y;
    if (!ink && start >= 0) {
      runs.push_back(y - start);
      start = -1;
    }
  }
  std::nth_element(runs.begin(), runs.begin() + runs.size() / 2, runs.end());
  int lineHeight = runs.empty() ? 20 : runs[runs.size() / 2];
  int scale = scaleFor(lineHeight);
  auto meanConfidence = [](const std::vector<OcrWord>& words) {
    double sum = 0;
    for (const OcrWord& word : words) sum += word.confidence;
    return words.empty() ? 0.0 : sum / words.size();
  };
  reading.window = image.bounds();
  reading.words = recognizeWindow(ocr, image, reading.window, ground, scale, OcrLanguage::english, OcrLayout::block);
  reading.passes = 1;
  double englishConfidence = meanConfidence(reading.words);
  if (englishConfidence >= kConfidentEnglish) return reading;
  auto chinese = recognizeWindow(ocr, image, reading.window, ground, scale, OcrLanguage::chinese, OcrLayout::block);
  reading.passes = 2;
  if (meanConfidence(chinese) > englishConfidence) {
    reading.words = std::move(chinese);
    reading.language = OcrLanguage::chinese;
  }
  return reading;
}

}  // namespace trelvis::server
