#include "core/learning/learning_enrollment.h"

#include "base/text.h"

namespace trelvis {
namespace {

std::optional<std::string> nonBlank(const std::optional<std::string>& text) {
  if (!text) return std::nullopt;
  std::string value = trimmed(*text);
  if (value.empty()) return std::nullopt;
  return value;
}

}  // namespace

std::optional<LearningEnrollmentRequest> LearningEnrollmentRequest::from(
    const TranslationEntry& entry) {
  LearningEnrollmentRequest request{trimmed(entry.headword),
                                    trimmed(entry.lookupLang.value_or("")),
                                    trimmed(entry.partOfSpeech),
                                    trimmed(entry.meaning),
                                    nonBlank(entry.phonetic),
                                    nonBlank(entry.sentence),
                                    nonBlank(entry.sentenceTranslation)};
  if (request.headword.empty() || request.lookupLang.empty() || request.partOfSpeech.empty() ||
      request.meaning.empty()) {
    return std::nullopt;
  }
  return request;
}

}  // namespace trelvis
