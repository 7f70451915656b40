#include "core/prefs/english_pronunciation_store.h"

#include "base/text.h"

#include <string>

namespace trelvis {

EnglishPronunciationStore::EnglishPronunciationStore(PreferenceStore& defaults)
    : accent_(
          defaults, kStorageKey, kDefaultAccent,
          rawStringPreferenceCodec<EnglishPronunciationAccent, englishPronunciationAccentFromString,
                                   toString>("an English pronunciation accent")) {}

void EnglishPronunciationStore::setAccent(EnglishPronunciationAccent accent) {
  if (!accent_.set(accent)) return;
  ++revision_;
  observers_.emit(accent);
}

bool EnglishPronunciationStore::isEnglish(std::string_view language) {
  const std::string text = trimmed(language);
  const std::string_view first = std::string_view(text).substr(0, text.find_first_of("-_"));
  return first.size() == 2 && (first[0] == 'e' || first[0] == 'E') &&
         (first[1] == 'n' || first[1] == 'N');
}

}  // namespace trelvis
