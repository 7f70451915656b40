#include "core/lookup/lookup_error.h"

#include <gtest/gtest.h>

#include <exception>
#include <functional>
#include <optional>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/json_decode.h"
#include "core/capture/screen_capture_error.h"
#include "core/net/url_error.h"

namespace trelvis {

// Readable failures: the description plus the quota, which the description leaves out.
void PrintTo(const LookupError& error, std::ostream* out) {
  *out << error.description();
  if (const auto& quota = error.quota()) {
    *out << " quota " << quota->used << "/" << quota->limit << " remaining " << quota->remaining;
  }
}

namespace {

using Code = LookupErrorCode;
using E = LookupError;

LookupQuotaSnapshot quota(int64_t used, int64_t limit, int64_t remaining) {
  return {used, limit, remaining, *parseIso8601("2026-01-02T00:00:00Z")};
}

// A bare error and a nested one; the rest share their shapes.
TEST(LookupErrorTest, Descriptions) {
  EXPECT_STREQ(LookupError(Code::ocrFailed).what(), "LookupError(ocr_failed)");
  EXPECT_STREQ(LookupTransportError::auth(AuthSessionError::network("offline")).what(),
               "LookupTransportError.auth(AuthSessionError.network(offline))");
}

// The codes are reported: each stays distinct and in snake case.
TEST(LookupErrorTest, AuthSessionErrorCodesAreDistinctSnakeCase) {
  using Kind = AuthSessionError::Kind;
  std::vector<AuthSessionError> all = {
      AuthSessionError::verificationCooldown(5), AuthSessionError::invalidRequest("x"),
      AuthSessionError::network("x"), AuthSessionError::server("x"),
      AuthSessionError::keychain("x")};
  for (int k = static_cast<int>(Kind::unauthenticated);
       k <= static_cast<int>(Kind::invalidResponse); ++k) {
    all.emplace_back(static_cast<Kind>(k));
  }
  std::set<std::string_view> codes;
  for (const AuthSessionError& error : all) {
    EXPECT_TRUE(codes.insert(error.code()).second) << error.code();
    EXPECT_EQ(error.code().find_first_not_of("abcdefghijklmnopqrstuvwxyz_"), std::string::npos)
        << error.code();
  }
  EXPECT_EQ(codes.size(), 12u);
  EXPECT_EQ(AuthSessionError::verificationCooldown(5).code(), "verification_cooldown");
}

TEST(LookupErrorTest, FromTransport) {
  using TE = LookupTransportError;
  using Auth = AuthSessionError;
  const std::pair<LookupTransportError, LookupError> cases[] = {
      {TE::http(401, "expired"), E(Code::unauthenticated, "HTTP 401: expired")},
      {TE::http(429, "slow down"), E(Code::rateLimited, "HTTP 429: slow down")},
      {TE::http(500, "boom"), E(Code::serverError, "HTTP 500: boom")},
      {TE::quotaExhausted({"used up", "translation_quota_exhausted", false, quota(5, 5, 0)}),
       E(Code::translationQuotaExhausted, "used up", quota(5, 5, 0))},
      {TE::auth(Auth::network("offline")),
       E(Code::networkUnavailable, "AuthSessionError.network(offline)")},
      {TE::auth(Auth::server("HTTP 503")),
       E(Code::serverError, "AuthSessionError.server(HTTP 503)")},
      {TE::auth(Auth(Auth::Kind::unauthenticated)), E(Code::unauthenticated, "unauthenticated")},
      {TE::auth(Auth(Auth::Kind::invalidResponse)), E(Code::protocolError, "invalid_response")},
      {TE::auth(Auth::keychain("locked")), E(Code::unknown, "AuthSessionError.keychain(locked)")},
      {TE::timeout(LookupTimeoutPhase::streamIdle), E(Code::timeout, "timeout_stream_idle")},
      {TE::unauthenticated(), E(Code::unauthenticated)},
      {TE::invalidResponse(), E(Code::protocolError, "LookupTransportError.invalidResponse")},
  };
  for (const auto& [error, expected] : cases) {
    EXPECT_EQ(LookupError::fromTransport(error), expected) << error.what();
  }
}

// Every failure to reach the server reads as offline, but a timeout and the two
// that are no fault of the network.
TEST(LookupErrorTest, FromURLError) {
  for (int k = 0; k <= static_cast<int>(URLErrorCode::unknown); ++k) {
    const auto code = static_cast<URLErrorCode>(k);
    const Code expected = code == URLErrorCode::timedOut ? Code::timeout
                          : code == URLErrorCode::badURL || code == URLErrorCode::unknown
                              ? Code::unknown
                              : Code::networkUnavailable;
    EXPECT_EQ(LookupError::fromURLError(URLError(code, "could not connect")),
              LookupError(expected, "could not connect"))
        << toString(code);
  }
}

TEST(LookupErrorTest, FromStreamFailureKeepsOnlyTrustworthyQuotas) {
  const std::string exhausted = "translation_quota_exhausted";
  const std::pair<LookupStreamFailure, LookupError> cases[] = {
      {{"out", exhausted, false, quota(5, 5, 0)},
       E(Code::translationQuotaExhausted, "out", quota(5, 5, 0))},
      {{"out", exhausted, false, quota(5, 5, 1)}, E(Code::translationQuotaExhausted, "out")},
      {{"model down", "llm_failed", true, quota(5, 5, 0)}, E(Code::llmFailed, "model down")},
      {{"odd", "something_new", std::nullopt, quota(5, 5, 0)}, E(Code::streamError, "odd")},
      {{"odd", std::nullopt, std::nullopt, std::nullopt}, E(Code::streamError, "odd")},
  };
  for (const auto& [failure, expected] : cases) {
    EXPECT_EQ(LookupError::fromStreamFailure(failure), expected) << failure.message;
  }
}

TEST(LookupErrorTest, FromAPIErrorCodeHasNoDetailForKnownCodes) {
  EXPECT_EQ(LookupError::fromAPIErrorCode("ocr_failed"), LookupError(Code::ocrFailed));
  EXPECT_EQ(LookupError::fromAPIErrorCode("stream_error"),
            LookupError(Code::unknown, "stream_error"));
}

template <class Error>
std::exception_ptr thrown(Error error) {
  return std::make_exception_ptr(std::move(error));
}
std::exception_ptr raisedBy(const std::function<void()>& run) {
  try {
    run();
  } catch (...) {
    return std::current_exception();
  }
  return nullptr;
}

TEST(LookupErrorTest, FromClassifiesEachKindOfFailure) {
  using SE = ScreenCaptureError;
  struct Case {
    const char* name;
    std::exception_ptr error;
    LookupError expected;
  };
  const Case cases[] = {
      {"lookup error as it stands", thrown(E(Code::hotkeyUnavailable, "taken", quota(1, 2, 1))),
       E(Code::hotkeyUnavailable, "taken", quota(1, 2, 1))},
      {"capture denied", thrown(SE(SE::Kind::permissionDenied)),
       E(Code::screenCaptureDenied, "ScreenCaptureError.permissionDenied")},
      {"capture empty", thrown(SE(SE::Kind::emptyImage)),
       E(Code::captureEmpty, "ScreenCaptureError.emptyImage")},
      {"capture failed", thrown(SE::captureFailed("no shm")),
       E(Code::captureFailed, "ScreenCaptureError.captureFailed(no shm)")},
      {"display gone", thrown(SE(SE::Kind::displayUnavailable)),
       E(Code::captureFailed, "ScreenCaptureError.displayUnavailable")},
      {"transport", thrown(LookupTransportError::http(403, "no")),
       E(Code::unauthenticated, "HTTP 403: no")},
      {"url", thrown(URLError(URLErrorCode::notConnectedToInternet, "offline")),
       E(Code::networkUnavailable, "offline")},
      {"decoding", raisedBy([] { json::decodeText<int>(R"("x")"); }),
       E(Code::protocolError, "expected an integer")},
      {"library parse error", raisedBy([] { (void)nlohmann::json::parse("{\"secret\": "); }),
       E(Code::protocolError, "JSON error 101")},
      {"other std exception", thrown(std::runtime_error("disk full")),
       E(Code::unknown, "disk full")},
      {"not a std exception", thrown(42), E(Code::unknown, "an exception of an unknown type")},
  };
  for (const Case& c : cases) EXPECT_EQ(LookupError::from(c.error), c.expected) << c.name;
  EXPECT_EQ(LookupError::from(nullptr).code(), Code::unknown);
}

// Absent values are left out: the coordinator's outcome lines show that.
TEST(LookupErrorTest, OutcomeAnalyticsParametersInTheirOrder) {
  using Parameters = std::vector<std::pair<std::string, std::string>>;
  const LookupOutcome full{
      .status = LookupOutcomeStatus::error,
      .error = LookupError(Code::timeout, "timeout_first_event"),
      .requestToFirstSSEMilliseconds = 120,
      .firstTokenMilliseconds = 0,
      .completeMilliseconds = 1500,
      .targetLanguage = "zh-Hans",
      .detectedLanguage = "en",
  };
  EXPECT_EQ(full.analyticsParameters(), (Parameters{
                                            {"status", "error"},
                                            {"error_code", "timeout"},
                                            {"request_to_first_sse_ms", "120"},
                                            {"first_token_ms", "0"},
                                            {"complete_ms", "1500"},
                                            {"target_language", "zh-Hans"},
                                            {"detected_language", "en"},
                                        }));
}

}  // namespace
}  // namespace trelvis
