#pragma once

// The plain values that the lookup engine produces for the client's streams: the
// dictionary entry of the card, the selected word, the final results of a word
// lookup, a region translation and a text translation, and the failures that end
// a stream. Field names are the client's JSON keys; the HTTP layer encodes them
// (lookup_json.h) and numbers the events.

#include <optional>
#include <string>

namespace trelvis::server {

struct BoundingBox {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
  friend bool operator==(const BoundingBox&, const BoundingBox&) = default;
};

struct TranslationEntry {
  std::string headword;
  std::string partOfSpeech;
  std::string meaning;
  std::string sentence;
  std::string sentenceTranslation;
  std::optional<std::string> phonetic;
  std::optional<std::string> pronunciationUrl;
  std::optional<std::string> pronunciationLang;
  std::optional<std::string> detectedLanguageName;
  std::optional<std::string> lookupLang;
  friend bool operator==(const TranslationEntry&, const TranslationEntry&) = default;
};

struct SelectedUnit {
  std::string text;        // the word as it stands in the image
  std::string anchorText;  // the line it stands in
  std::string targetLang;
  BoundingBox boundingBox;  // in image pixels
  double confidence = 0;    // 0...1
};

struct OcrResult {
  std::optional<SelectedUnit> selectedUnit;
  std::optional<TranslationEntry> entry;
  std::string selectionReason = "none";  // "inside_word", "nearest_word" or "none"
  std::optional<double> mouseX;
  std::optional<double> mouseY;
  std::optional<std::string> ocrProvider;
  std::optional<std::string> ocrModel;
  std::optional<std::string> translatorProvider;
  std::optional<std::string> translatorModel;
  std::optional<std::string> error;
};

struct ParagraphTranslationResult {
  std::optional<std::string> requestId;  // the HTTP layer's
  std::optional<std::string> detectedLanguageCode;
  std::optional<std::string> detectedLanguageName;
  std::string translation;
  std::optional<std::string> translatorProvider;
  std::optional<std::string> translatorModel;
};

struct DetectedLanguage {
  std::string code;  // "en", "zh-Hans", ...
  std::string name;  // "English", ...
  friend bool operator==(const DetectedLanguage&, const DetectedLanguage&) = default;
};

// The card fields a stream fills, in the order that builds the card best.
enum class EntryField { headword, phonetic, partOfSpeech, meaning, sentence, sentenceTranslation, translation };

enum class SelectionType { wordPhrase, sentence };

struct WordTranslation {
  std::string lookupText;
  std::optional<std::string> phonetic;
  std::optional<std::string> partOfSpeech;
  std::string meaning;
};

// The end of a select or input translation.
struct TextTranslationCompletion {
  std::string outcome;  // "translated" or "no_result"
  std::optional<SelectionType> selectionType;
  std::optional<DetectedLanguage> language;
  std::optional<WordTranslation> word;
  std::optional<std::string> sentenceTranslation;
  std::string translatorProvider;
  std::optional<std::string> translatorModel;
};

// A failure that ends a stream after it has started. `code` is one the client
// knows ("ocr_failed", "llm_failed") or "unsupported_language_pair", whose message
// names the pair.
struct StreamFailure {
  std::string code;
  std::string message;
  bool retryable = false;
};

// A request refused before any work: the HTTP layer answers 400 or 503 (500 for
// an engine that failed outside a stream) and charges nothing.
struct RequestRefusal {
  enum class Kind { badRequest, saturated, engineFailed };
  Kind kind;
  std::string detail;
};

struct PronunciationAudio {
  std::string lookupText;
  std::optional<std::string> phonetic;
  std::string speed;     // "normal" or "slow"
  std::string fileName;  // under which pronunciationFile() finds the audio
};

}  // namespace trelvis::server
