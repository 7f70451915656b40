#include "ui/lookup_error_texts.h"

#include "base/enum_table.h"

namespace trelvis {
namespace {

using C = LookupErrorCode;

constexpr EnumTable<C, 17> kMessageKeys{{
    {C::screenCaptureDenied, "lookup.error.screenCaptureDenied"},
    {C::captureFailed, "lookup.error.captureFailed"},
    {C::captureEmpty, "lookup.error.captureEmpty"},
    {C::networkUnavailable, "lookup.error.networkUnavailable"},
    {C::timeout, "lookup.error.timeout"},
    {C::unauthenticated, "lookup.error.unauthenticated"},
    {C::rateLimited, "lookup.error.rateLimited"},
    {C::translationQuotaExhausted, "lookup.error.translationQuotaExhausted"},
    {C::serverError, "lookup.error.serverError"},
    {C::apiUnavailable, "lookup.error.apiUnavailable"},
    {C::ocrFailed, "lookup.error.ocrFailed"},
    {C::llmFailed, "lookup.error.llmFailed"},
    {C::streamError, "lookup.error.streamError"},
    {C::streamInterrupted, "lookup.error.streamInterrupted"},
    {C::protocolError, "lookup.error.protocolError"},
    {C::hotkeyUnavailable, "lookup.error.hotkeyUnavailable"},
    {C::unknown, "lookup.error.unknown"},
}};

}  // namespace

std::string_view lookupErrorTitleKey(LookupErrorCode code) {
  return code == C::translationQuotaExhausted ? "lookup.error.quotaTitle" : "lookup.error.title";
}

std::string_view lookupErrorMessageKey(LookupErrorCode code) {
  const std::string_view key = enumToString(kMessageKeys, code);
  return key.empty() ? "lookup.error.unknown" : key;
}

}  // namespace trelvis
