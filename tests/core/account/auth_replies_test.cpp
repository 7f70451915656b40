#include "core/account/auth_replies.h"

#include <string>

#include <gtest/gtest.h>

#include "core/net/url_error.h"

namespace trelvis {
namespace {

enum class Endpoint { tokenPair, emailCode, passwordReset };

// A result rendered as text, so that one table holds every kind of answer.
template <class T>
std::string render(const AuthResult<T>& result) {
  if (!result) return result.error().what();
  if constexpr (std::is_same_v<T, AuthTokenPair>) {
    std::string text = "pair " + result->accessToken + " " + result->refreshToken + " " +
                       std::to_string(result->expiresIn);
    return result->user ? text + " " + result->user->id + " <" + result->user->email + ">"
                        : text + " without user";
  } else if constexpr (std::is_same_v<T, int64_t>) {
    return "cooldown " + std::to_string(*result);
  } else {
    return "ok";
  }
}

std::string answer(Endpoint endpoint, const AuthSendOutcome& outcome) {
  switch (endpoint) {
    case Endpoint::tokenPair:
      return render(tokenPairResult(outcome));
    case Endpoint::emailCode:
      return render(emailCodeResult(outcome));
    case Endpoint::passwordReset:
      return render(passwordResetResult(outcome));
  }
  return {};
}

TEST(AuthRepliesTest, EveryReplyMapsToItsResult) {
  const std::string pair = R"("accessToken":"a1","refreshToken":"r1","expiresIn":900)";
  struct Case {
    Endpoint endpoint;
    int status;  // 0: the send failed with `body` as a URLError's description
    std::string body;
    std::string expected;
  };
  using E = Endpoint;
  const Case cases[] = {
      // Token pairs: the user is taken only when both members are non-empty strings.
      {E::tokenPair, 200, "{" + pair + R"(,"user":{"id":"u1","email":"a@b.co"}})",
       "pair a1 r1 900 u1 <a@b.co>"},
      {E::tokenPair, 201, "{" + pair + "}", "pair a1 r1 900 without user"},
      {E::tokenPair, 200, "{" + pair + R"(,"user":"u1"})", "pair a1 r1 900 without user"},
      {E::tokenPair, 200, "{" + pair + R"(,"user":{"email":"a@b.co"}})",
       "pair a1 r1 900 without user"},
      {E::tokenPair, 200, "{" + pair + R"(,"user":{"id":"u1","email":""}})",
       "pair a1 r1 900 without user"},
      {E::tokenPair, 200, "{" + pair + R"(,"user":{"id":7,"email":"a@b.co"}})",
       "pair a1 r1 900 without user"},
      {E::tokenPair, 200, R"({"accessToken":"a1","refreshToken":"r1","expiresIn":"900"})",
       "AuthSessionError.invalidResponse"},
      {E::tokenPair, 200, R"({"accessToken":"","refreshToken":"r1","expiresIn":900})",
       "AuthSessionError.invalidResponse"},
      {E::tokenPair, 200, R"({"accessToken":"a1","refreshToken":"","expiresIn":900})",
       "AuthSessionError.invalidResponse"},
      {E::tokenPair, 200, R"({"accessToken":"a1","refreshToken":"r1"})",
       "AuthSessionError.invalidResponse"},
      {E::tokenPair, 200, "", "AuthSessionError.invalidResponse"},
      // The status table.
      {E::tokenPair, 400, R"({"detail":"email is malformed"})",
       "AuthSessionError.invalidRequest(email is malformed)"},
      {E::tokenPair, 400, R"({"detail":7})", "AuthSessionError.invalidRequest()"},
      {E::tokenPair, 400, "bad", "AuthSessionError.invalidRequest(bad)"},
      {E::tokenPair, 400, R"(["not","an","object"])",
       R"(AuthSessionError.invalidRequest(["not","an","object"]))"},
      {E::tokenPair, 400, "bad \xFF\xFE", "AuthSessionError.invalidRequest()"},
      {E::tokenPair, 401, R"({"detail":"wrong password"})", "AuthSessionError.invalidCredentials"},
      {E::tokenPair, 403, "", "AuthSessionError.verificationCodeInvalid"},
      {E::tokenPair, 404, "", "AuthSessionError.emailNotRegistered"},
      {E::tokenPair, 409, "", "AuthSessionError.emailAlreadyRegistered"},
      {E::tokenPair, 429, "", "AuthSessionError.verificationCooldown(60)"},
      {E::tokenPair, 429, R"({"retryAfterSeconds":42})",
       "AuthSessionError.verificationCooldown(42)"},
      {E::tokenPair, 429, R"({"retryAfterSeconds":0})", "AuthSessionError.verificationCooldown(1)"},
      {E::tokenPair, 429, R"({"retryAfterSeconds":"30"})",
       "AuthSessionError.verificationCooldown(60)"},
      {E::tokenPair, 302, R"({"detail":"moved"})", "AuthSessionError.server(moved)"},
      {E::tokenPair, 0, "The request timed out.",
       "AuthSessionError.network(The request timed out.)"},
      // The email-code request: 502 and 503 are a failed delivery there only.
      {E::emailCode, 200, R"({"cooldownSeconds":45})", "cooldown 45"},
      {E::emailCode, 202, R"({"cooldownSeconds":-3})", "cooldown -3"},
      {E::emailCode, 200, R"({"sent":true})", "AuthSessionError.invalidResponse"},
      {E::emailCode, 503, R"({"detail":"smtp down"})",
       "AuthSessionError.verificationDeliveryFailed"},
      {E::emailCode, 502, "", "AuthSessionError.verificationDeliveryFailed"},
      {E::emailCode, 500, "", "AuthSessionError.server()"},
      {E::emailCode, 0, "offline", "AuthSessionError.network(offline)"},
      // A password reset: any 2xx, whatever its body.
      {E::passwordReset, 204, "", "ok"},
      {E::passwordReset, 200, "not json", "ok"},
      {E::passwordReset, 403, "", "AuthSessionError.verificationCodeInvalid"},
      {E::passwordReset, 0, "refused", "AuthSessionError.network(refused)"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.status) + " " + c.body);
    AuthSendOutcome outcome =
        c.status == 0 ? AuthSendOutcome(tl::unexpected(
                            std::make_exception_ptr(URLError(URLErrorCode::timedOut, c.body))))
                      : AuthSendOutcome(AuthHTTPResponse{c.status, c.body});
    EXPECT_EQ(answer(c.endpoint, outcome), c.expected);
  }
}

TEST(AuthRepliesTest, ASessionErrorFromTheSendPassesThroughAsItIs) {
  const AuthSendOutcome notHTTP = tl::unexpected(
      std::make_exception_ptr(AuthSessionError(AuthSessionError::Kind::invalidResponse)));
  EXPECT_EQ(answer(Endpoint::tokenPair, notHTTP), "AuthSessionError.invalidResponse");
  EXPECT_EQ(answer(Endpoint::emailCode, notHTTP), "AuthSessionError.invalidResponse");
  EXPECT_EQ(authSessionErrorFrom(std::make_exception_ptr(std::runtime_error("locked")),
                                 &AuthSessionError::keychain),
            AuthSessionError::keychain("locked"));
}

}  // namespace
}  // namespace trelvis
