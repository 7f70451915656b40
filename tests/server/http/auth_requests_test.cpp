#include "server/http/auth_requests.h"

#include <gtest/gtest.h>

namespace trelvis::server {
namespace {

struct Case {
  std::string body;
  // Empty when the body is accepted.
  std::string detail;
  int status = 400;
};

// Runs `parse` on each case; an accepted body must give `check` what it expects.
template <class Parse, class Check>
void expectCases(const std::vector<Case>& cases, Parse parse, Check check) {
  for (const Case& c : cases) {
    SCOPED_TRACE(c.body.substr(0, 120));
    const auto parsed = parse(c.body);
    if (c.detail.empty()) {
      ASSERT_TRUE(parsed.has_value()) << parsed.error().detail;
      check(*parsed);
    } else {
      ASSERT_FALSE(parsed.has_value());
      EXPECT_EQ(parsed.error(), (RequestError{c.status, c.detail}));
    }
  }
}

TEST(AuthRequestsTest, RejectsBodiesThatAreNotObjectsOfTheRightStrings) {
  const std::string oversized = R"({"refreshToken":")" + std::string(70000, 'a') + R"("})";
  expectCases(
      {
          {"", "the body is not valid JSON"},
          {"{\"refreshToken\":", "the body is not valid JSON"},
          {"{\"refreshToken\":\"\xff\"}", "the body is not valid JSON"},
          {"[\"refreshToken\"]", "the body must be a JSON object"},
          {"\"token\"", "the body must be a JSON object"},
          {"{}", "refreshToken: missing required value"},
          {"{\"refreshToken\":null}", "refreshToken: missing required value"},
          {"{\"refreshToken\":7}", "refreshToken: expected a string"},
          {"{\"refreshToken\":{\"a\":1}}", "refreshToken: expected a string"},
          {"{\"refreshToken\":\"\"}", "refreshToken: must be 1 to 512 bytes"},
          {R"({"refreshToken":")" + std::string(513, 'a') + "\"}",
           "refreshToken: must be 1 to 512 bytes"},
          {oversized, "the body is larger than 65536 bytes", 413},
          {R"({"refreshToken":"abc","extra":[1,2]})", ""},
      },
      parseRefreshTokenRequest,
      [](const RefreshTokenRequest& r) { EXPECT_EQ(r.refreshToken, "abc"); });
}

TEST(AuthRequestsTest, NormalisesAddressesAndRefusesImplausibleOnes) {
  struct Address {
    std::string sent;
    std::string stored;  // empty: refused
  };
  const Address addresses[] = {
      {"  Ann.Lee@Example.COM \\n", "Ann.Lee@example.com"},  // a JSON-escaped line feed
      {"ann@mail.example.org", "ann@mail.example.org"},
      {"\u00e9mile@example.fr", "\u00e9mile@example.fr"},
      {"ann lee@example.com", ""},
      {"ann\u3000lee@example.com", ""},
      {"ann@@example.com", ""},
      {"@example.com", ""},
      {"ann@example", ""},
      {"ann@example..com", ""},
      {"ann@.example.com", ""},
      {"ann@example.com.", ""},
      {"", ""},
      {std::string(250, 'a') + "@example.com", ""},
  };
  for (const Address& address : addresses) {
    const std::string body = R"({"email":")" + address.sent + R"(","password":"secret-1"})";
    const auto parsed = parseLoginRequest(body);
    if (address.stored.empty()) {
      ASSERT_FALSE(parsed) << address.sent;
      EXPECT_EQ(parsed.error().detail, "email: not a valid address");
    } else {
      ASSERT_TRUE(parsed) << address.sent << ": " << parsed.error().detail;
      EXPECT_EQ(parsed->email, address.stored);
    }
  }
}

TEST(AuthRequestsTest, ChecksPasswordsCodesAndPurposes) {
  const auto registerBody = [](const std::string& password, const std::string& code) {
    return R"({"email":"ann@example.com","password":")" + password + R"(","code":")" + code + "\"}";
  };
  std::string longest;
  for (int i = 0; i < 128; ++i) longest += "\u00e9";  // 128 characters, 256 bytes
  expectCases(
      {
          {registerBody("1234567", "123456"), "password: must be 8 to 128 characters"},
          {registerBody(std::string(129, 'x'), "123456"), "password: must be 8 to 128 characters"},
          {registerBody(longest + "x", "123456"), "password: must be 8 to 128 characters"},
          {registerBody("12345", "123456"), "password: must be 8 to 128 characters"},
          {registerBody("        ", "123456"), ""},  // eight blanks, kept as typed
          {registerBody(longest, " 123456 "), ""},
          {registerBody("password", "12345"), "code: must be 6 digits"},
          {registerBody("password", "12345a"), "code: must be 6 digits"},
          {registerBody("password", "\uff11\uff12\uff13\uff14\uff15\uff16"),
           "code: must be 6 digits"},
      },
      parseRegisterRequest, [](const RegisterRequest& r) {
        EXPECT_EQ(r.code, "123456");
        EXPECT_TRUE(r.password == "        " || r.password.size() == 256);
      });

  expectCases(
      {
          {R"({"email":"ann@example.com","purpose":"register","locale":"zh"})", ""},
          {R"({"email":"ann@example.com","purpose":"password_reset"})", ""},
          {R"({"email":"ann@example.com","purpose":"reset"})",
           "purpose: must be \"register\" or \"password_reset\""},
          {R"({"email":"ann@example.com","purpose":"register","locale":5})",
           "locale: expected a string"},
      },
      parseEmailCodeRequest,
      [](const EmailCodeRequest& r) { EXPECT_EQ(r.email, "ann@example.com"); });

  expectCases(
      {
          {R"({"email":"ann@example.com","code":"000001","newPassword":"new password"})", ""},
          {R"({"email":"ann@example.com","code":"000001","password":"new password"})",
           "newPassword: missing required value"},
      },
      parsePasswordResetRequest,
      [](const PasswordResetRequest& r) { EXPECT_EQ(r.newPassword, "new password"); });

  expectCases(
      {{R"({"email":"ann@example.com","password":""})", "password: must be 1 to 128 characters"},
       {R"({"email":"ann@example.com","password":"short"})", ""}},
      parseLoginRequest, [](const LoginRequest& r) { EXPECT_EQ(r.password, "short"); });
}

}  // namespace
}  // namespace trelvis::server
