#pragma once

// Picks the recognised word that the pointer is on: the word whose box holds the
// hotspot, or failing that the nearest word no further than a few pixels away.
// Pure functions over OCR words; used by the hotspot reader (to decide whether to
// widen its window) and by the lookup engine (for the result's selection).

#include "server/engines/ocr/tesseract_ocr.h"

#include <optional>
#include <string>
#include <vector>

namespace trelvis::server {

// How far from a word's box a hotspot may fall and still select it, in pixels.
inline constexpr double kSelectionSlack = 6;

struct WordChoice {
  size_t index = 0;  // into the words given
  std::string reason;  // "inside_word" or "nearest_word"
  double distance = 0;  // 0 when inside
};

std::optional<WordChoice> chooseWord(const std::vector<OcrWord>& words, double hotspotX, double hotspotY);

// The symbol of `word` under (or nearest to) the hotspot's x position.
size_t symbolAt(const OcrWord& word, double hotspotX);

}  // namespace trelvis::server
