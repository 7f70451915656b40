#pragma once

// The error vocabulary of the lookup pipeline and the one place where every
// failure is classified into it. LookupTransportError is what the API client
// raises; LookupError is what the card and the analytics see.

#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "core/account/auth_session_error.h"
#include "core/lookup/lookup_model.h"

namespace trelvis {

class ScreenCaptureError;
class URLError;

// A closed sum raised by the lookup API client.
class LookupTransportError : public std::exception {
 public:
  struct Http {
    int status = 0;
    std::string message;
    friend bool operator==(const Http&, const Http&) = default;
  };
  struct QuotaExhausted {
    LookupStreamFailure failure;
    friend bool operator==(const QuotaExhausted&, const QuotaExhausted&) = default;
  };
  struct Auth {
    AuthSessionError error;
    friend bool operator==(const Auth&, const Auth&) = default;
  };
  struct Timeout {
    LookupTimeoutPhase phase;
    friend bool operator==(const Timeout&, const Timeout&) = default;
  };
  struct Unauthenticated {
    friend bool operator==(const Unauthenticated&, const Unauthenticated&) = default;
  };
  struct InvalidResponse {
    friend bool operator==(const InvalidResponse&, const InvalidResponse&) = default;
  };
  using Case = std::variant<Http, QuotaExhausted, Auth, Timeout, Unauthenticated, InvalidResponse>;

  explicit LookupTransportError(Case value);
  static LookupTransportError http(int status, std::string message) {
    return LookupTransportError(Http{status, std::move(message)});
  }
  static LookupTransportError quotaExhausted(LookupStreamFailure failure) {
    return LookupTransportError(QuotaExhausted{std::move(failure)});
  }
  static LookupTransportError auth(AuthSessionError error) {
    return LookupTransportError(Auth{std::move(error)});
  }
  static LookupTransportError timeout(LookupTimeoutPhase phase) {
    return LookupTransportError(Timeout{phase});
  }
  static LookupTransportError unauthenticated() { return LookupTransportError(Unauthenticated{}); }
  static LookupTransportError invalidResponse() { return LookupTransportError(InvalidResponse{}); }

  const Case& value() const { return value_; }

  // A readable rendering for logs, e.g. "LookupTransportError.timeout(first_event)".
  const char* what() const noexcept override { return description_.c_str(); }

  friend bool operator==(const LookupTransportError& a, const LookupTransportError& b) {
    return a.value_ == b.value_;
  }

 private:
  Case value_;
  std::string description_;
};

class LookupError : public std::exception {
 public:
  explicit LookupError(LookupErrorCode code, std::optional<std::string> detail = std::nullopt,
                       std::optional<LookupQuotaSnapshot> quota = std::nullopt);

  LookupErrorCode code() const { return code_; }
  const std::optional<std::string>& detail() const { return detail_; }
  const std::optional<LookupQuotaSnapshot>& quota() const { return quota_; }

  // "LookupError(<raw code>, <detail>)", or "LookupError(<raw code>)" without detail.
  const std::string& description() const { return description_; }
  const char* what() const noexcept override { return description_.c_str(); }

  // Classifies any failure of the pipeline; the first matching rule wins.
  static LookupError from(const std::exception_ptr& error);
  static LookupError fromScreenCapture(const ScreenCaptureError& error);
  static LookupError fromTransport(const LookupTransportError& error);
  static LookupError fromURLError(const URLError& error);
  static LookupError fromStreamFailure(const LookupStreamFailure& failure);
  // For the `error` field of a final result.
  static LookupError fromAPIErrorCode(std::string_view code);

  friend bool operator==(const LookupError& a, const LookupError& b) {
    return a.code_ == b.code_ && a.detail_ == b.detail_ && a.quota_ == b.quota_;
  }

 private:
  LookupErrorCode code_;
  std::optional<std::string> detail_;
  std::optional<LookupQuotaSnapshot> quota_;
  std::string description_;
};

// All that the card shows for the lookup and region features.
struct LookupViewState {
  LookupStatus status = LookupStatus::idle;
  PronunciationStatus pronunciationStatus = PronunciationStatus::ready;
  std::optional<std::string> pronunciationContextKey;  // "lookup-<generation>"
  std::string word;
  std::optional<TranslationEntry> entry;
  std::optional<LookupError> error;
  std::optional<OcrResult> result;

  static LookupViewState idle() { return {}; }
  static LookupViewState loading() {
    LookupViewState state;
    state.status = LookupStatus::loading;
    return state;
  }

  friend bool operator==(const LookupViewState&, const LookupViewState&) = default;
};

// The record of one finished lookup: the input of the "translate_result" event.
struct LookupOutcome {
  LookupOutcomeStatus status = LookupOutcomeStatus::success;
  std::optional<LookupError> error;
  std::optional<int64_t> requestToFirstSSEMilliseconds;
  std::optional<int64_t> firstTokenMilliseconds;
  std::optional<int64_t> completeMilliseconds;
  std::optional<std::string> targetLanguage;
  std::optional<std::string> detectedLanguage;

  // The analytics parameters ("status", "error_code", "request_to_first_sse_ms",
  // "first_token_ms", "complete_ms", "target_language", "detected_language"),
  // leaving out those that are absent. Numbers are given in decimal.
  std::vector<std::pair<std::string, std::string>> analyticsParameters() const;

  friend bool operator==(const LookupOutcome&, const LookupOutcome&) = default;
};

}  // namespace trelvis
