#pragma once

// The accent of English pronunciation the user prefers, and its language tag
// on the wire ("en-US", "en-GB").

#include <optional>
#include <string_view>

namespace trelvis {

enum class EnglishPronunciationAccent { american, british };

// The stored raw value ("american", "british").
std::string_view toString(EnglishPronunciationAccent accent);
std::optional<EnglishPronunciationAccent> englishPronunciationAccentFromString(std::string_view raw);

// The language tag sent to the server.
constexpr std::string_view languageTag(EnglishPronunciationAccent accent) {
  return accent == EnglishPronunciationAccent::american ? "en-US" : "en-GB";
}

}  // namespace trelvis
