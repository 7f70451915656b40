#include "server/lookup/lookup_json.h"

#include <nlohmann/json.hpp>

namespace trelvis::server {

namespace {

using Json = nlohmann::ordered_json;

template <class T>
void putOptional(Json& json, const char* key, const std::optional<T>& value) {
  if (value) json[key] = *value;
}

// Text from OCR may hold broken UTF-8; it is replaced, never a reason to throw.
std::string dump(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

Json entryJson(const TranslationEntry& entry) {
  Json json = {{"headword", entry.headword},
               {"partOfSpeech", entry.partOfSpeech},
               {"meaning", entry.meaning},
               {"sentence", entry.sentence},
               {"sentenceTranslation", entry.sentenceTranslation}};
  putOptional(json, "phonetic", entry.phonetic);
  putOptional(json, "pronunciationUrl", entry.pronunciationUrl);
  putOptional(json, "pronunciationLang", entry.pronunciationLang);
  putOptional(json, "detectedLanguageName", entry.detectedLanguageName);
  putOptional(json, "lookupLang", entry.lookupLang);
  return json;
}

std::string_view selectionTypeName(SelectionType type) {
  return type == SelectionType::sentence ? "sentence" : "word_phrase";
}

void typed(Json& json, std::string_view type, int64_t seq) {
  if (type.empty()) return;
  json["type"] = type;
  json["seq"] = seq;
}

}  // namespace

std::string_view lookupFieldName(EntryField field) {
  switch (field) {
    case EntryField::headword: return "entry.headword";
    case EntryField::phonetic: return "entry.phonetic";
    case EntryField::partOfSpeech: return "entry.partOfSpeech";
    case EntryField::meaning: return "entry.meaning";
    case EntryField::sentence: return "entry.sentence";
    case EntryField::sentenceTranslation: return "entry.sentenceTranslation";
    case EntryField::translation: return "translation";
  }
  return "";
}

std::string_view textFieldName(EntryField field) {
  switch (field) {
    case EntryField::headword: return "word.lookupText";
    case EntryField::phonetic: return "word.phonetic";
    case EntryField::partOfSpeech: return "word.partOfSpeech";
    case EntryField::meaning: return "word.meaning";
    case EntryField::translation: return "sentence.translation";
    case EntryField::sentence:
    case EntryField::sentenceTranslation: return "";
  }
  return "";
}

std::string ocrResultJson(const OcrResult& result) {
  Json json = Json::object();
  if (result.selectedUnit) {
    const SelectedUnit& unit = *result.selectedUnit;
    json["selectedUnit"] = {{"text", unit.text},
                            {"anchorText", unit.anchorText},
                            {"targetLang", unit.targetLang},
                            {"boundingBox",
                             {{"x", unit.boundingBox.x},
                              {"y", unit.boundingBox.y},
                              {"width", unit.boundingBox.width},
                              {"height", unit.boundingBox.height}}},
                            {"confidence", unit.confidence}};
  }
  if (result.entry) json["entry"] = entryJson(*result.entry);
  json["selectionReason"] = result.selectionReason;
  putOptional(json, "mouseX", result.mouseX);
  putOptional(json, "mouseY", result.mouseY);
  putOptional(json, "ocrProvider", result.ocrProvider);
  putOptional(json, "ocrModel", result.ocrModel);
  putOptional(json, "translatorProvider", result.translatorProvider);
  putOptional(json, "translatorModel", result.translatorModel);
  putOptional(json, "error", result.error);
  return dump(json);
}

std::string paragraphResultJson(const ParagraphTranslationResult& result) {
  Json json = Json::object();
  putOptional(json, "requestId", result.requestId);
  putOptional(json, "detectedLanguageCode", result.detectedLanguageCode);
  putOptional(json, "detectedLanguageName", result.detectedLanguageName);
  json["translation"] = result.translation;
  putOptional(json, "translatorProvider", result.translatorProvider);
  putOptional(json, "translatorModel", result.translatorModel);
  return dump(json);
}

std::string pronunciationJson(const PronunciationAudio& audio, std::string_view url) {
  Json json = {{"lookupText", audio.lookupText}};
  putOptional(json, "phonetic", audio.phonetic);
  json["pronunciationUrl"] = url;
  json["pronunciationSpeed"] = audio.speed;
  return dump(json);
}

std::string fieldDeltaJson(int64_t seq, std::string_view field, std::string_view delta, std::string_view type) {
  Json json = Json::object();
  if (!type.empty()) json["type"] = type;
  json["seq"] = seq;
  json["field"] = field;
  json["delta"] = delta;
  return dump(json);
}

std::string languageJson(const DetectedLanguage& language, int64_t seq, std::string_view type) {
  Json json = Json::object();
  typed(json, type, seq);
  json["name"] = language.name;
  json["code"] = language.code;
  return dump(json);
}

std::string failureJson(const StreamFailure& failure, int64_t seq, std::string_view type) {
  Json json = Json::object();
  typed(json, type, seq);
  json["code"] = failure.code;
  json["message"] = failure.message;
  json["retryable"] = failure.retryable;
  return dump(json);
}

std::string classifiedJson(SelectionType selectionType, int64_t seq, std::string_view type) {
  return dump(Json{{"type", type}, {"seq", seq}, {"selectionType", selectionTypeName(selectionType)}});
}

std::string textCompletionJson(const TextTranslationCompletion& completion, int64_t seq, std::string_view type,
                               std::string_view requestId) {
  Json json = {{"type", type}, {"seq", seq}, {"requestId", requestId}, {"outcome", completion.outcome}};
  if (completion.selectionType) json["selectionType"] = selectionTypeName(*completion.selectionType);
  if (completion.language) json["language"] = {{"code", completion.language->code}, {"name", completion.language->name}};
  if (completion.word) {
    Json word = {{"lookupText", completion.word->lookupText}};
    putOptional(word, "phonetic", completion.word->phonetic);
    putOptional(word, "partOfSpeech", completion.word->partOfSpeech);
    word["meaning"] = completion.word->meaning;
    json["word"] = word;
  }
  if (completion.sentenceTranslation) json["sentence"] = {{"translation", *completion.sentenceTranslation}};
  json["translatorProvider"] = completion.translatorProvider;
  putOptional(json, "translatorModel", completion.translatorModel);
  return dump(json);
}

}  // namespace trelvis::server
