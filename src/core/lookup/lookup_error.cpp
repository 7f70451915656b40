#include "core/lookup/lookup_error.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "base/json_decode.h"
#include "core/capture/screen_capture_error.h"
#include "core/net/url_error.h"

namespace trelvis {
namespace {

template <class... Fs>
struct Overloaded : Fs... {
  using Fs::operator()...;
};
template <class... Fs>
Overloaded(Fs...) -> Overloaded<Fs...>;

// Failures of reaching the server at all, which the card words as "you are offline"
// rather than as a fault of the service.
constexpr std::array kNetworkUnavailableCodes{
    URLErrorCode::cannotFindHost,
    URLErrorCode::cannotConnectToHost,
    URLErrorCode::dnsLookupFailed,
    URLErrorCode::networkConnectionLost,
    URLErrorCode::notConnectedToInternet,
    URLErrorCode::internationalRoamingOff,
    URLErrorCode::callIsActive,
    URLErrorCode::dataNotAllowed,
    URLErrorCode::secureConnectionFailed,
    URLErrorCode::serverCertificateHasBadDate,
    URLErrorCode::serverCertificateUntrusted,
    URLErrorCode::serverCertificateHasUnknownRoot,
    URLErrorCode::serverCertificateNotYetValid,
    URLErrorCode::clientCertificateRejected,
    URLErrorCode::clientCertificateRequired,
};

std::string describe(const LookupTransportError::Case& value) {
  return std::visit(Overloaded{
                        [](const LookupTransportError::Http& http) {
                          return "http(" + std::to_string(http.status) + ", " + http.message + ")";
                        },
                        [](const LookupTransportError::QuotaExhausted& quota) {
                          return "quotaExhausted(" + quota.failure.message + ")";
                        },
                        [](const LookupTransportError::Auth& auth) {
                          return "auth(" + std::string(auth.error.what()) + ")";
                        },
                        [](const LookupTransportError::Timeout& timeout) {
                          return "timeout(" + std::string(toString(timeout.phase)) + ")";
                        },
                        [](const LookupTransportError::Unauthenticated&) {
                          return std::string("unauthenticated");
                        },
                        [](const LookupTransportError::InvalidResponse&) {
                          return std::string("invalidResponse");
                        },
                    },
                    value);
}

LookupError fromAuth(const AuthSessionError& error) {
  using Kind = AuthSessionError::Kind;
  switch (error.kind()) {
    case Kind::network:
      return LookupError(LookupErrorCode::networkUnavailable, error.what());
    case Kind::server:
      return LookupError(LookupErrorCode::serverError, error.what());
    case Kind::unauthenticated:
    case Kind::invalidCredentials:
      return LookupError(LookupErrorCode::unauthenticated, std::string(error.code()));
    case Kind::invalidResponse:
      return LookupError(LookupErrorCode::protocolError, std::string(error.code()));
    case Kind::verificationCooldown:
    case Kind::invalidRequest:
    case Kind::keychain:
    case Kind::emailAlreadyRegistered:
    case Kind::emailNotRegistered:
    case Kind::verificationCodeInvalid:
    case Kind::verificationDeliveryFailed:
      break;
  }
  return LookupError(LookupErrorCode::unknown, error.what());
}

}  // namespace

LookupTransportError::LookupTransportError(Case value)
    : value_(std::move(value)), description_("LookupTransportError." + describe(value_)) {}

LookupError::LookupError(LookupErrorCode code, std::optional<std::string> detail,
                         std::optional<LookupQuotaSnapshot> quota)
    : code_(code), detail_(std::move(detail)), quota_(std::move(quota)) {
  description_ = "LookupError(";
  description_ += toString(code_);
  if (detail_) {
    description_ += ", ";
    description_ += *detail_;
  }
  description_ += ")";
}

LookupError LookupError::from(const std::exception_ptr& error) {
  if (!error) return LookupError(LookupErrorCode::unknown, "no error was given");
  try {
    std::rethrow_exception(error);
  } catch (const LookupError& lookupError) {
    return lookupError;
  } catch (const ScreenCaptureError& captureError) {
    return fromScreenCapture(captureError);
  } catch (const LookupTransportError& transportError) {
    return fromTransport(transportError);
  } catch (const URLError& urlError) {
    return fromURLError(urlError);
  } catch (const json::DecodeError& decodeError) {
    return LookupError(LookupErrorCode::protocolError, decodeError.what());
  } catch (const nlohmann::json::exception& jsonError) {
    // JSON from outside goes through json::parse, which raises DecodeError; this is a
    // fault of our own. The library's messages may quote the text, which may be
    // private: the error's number says enough.
    return LookupError(LookupErrorCode::protocolError,
                       "JSON error " + std::to_string(jsonError.id));
  } catch (const std::exception& other) {
    return LookupError(LookupErrorCode::unknown, other.what());
  } catch (...) {
    return LookupError(LookupErrorCode::unknown, "an exception of an unknown type");
  }
}

LookupError LookupError::fromScreenCapture(const ScreenCaptureError& error) {
  LookupErrorCode code = LookupErrorCode::captureFailed;
  switch (error.kind()) {
    case ScreenCaptureError::Kind::permissionDenied:
      code = LookupErrorCode::screenCaptureDenied;
      break;
    case ScreenCaptureError::Kind::emptyImage:
      code = LookupErrorCode::captureEmpty;
      break;
    case ScreenCaptureError::Kind::captureFailed:
    case ScreenCaptureError::Kind::displayUnavailable:
    case ScreenCaptureError::Kind::encodingFailed:
      break;
  }
  return LookupError(code, error.what());
}

LookupError LookupError::fromTransport(const LookupTransportError& error) {
  return std::visit(Overloaded{
                        [](const LookupTransportError::Http& http) {
                          std::string detail =
                              "HTTP " + std::to_string(http.status) + ": " + http.message;
                          if (http.status == 401 || http.status == 403) {
                            return LookupError(LookupErrorCode::unauthenticated, std::move(detail));
                          }
                          if (http.status == 429) {
                            return LookupError(LookupErrorCode::rateLimited, std::move(detail));
                          }
                          return LookupError(LookupErrorCode::serverError, std::move(detail));
                        },
                        [](const LookupTransportError::QuotaExhausted& quota) {
                          return fromStreamFailure(quota.failure);
                        },
                        [](const LookupTransportError::Auth& auth) { return fromAuth(auth.error); },
                        [](const LookupTransportError::Timeout& timeout) {
                          return LookupError(LookupErrorCode::timeout,
                                             "timeout_" + std::string(toString(timeout.phase)));
                        },
                        [](const LookupTransportError::Unauthenticated&) {
                          return LookupError(LookupErrorCode::unauthenticated);
                        },
                        [&error](const LookupTransportError::InvalidResponse&) {
                          return LookupError(LookupErrorCode::protocolError, error.what());
                        },
                    },
                    error.value());
}

LookupError LookupError::fromURLError(const URLError& error) {
  LookupErrorCode code = LookupErrorCode::unknown;
  if (error.code() == URLErrorCode::timedOut) {
    code = LookupErrorCode::timeout;
  } else if (std::find(kNetworkUnavailableCodes.begin(), kNetworkUnavailableCodes.end(),
                       error.code()) != kNetworkUnavailableCodes.end()) {
    code = LookupErrorCode::networkUnavailable;
  }
  return LookupError(code, error.localizedDescription());
}

LookupError LookupError::fromStreamFailure(const LookupStreamFailure& failure) {
  const std::string_view code = failure.code ? std::string_view(*failure.code) : "";
  if (code == "translation_quota_exhausted") {
    // An inconsistent snapshot would show the user wrong numbers; the error itself stands.
    std::optional<LookupQuotaSnapshot> quota;
    if (failure.quota && failure.quota->isTrustworthy()) quota = failure.quota;
    return LookupError(LookupErrorCode::translationQuotaExhausted, failure.message,
                       std::move(quota));
  }
  if (code == "ocr_failed") return LookupError(LookupErrorCode::ocrFailed, failure.message);
  if (code == "llm_failed") return LookupError(LookupErrorCode::llmFailed, failure.message);
  return LookupError(LookupErrorCode::streamError, failure.message);
}

LookupError LookupError::fromAPIErrorCode(std::string_view code) {
  if (code == "ocr_failed") return LookupError(LookupErrorCode::ocrFailed);
  if (code == "llm_failed") return LookupError(LookupErrorCode::llmFailed);
  if (code == "translation_quota_exhausted") {
    return LookupError(LookupErrorCode::translationQuotaExhausted);
  }
  return LookupError(LookupErrorCode::unknown, std::string(code));
}

std::vector<std::pair<std::string, std::string>> LookupOutcome::analyticsParameters() const {
  std::vector<std::pair<std::string, std::string>> parameters;
  parameters.emplace_back("status", std::string(toString(status)));
  if (error) parameters.emplace_back("error_code", std::string(toString(error->code())));
  const auto addNumber = [&parameters](const char* name, const std::optional<int64_t>& value) {
    if (value) parameters.emplace_back(name, std::to_string(*value));
  };
  addNumber("request_to_first_sse_ms", requestToFirstSSEMilliseconds);
  addNumber("first_token_ms", firstTokenMilliseconds);
  addNumber("complete_ms", completeMilliseconds);
  if (targetLanguage) parameters.emplace_back("target_language", *targetLanguage);
  if (detectedLanguage) parameters.emplace_back("detected_language", *detectedLanguage);
  return parameters;
}

}  // namespace trelvis
