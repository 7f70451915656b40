#include "core/lookup/lookup_error.h"

#include <gtest/gtest.h>

#include <exception>
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
  using Kind = AuthSessionError::Kind;
  struct Case {
    LookupTransportError error;
    LookupError expected;
  };
  const Case cases[] = {
      {LookupTransportError::http(401, "expired"),
       LookupError(Code::unauthenticated, "HTTP 401: expired")},
      {LookupTransportError::http(429, "slow down"),
       LookupError(Code::rateLimited, "HTTP 429: slow down")},
      {LookupTransportError::http(500, "boom"), LookupError(Code::serverError, "HTTP 500: boom")},
      {LookupTransportError::quotaExhausted(
           {"used up", "translation_quota_exhausted", false, quota(5, 5, 0)}),
       LookupError(Code::translationQuotaExhausted, "used up", quota(5, 5, 0))},
      {LookupTransportError::auth(AuthSessionError::network("offline")),
       LookupError(Code::networkUnavailable, "AuthSessionError.network(offline)")},
      {LookupTransportError::auth(AuthSessionError::server("HTTP 503")),
       LookupError(Code::serverError, "AuthSessionError.server(HTTP 503)")},
      {LookupTransportError::auth(AuthSessionError(Kind::unauthenticated)),
       LookupError(Code::unauthenticated, "unauthenticated")},
      {LookupTransportError::auth(AuthSessionError(Kind::invalidResponse)),
       LookupError(Code::protocolError, "invalid_response")},
      {LookupTransportError::auth(AuthSessionError::keychain("locked")),
       LookupError(Code::unknown, "AuthSessionError.keychain(locked)")},
      {LookupTransportError::timeout(LookupTimeoutPhase::streamIdle),
       LookupError(Code::timeout, "timeout_stream_idle")},
      {LookupTransportError::unauthenticated(), LookupError(Code::unauthenticated)},
      {LookupTransportError::invalidResponse(),
       LookupError(Code::protocolError, "LookupTransportError.invalidResponse")},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(LookupError::fromTransport(c.error), c.expected) << c.error.what();
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
  struct Case {
    LookupStreamFailure failure;
    LookupError expected;
  };
  const std::string quotaCode = "translation_quota_exhausted";
  const Case cases[] = {
      {{"out", quotaCode, false, quota(5, 5, 0)},
       LookupError(Code::translationQuotaExhausted, "out", quota(5, 5, 0))},
      {{"out", quotaCode, false, quota(5, 5, 1)},
       LookupError(Code::translationQuotaExhausted, "out")},
      {{"model down", "llm_failed", true, quota(5, 5, 0)},
       LookupError(Code::llmFailed, "model down")},
      {{"odd", "something_new", std::nullopt, quota(5, 5, 0)},
       LookupError(Code::streamError, "odd")},
      {{"odd", std::nullopt, std::nullopt, std::nullopt}, LookupError(Code::streamError, "odd")},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(LookupError::fromStreamFailure(c.failure), c.expected) << c.failure.message;
  }
}

TEST(LookupErrorTest, FromAPIErrorCodeHasNoDetailForKnownCodes) {
  EXPECT_EQ(LookupError::fromAPIErrorCode("ocr_failed"), LookupError(Code::ocrFailed));
  EXPECT_EQ(LookupError::fromAPIErrorCode("stream_error"),
            LookupError(Code::unknown, "stream_error"));
}

template <class E>
std::exception_ptr thrown(E error) {
  return std::make_exception_ptr(std::move(error));
}

TEST(LookupErrorTest, FromClassifiesEachKindOfFailure) {
  struct Case {
    const char* name;
    std::exception_ptr error;
    LookupError expected;
  };
  std::exception_ptr decodeFailure;
  try {
    json::decodeText<int>(R"("x")");
  } catch (...) {
    decodeFailure = std::current_exception();
  }
  std::exception_ptr libraryFailure;
  try {
    const nlohmann::json unused = nlohmann::json::parse("{\"secret\": ");
  } catch (...) {
    libraryFailure = std::current_exception();
  }
  const Case cases[] = {
      {"lookup error as it stands",
       thrown(LookupError(Code::hotkeyUnavailable, "taken", quota(1, 2, 1))),
       LookupError(Code::hotkeyUnavailable, "taken", quota(1, 2, 1))},
      {"capture denied", thrown(ScreenCaptureError(ScreenCaptureError::Kind::permissionDenied)),
       LookupError(Code::screenCaptureDenied, "ScreenCaptureError.permissionDenied")},
      {"capture empty", thrown(ScreenCaptureError(ScreenCaptureError::Kind::emptyImage)),
       LookupError(Code::captureEmpty, "ScreenCaptureError.emptyImage")},
      {"capture failed", thrown(ScreenCaptureError::captureFailed("no shm")),
       LookupError(Code::captureFailed, "ScreenCaptureError.captureFailed(no shm)")},
      {"display gone", thrown(ScreenCaptureError(ScreenCaptureError::Kind::displayUnavailable)),
       LookupError(Code::captureFailed, "ScreenCaptureError.displayUnavailable")},
      {"transport", thrown(LookupTransportError::http(403, "no")),
       LookupError(Code::unauthenticated, "HTTP 403: no")},
      {"url", thrown(URLError(URLErrorCode::notConnectedToInternet, "offline")),
       LookupError(Code::networkUnavailable, "offline")},
      {"decoding", decodeFailure, LookupError(Code::protocolError, "expected an integer")},
      {"library parse error", libraryFailure, LookupError(Code::protocolError, "JSON error 101")},
      {"other std exception", thrown(std::runtime_error("disk full")),
       LookupError(Code::unknown, "disk full")},
      {"not a std exception", thrown(42),
       LookupError(Code::unknown, "an exception of an unknown type")},
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
