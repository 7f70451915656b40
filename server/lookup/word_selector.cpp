#include "server/lookup/word_selector.h"

#include <algorithm>
#include <cctype>
#include <cmath>

namespace trelvis::server {

namespace {

double distanceTo(const PixelRect& box, double x, double y) {
  double dx = std::max({box.x - x, 0.0, x - box.right()});
  double dy = std::max({box.y - y, 0.0, y - box.bottom()});
  return std::hypot(dx, dy);
}

bool hasLetterOrDigit(const std::string& text) {
  // Any byte of a multi-byte character counts: CJK text is all such bytes.
  return std::any_of(text.begin(), text.end(), [](char c) {
    auto byte = static_cast<unsigned char>(c);
    return byte >= 0x80 || std::isalnum(byte);
  });
}

}  // namespace

std::optional<WordChoice> chooseWord(const std::vector<OcrWord>& words, double hotspotX, double hotspotY) {
  std::optional<WordChoice> best;
  for (size_t i = 0; i < words.size(); ++i) {
    // Stray punctuation is never the word under the pointer.
    if (!hasLetterOrDigit(words[i].text) || words[i].box.empty()) continue;
    double distance = distanceTo(words[i].box, hotspotX, hotspotY);
    if (distance > kSelectionSlack) continue;
    if (!best || distance < best->distance) {
      best = WordChoice{i, distance == 0 ? "inside_word" : "nearest_word", distance};
    }
  }
  return best;
}

size_t symbolAt(const OcrWord& word, double hotspotX) {
  size_t best = 0;
  double bestDistance = INFINITY;
  for (size_t i = 0; i < word.symbols.size(); ++i) {
    const PixelRect& box = word.symbols[i].box;
    double distance = std::max({box.x - hotspotX, 0.0, hotspotX - box.right()});
    if (distance < bestDistance) {
      bestDistance = distance;
      best = i;
    }
  }
  return best;
}

}  // namespace trelvis::server
