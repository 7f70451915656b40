#include "core/lookup/lookup_model.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "base/enum_table.h"
#include "base/text.h"
#include "core/localization/language_names.h"

namespace trelvis {
namespace {

constexpr EnumTable<PronunciationSpeed, 2> kPronunciationSpeeds{{
    {PronunciationSpeed::normal, "normal"},
    {PronunciationSpeed::slow, "slow"},
}};

constexpr EnumTable<TranslationMethod, 4> kTranslationMethods{{
    {TranslationMethod::hover, "hover"},
    {TranslationMethod::area, "area"},
    {TranslationMethod::select, "select"},
    {TranslationMethod::input, "input"},
}};

constexpr EnumTable<LookupOutcomeStatus, 3> kOutcomeStatuses{{
    {LookupOutcomeStatus::success, "success"},
    {LookupOutcomeStatus::noWord, "no_word"},
    {LookupOutcomeStatus::error, "error"},
}};

constexpr EnumTable<LookupTimeoutPhase, 4> kTimeoutPhases{{
    {LookupTimeoutPhase::token, "token"},
    {LookupTimeoutPhase::response, "response"},
    {LookupTimeoutPhase::firstEvent, "first_event"},
    {LookupTimeoutPhase::streamIdle, "stream_idle"},
}};

// In declaration order, which allLookupErrorCodes() gives out.
constexpr EnumTable<LookupErrorCode, 17> kErrorCodes{{
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
static_assert(kErrorCodes.back().first == LookupErrorCode::unknown,
              "a new error code must be added to the table");

bool equalsIgnoringAsciiCase(std::string_view a, std::string_view b) {
  const auto lower = [](char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
  };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [&](char x, char y) { return lower(x) == lower(y); });
}

}  // namespace

std::string_view toString(TranslationMethod method) {
  return enumToString(kTranslationMethods, method);
}

std::string_view toString(PronunciationSpeed speed) {
  return enumToString(kPronunciationSpeeds, speed);
}

std::optional<PronunciationSpeed> pronunciationSpeedFromString(std::string_view raw) {
  return enumFromString(kPronunciationSpeeds, raw);
}

std::string_view toString(LookupOutcomeStatus status) {
  return enumToString(kOutcomeStatuses, status);
}

std::optional<LookupOutcomeStatus> lookupOutcomeStatusFromString(std::string_view raw) {
  return enumFromString(kOutcomeStatuses, raw);
}

std::string_view toString(LookupTimeoutPhase phase) {
  return enumToString(kTimeoutPhases, phase);
}

std::optional<LookupTimeoutPhase> lookupTimeoutPhaseFromString(std::string_view raw) {
  return enumFromString(kTimeoutPhases, raw);
}

std::string_view toString(LookupErrorCode code) {
  return enumToString(kErrorCodes, code);
}

std::optional<LookupErrorCode> lookupErrorCodeFromString(std::string_view raw) {
  return enumFromString(kErrorCodes, raw);
}

const std::vector<LookupErrorCode>& allLookupErrorCodes() {
  static const std::vector<LookupErrorCode> codes = [] {
    std::vector<LookupErrorCode> all;
    all.reserve(kErrorCodes.size());
    for (const auto& row : kErrorCodes) all.push_back(row.first);
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
