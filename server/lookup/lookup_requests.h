#pragma once

// The requests the lookup engine serves, as the HTTP layer parses them from the
// client's bodies: a word under a hotspot (hover), a region (area), selected or
// typed text (select, input), and a pronunciation. The engine checks what needs
// its data (served languages, the image's size); the parsers check the shape.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace trelvis::server {

struct WordLookupRequest {
  std::vector<uint8_t> image;  // JPEG
  double hotspotX = 0;         // image pixels
  double hotspotY = 0;
  std::string targetLang;
  std::optional<std::string> secondaryTargetLang;
  std::string englishPronunciation = "en-US";  // or "en-GB"
};

struct RegionTranslationRequest {
  std::vector<uint8_t> image;
  std::string targetLang;
  std::optional<std::string> secondaryTargetLang;
};

struct TextTranslationRequest {
  std::string text;
  std::string targetLang;
  std::optional<std::string> secondaryTargetLang;
  std::string englishPronunciation = "en-US";
};

struct PronunciationRequest {
  std::string lookupText;
  std::string speed = "normal";         // or "slow"
  std::optional<std::string> language;  // "en-US", "en-GB", "es", ...; detected when absent
};

}  // namespace trelvis::server
