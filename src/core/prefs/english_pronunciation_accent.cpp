#include "core/prefs/english_pronunciation_accent.h"

namespace trelvis {

std::string_view toString(EnglishPronunciationAccent accent) {
  return accent == EnglishPronunciationAccent::american ? "american" : "british";
}

std::optional<EnglishPronunciationAccent> englishPronunciationAccentFromString(std::string_view raw) {
  if (raw == "american") return EnglishPronunciationAccent::american;
  if (raw == "british") return EnglishPronunciationAccent::british;
  return std::nullopt;
}

}  // namespace trelvis
