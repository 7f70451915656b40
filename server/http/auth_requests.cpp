#include "server/http/auth_requests.h"

#include "base/text.h"
#include "server/auth/email_address.h"
#include "server/http/json_request.h"

#include <algorithm>

namespace trelvis::server {
namespace {

constexpr std::size_t kMinimumPasswordLength = 8;
constexpr std::size_t kMaximumPasswordLength = 128;
constexpr std::size_t kMaximumTokenBytes = 512;
constexpr std::size_t kMaximumLocaleBytes = 35;

// Characters as the user counts them (code points of valid UTF-8).
std::size_t characterCount(std::string_view utf8) {
  return static_cast<std::size_t>(std::count_if(utf8.begin(), utf8.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xc0) != 0x80;
  }));
}

std::string email(const json::ObjectReader& reader) {
  std::optional<std::string> address =
      normalizedEmailAddress(reader.required<std::string>("email"));
  if (!address) throw InvalidField{"email: not a valid address"};
  return std::move(*address);
}

// A password being chosen: 8 to 128 characters, taken as typed (never trimmed).
std::string newPassword(const json::ObjectReader& reader, std::string_view key) {
  std::string password = reader.required<std::string>(key);
  const std::size_t length = characterCount(password);
  if (length < kMinimumPasswordLength || length > kMaximumPasswordLength) {
    throw InvalidField{std::string(key) + ": must be 8 to 128 characters"};
  }
  return password;
}

// A password being presented: any non-empty one, within the length a hash is
// ever computed for.
std::string presentedPassword(const json::ObjectReader& reader) {
  std::string password = reader.required<std::string>("password");
  const std::size_t length = characterCount(password);
  if (length == 0 || length > kMaximumPasswordLength) {
    throw InvalidField{"password: must be 1 to 128 characters"};
  }
  return password;
}

std::string code(const json::ObjectReader& reader) {
  std::string code = trimmed(reader.required<std::string>("code"));
  if (code.size() != 6 ||
      !std::all_of(code.begin(), code.end(), [](char c) { return c >= '0' && c <= '9'; })) {
    throw InvalidField{"code: must be 6 digits"};
  }
  return code;
}

std::string refreshToken(const json::ObjectReader& reader) {
  std::string token = reader.required<std::string>("refreshToken");
  if (token.empty() || token.size() > kMaximumTokenBytes) {
    throw InvalidField{"refreshToken: must be 1 to 512 bytes"};
  }
  return token;
}

}  // namespace

Parsed<RegisterRequest> parseRegisterRequest(std::string_view body) {
  return parseJsonObject<RegisterRequest>(body, [](const json::ObjectReader& reader) {
    return RegisterRequest{email(reader), newPassword(reader, "password"), code(reader)};
  });
}

Parsed<LoginRequest> parseLoginRequest(std::string_view body) {
  return parseJsonObject<LoginRequest>(body, [](const json::ObjectReader& reader) {
    return LoginRequest{email(reader), presentedPassword(reader)};
  });
}

Parsed<RefreshTokenRequest> parseRefreshTokenRequest(std::string_view body) {
  return parseJsonObject<RefreshTokenRequest>(body, [](const json::ObjectReader& reader) {
    return RefreshTokenRequest{refreshToken(reader)};
  });
}

Parsed<EmailCodeRequest> parseEmailCodeRequest(std::string_view body) {
  return parseJsonObject<EmailCodeRequest>(body, [](const json::ObjectReader& reader) {
    const std::optional<EmailCodePurpose> purpose =
        emailCodePurposeFromString(reader.required<std::string>("purpose"));
    if (!purpose) throw InvalidField{"purpose: must be \"register\" or \"password_reset\""};
    std::string locale = reader.value<std::string>("locale");
    if (locale.size() > kMaximumLocaleBytes) throw InvalidField{"locale: too long"};
    return EmailCodeRequest{email(reader), *purpose, std::move(locale)};
  });
}

Parsed<PasswordResetRequest> parsePasswordResetRequest(std::string_view body) {
  return parseJsonObject<PasswordResetRequest>(body, [](const json::ObjectReader& reader) {
    return PasswordResetRequest{email(reader), code(reader), newPassword(reader, "newPassword")};
  });
}

}  // namespace trelvis::server
