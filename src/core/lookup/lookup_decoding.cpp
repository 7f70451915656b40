#include "core/lookup/lookup_decoding.h"

#include <string>

namespace trelvis {

TranslationEntry decodeJson(const json::ObjectReader& reader, json::Tag<TranslationEntry>) {
  TranslationEntry entry;
  entry.headword = reader.value<std::string>("headword");
  entry.partOfSpeech = reader.value<std::string>("partOfSpeech");
  entry.meaning = reader.value<std::string>("meaning");
  entry.sentence = reader.value<std::string>("sentence");
  entry.sentenceTranslation = reader.value<std::string>("sentenceTranslation");
  entry.phonetic = reader.optional<std::string>("phonetic");
  entry.pronunciationUrl = reader.optional<std::string>("pronunciationUrl");
  entry.pronunciationLang = reader.optional<std::string>("pronunciationLang");
  entry.detectedLanguageName = reader.optional<std::string>("detectedLanguageName");
  entry.lookupLang = reader.optional<std::string>("lookupLang");
  return entry;
}

BoundingBox decodeJson(const json::ObjectReader& reader, json::Tag<BoundingBox>) {
  return BoundingBox{
      .x = reader.value<double>("x"),
      .y = reader.value<double>("y"),
      .width = reader.value<double>("width"),
      .height = reader.value<double>("height"),
  };
}

SelectedUnit decodeJson(const json::ObjectReader& reader, json::Tag<SelectedUnit>) {
  const SelectedUnit defaults;
  return SelectedUnit{
      .text = reader.value<std::string>("text"),
      .anchorText = reader.value<std::string>("anchorText"),
      // The server's own default, not the user's target language.
      .targetLang = reader.value<std::string>("targetLang", defaults.targetLang),
      .boundingBox = reader.value<BoundingBox>("boundingBox"),
      .confidence = reader.value<double>("confidence"),
  };
}

OcrResult decodeJson(const json::ObjectReader& reader, json::Tag<OcrResult>) {
  const OcrResult defaults;
  OcrResult result;
  result.selectedUnit = reader.optional<SelectedUnit>("selectedUnit");
  result.entry = reader.optional<TranslationEntry>("entry");
  result.selectionReason = reader.value<std::string>("selectionReason", defaults.selectionReason);
  result.mouseX = reader.optional<double>("mouseX");
  result.mouseY = reader.optional<double>("mouseY");
  // Absent providers read as "unknown" so that reports always name one.
  result.ocrProvider = reader.value<std::string>("ocrProvider", *defaults.ocrProvider);
  result.ocrModel = reader.optional<std::string>("ocrModel");
  result.translatorProvider =
      reader.value<std::string>("translatorProvider", *defaults.translatorProvider);
  result.translatorModel = reader.optional<std::string>("translatorModel");
  result.error = reader.optional<std::string>("error");
  return result;
}

ParagraphTranslationResult decodeJson(const json::ObjectReader& reader,
                                      json::Tag<ParagraphTranslationResult>) {
  return ParagraphTranslationResult{
      .requestId = reader.optional<std::string>("requestId"),
      .detectedLanguageCode = reader.optional<std::string>("detectedLanguageCode"),
      .detectedLanguageName = reader.optional<std::string>("detectedLanguageName"),
      .translation = reader.required<std::string>("translation"),
      .translatorProvider = reader.optional<std::string>("translatorProvider"),
      .translatorModel = reader.optional<std::string>("translatorModel"),
  };
}

PronunciationResult decodeJson(const json::ObjectReader& reader, json::Tag<PronunciationResult>) {
  return PronunciationResult{
      .lookupText = reader.value<std::string>("lookupText"),
      .phonetic = reader.optional<std::string>("phonetic"),
      .pronunciationUrl = reader.optional<std::string>("pronunciationUrl"),
      .pronunciationSpeed =
          reader.value<PronunciationSpeed>("pronunciationSpeed", PronunciationSpeed::normal),
  };
}

LookupQuotaSnapshot decodeJson(const json::ObjectReader& reader, json::Tag<LookupQuotaSnapshot>) {
  return LookupQuotaSnapshot{
      .used = reader.required<int64_t>("used"),
      .limit = reader.required<int64_t>("limit"),
      .remaining = reader.required<int64_t>("remaining"),
      .resetAt = reader.required<Timestamp>("resetAt"),
  };
}

LookupStreamFailure decodeJson(const json::ObjectReader& reader, json::Tag<LookupStreamFailure>) {
  return LookupStreamFailure{
      .message = reader.required<std::string>("message"),
      .code = reader.optional<std::string>("code"),
      .retryable = reader.optional<bool>("retryable"),
      // A quota that is present but malformed fails the whole failure.
      .quota = reader.optional<LookupQuotaSnapshot>("quota"),
  };
}

PronunciationSpeed decodeJson(const json::Value& value, json::Tag<PronunciationSpeed>) {
  const std::optional<PronunciationSpeed> speed =
      pronunciationSpeedFromString(value.as<std::string>());
  if (!speed) value.fail("unknown pronunciation speed");
  return *speed;
}

}  // namespace trelvis
