#pragma once

// The plain values of the lookup pipeline: trigger events, captures, the
// server's results and stream events, the card's view state, and the closed
// enumerations with their raw strings. All are copyable records; none owns a
// resource. JSON decoding of the server's records is in lookup_decoding.h.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "base/clock.h"
#include "base/geometry.h"
#include "base/iso8601.h"
#include "core/localization/app_language.h"
#include "core/prefs/english_pronunciation_accent.h"

namespace trelvis {

// ---- Enumerations -----------------------------------------------------------

enum class PronunciationSpeed { normal, slow };
std::string_view toString(PronunciationSpeed speed);  // "normal", "slow"
std::optional<PronunciationSpeed> pronunciationSpeedFromString(std::string_view raw);

enum class PronunciationStatus { loading, ready };

enum class LookupStatus { idle, loading, streaming, success, noWord, error };

enum class OverlayContentKind { lookup, paragraphTranslation, selectTranslate };

enum class TranslationMethod { hover, area, select, input };
std::string_view toString(TranslationMethod method);  // "hover", "area", "select", "input"

enum class LookupOutcomeStatus { success, noWord, error };
std::string_view toString(LookupOutcomeStatus status);  // "success", "no_word", "error"
std::optional<LookupOutcomeStatus> lookupOutcomeStatusFromString(std::string_view raw);

enum class LookupTimeoutPhase { token, response, firstEvent, streamIdle };
std::string_view toString(LookupTimeoutPhase phase);  // "token", ..., "stream_idle"
std::optional<LookupTimeoutPhase> lookupTimeoutPhaseFromString(std::string_view raw);

enum class LookupErrorCode {
  screenCaptureDenied,
  captureFailed,
  captureEmpty,
  networkUnavailable,
  timeout,
  unauthenticated,
  rateLimited,
  translationQuotaExhausted,
  serverError,
  apiUnavailable,
  ocrFailed,
  llmFailed,
  streamError,
  streamInterrupted,
  protocolError,
  hotkeyUnavailable,
  unknown,
};
std::string_view toString(LookupErrorCode code);  // "screen_capture_denied", ...
std::optional<LookupErrorCode> lookupErrorCodeFromString(std::string_view raw);
// Every case, in declaration order.
const std::vector<LookupErrorCode>& allLookupErrorCodes();

// ---- Triggers -----------------------------------------------------------------

// One recognised trigger of the word lookup.
struct HotKeyEvent {
  double mouseX = 0;  // global display coordinates
  double mouseY = 0;
  std::string source;  // "modifier_tap", "hotkey" or "record_case"
  Instant triggeredAt;
  std::optional<int32_t> targetPID;
  friend bool operator==(const HotKeyEvent&, const HotKeyEvent&) = default;
};

// One finished drag of a region.
struct RegionSelectionGesture {
  Point start;
  Point end;
  Instant triggeredAt;  // taken at the press
  Rect selectedRect() const;
  friend bool operator==(const RegionSelectionGesture&, const RegionSelectionGesture&) = default;
};

// ---- Captures -------------------------------------------------------------------

// The image around the pointer.
struct NativeCapture {
  std::vector<uint8_t> imageData;  // JPEG
  double hotspotX = 0;             // pointer inside the image, in image pixels
  double hotspotY = 0;
  double mouseX = 0;  // pointer in global coordinates; anchors the card
  double mouseY = 0;
  double imageWidth = 0;
  double imageHeight = 0;
  std::string targetLanguage;
  std::optional<std::string> secondaryTargetLanguage;
  int64_t captureMilliseconds = 0;
  int64_t encodeMilliseconds = 0;
  // Overwritten with the accent snapshot taken at the trigger.
  EnglishPronunciationAccent englishPronunciation = EnglishPronunciationAccent::american;
};

// The image of a dragged region.
struct RegionCapture {
  std::vector<uint8_t> imageData;  // JPEG
  Rect selectionRect;              // global coordinates
  double imageWidth = 0;
  double imageHeight = 0;
  std::string targetLanguage;
  std::optional<std::string> secondaryTargetLanguage;
  int64_t captureMilliseconds = 0;
  int64_t encodeMilliseconds = 0;
};

// ---- Results from the server ---------------------------------------------

// The dictionary entry of the card, filled piece by piece by the stream.
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

  // Five empty strings and five absent values: where every stream starts.
  static TranslationEntry empty() { return {}; }

  // The language line of the card, in the interface's language.
  std::optional<std::string> detectedLanguageDisplayName(AppLanguage appLanguage) const;

  friend bool operator==(const TranslationEntry&, const TranslationEntry&) = default;
};

struct BoundingBox {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
  friend bool operator==(const BoundingBox&, const BoundingBox&) = default;
};

// The word the server chose from the image.
struct SelectedUnit {
  std::string text;
  std::string anchorText;
  std::string targetLang = "zh-CN";
  BoundingBox boundingBox;
  double confidence = 0;
  friend bool operator==(const SelectedUnit&, const SelectedUnit&) = default;
};

// The final result of a word lookup.
struct OcrResult {
  std::optional<SelectedUnit> selectedUnit;
  std::optional<TranslationEntry> entry;
  std::string selectionReason = "none";
  std::optional<double> mouseX;
  std::optional<double> mouseY;
  std::optional<std::string> ocrProvider = "unknown";
  std::optional<std::string> ocrModel;
  std::optional<std::string> translatorProvider = "unknown";
  std::optional<std::string> translatorModel;
  std::optional<std::string> error;

  // A unit and an entry are present and the unit's text is not blank.
  bool hasSelection() const;

  friend bool operator==(const OcrResult&, const OcrResult&) = default;
};

// The final result of a region translation.
struct ParagraphTranslationResult {
  std::optional<std::string> requestId;
  std::optional<std::string> detectedLanguageCode;
  std::optional<std::string> detectedLanguageName;
  std::string translation;  // required
  std::optional<std::string> translatorProvider;
  std::optional<std::string> translatorModel;

  bool hasText() const;

  friend bool operator==(const ParagraphTranslationResult&,
                         const ParagraphTranslationResult&) = default;
};

// The reply of the pronunciation endpoint.
struct PronunciationResult {
  std::string lookupText;
  std::optional<std::string> phonetic;
  std::optional<std::string> pronunciationUrl;
  PronunciationSpeed pronunciationSpeed = PronunciationSpeed::normal;
  friend bool operator==(const PronunciationResult&, const PronunciationResult&) = default;
};

struct LookupQuotaSnapshot {
  int64_t used = 0;
  int64_t limit = 0;
  int64_t remaining = 0;
  Timestamp resetAt;

  // used >= 0, limit > 0 and remaining == max(limit - used, 0).
  bool isTrustworthy() const;

  friend bool operator==(const LookupQuotaSnapshot&, const LookupQuotaSnapshot&) = default;
};

// The error payload of a stream, or the body of an HTTP failure.
struct LookupStreamFailure {
  std::string message;  // required
  std::optional<std::string> code;
  std::optional<bool> retryable;
  std::optional<LookupQuotaSnapshot> quota;
  friend bool operator==(const LookupStreamFailure&, const LookupStreamFailure&) = default;
};

// ---- Stream events ------------------------------------------------------------

struct LookupStreamEvent {
  struct Timing {
    int64_t requestToFirstSSEMilliseconds = 0;
    friend bool operator==(const Timing&, const Timing&) = default;
  };
  struct FieldDelta {
    int64_t sequence = 0;
    std::string field;
    std::string delta;
    friend bool operator==(const FieldDelta&, const FieldDelta&) = default;
  };
  struct Language {
    std::string name;
    std::string code;
    friend bool operator==(const Language&, const Language&) = default;
  };
  struct Completed {
    OcrResult result;
    friend bool operator==(const Completed&, const Completed&) = default;
  };
  struct ParagraphTranslationCompleted {
    ParagraphTranslationResult result;
    friend bool operator==(const ParagraphTranslationCompleted&,
                           const ParagraphTranslationCompleted&) = default;
  };
  struct Failure {
    LookupStreamFailure failure;
    friend bool operator==(const Failure&, const Failure&) = default;
  };

  std::variant<Timing, FieldDelta, Language, Completed, ParagraphTranslationCompleted, Failure>
      value;

  friend bool operator==(const LookupStreamEvent&, const LookupStreamEvent&) = default;
};

}  // namespace trelvis
