#include "core/lookup/lookup_model.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "base/text.h"
#include "core/localization/language_names.h"

namespace trelvis {
namespace {

template <class E>
struct RawString {
  E value;
  std::string_view raw;
};

// Each table lists every case in declaration order, so a case's row is at its index.
template <class E, std::size_t N>
constexpr bool followsDeclarationOrder(const std::array<RawString<E>, N>& table) {
  for (std::size_t i = 0; i < N; ++i) {
    if (static_cast<std::size_t>(table[i].value) != i) return false;
  }
  return true;
}

template <class E, std::size_t N>
constexpr std::string_view rawOf(const std::array<RawString<E>, N>& table, E value) {
  return table[static_cast<std::size_t>(value)].raw;
}

template <class E, std::size_t N>
constexpr std::optional<E> valueOf(const std::array<RawString<E>, N>& table, std::string_view raw) {
  for (const RawString<E>& row : table) {
    if (row.raw == raw) return row.value;
  }
  return std::nullopt;
}

constexpr std::array<RawString<PronunciationSpeed>, 2> kPronunciationSpeeds{{
    {PronunciationSpeed::normal, "normal"},
    {PronunciationSpeed::slow, "slow"},
}};
static_assert(followsDeclarationOrder(kPronunciationSpeeds));

constexpr std::array<RawString<LookupOutcomeStatus>, 3> kOutcomeStatuses{{
    {LookupOutcomeStatus::success, "success"},
    {LookupOutcomeStatus::noWord, "no_word"},
    {LookupOutcomeStatus::error, "error"},
}};
static_assert(followsDeclarationOrder(kOutcomeStatuses));

constexpr std::array<RawString<LookupTimeoutPhase>, 4> kTimeoutPhases{{
    {LookupTimeoutPhase::token, "token"},
    {LookupTimeoutPhase::response, "response"},
    {LookupTimeoutPhase::firstEvent, "first_event"},
    {LookupTimeoutPhase::streamIdle, "stream_idle"},
}};
static_assert(followsDeclarationOrder(kTimeoutPhases));

constexpr std::array<RawString<LookupErrorCode>, 17> kErrorCodes{{
    {LookupErrorCode::screenCaptureDenied, "screen_capture_denied"},
    {LookupErrorCode::captureFailed, "capture_failed"},
    {LookupErrorCode::captureEmpty, "capture_empty"},
    {LookupErrorCode::networkUnavailable, "network_unavailable"},
    {LookupErrorCode::timeout, "timeout"},
    {LookupErrorCode::unauthenticated, "unauthenticated"},
    {LookupErrorCode::rateLimited, "rate_limited"},
    {LookupErrorCode::translationQuotaExhausted, "translation_quota_exhausted"},
    {LookupErrorCode::serverError, "server_error"},
    {LookupErrorCode::apiUnavailable, "api_unavailable"},
    {LookupErrorCode::ocrFailed, "ocr_failed"},
    {LookupErrorCode::llmFailed, "llm_failed"},
    {LookupErrorCode::streamError, "stream_error"},
    {LookupErrorCode::streamInterrupted, "stream_interrupted"},
    {LookupErrorCode::protocolError, "protocol_error"},
    {LookupErrorCode::hotkeyUnavailable, "hotkey_unavailable"},
    {LookupErrorCode::unknown, "unknown"},
}};
static_assert(followsDeclarationOrder(kErrorCodes));
static_assert(kErrorCodes.back().value == LookupErrorCode::unknown,
              "a new error code must be added to the table");

bool equalsIgnoringAsciiCase(std::string_view a, std::string_view b) {
  const auto lower = [](char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
  };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [&](char x, char y) { return lower(x) == lower(y); });
}

}  // namespace

std::string_view toString(PronunciationSpeed speed) {
  return rawOf(kPronunciationSpeeds, speed);
}

std::optional<PronunciationSpeed> pronunciationSpeedFromString(std::string_view raw) {
  return valueOf(kPronunciationSpeeds, raw);
}

std::string_view toString(LookupOutcomeStatus status) {
  return rawOf(kOutcomeStatuses, status);
}

std::optional<LookupOutcomeStatus> lookupOutcomeStatusFromString(std::string_view raw) {
  return valueOf(kOutcomeStatuses, raw);
}

std::string_view toString(LookupTimeoutPhase phase) {
  return rawOf(kTimeoutPhases, phase);
}

std::optional<LookupTimeoutPhase> lookupTimeoutPhaseFromString(std::string_view raw) {
  return valueOf(kTimeoutPhases, raw);
}

std::string_view toString(LookupErrorCode code) {
  return rawOf(kErrorCodes, code);
}

std::optional<LookupErrorCode> lookupErrorCodeFromString(std::string_view raw) {
  return valueOf(kErrorCodes, raw);
}

const std::vector<LookupErrorCode>& allLookupErrorCodes() {
  static const std::vector<LookupErrorCode> codes = [] {
    std::vector<LookupErrorCode> all;
    all.reserve(kErrorCodes.size());
    for (const auto& row : kErrorCodes) all.push_back(row.value);
    return all;
  }();
  return codes;
}

std::optional<std::string> TranslationEntry::detectedLanguageDisplayName(
    AppLanguage appLanguage) const {
  const auto serverName = [this]() -> std::optional<std::string> {
    std::string name = trimmed(detectedLanguageName.value_or(""));
    if (name.empty()) return std::nullopt;
    return name;
  };
  const std::optional<std::string> code = canonicalLanguageCode(lookupLang.value_or(""));
  if (!code) return serverName();
  const std::optional<std::string_view> name = languageDisplayName(*code, appLanguage);
  // A name that only repeats the code tells the reader less than the server's own name.
  if (!name || name->empty() || equalsIgnoringAsciiCase(*name, *code)) return serverName();
  return std::string(*name);
}

Rect RegionSelectionGesture::selectedRect() const {
  return Rect{Point{std::min(start.x, end.x), std::min(start.y, end.y)},
              Size{std::abs(start.x - end.x), std::abs(start.y - end.y)}};
}

bool OcrResult::hasSelection() const {
  return selectedUnit.has_value() && entry.has_value() && !isBlank(selectedUnit->text);
}

bool ParagraphTranslationResult::hasText() const {
  return !isBlank(translation);
}

bool LookupQuotaSnapshot::isTrustworthy() const {
  // Checked in this order so that `limit - used` cannot overflow.
  return used >= 0 && limit > 0 && remaining == std::max<int64_t>(limit - used, 0);
}

}  // namespace trelvis
