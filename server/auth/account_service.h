#pragma once

// AccountService: registration, login, token refresh and logout, email codes and
// password reset, and the check of a bearer token. The HTTP routes call it with
// inputs already validated in shape (a normalised address, a password of allowed
// length, six digits); it decides everything else and keeps all its state in the
// Store, so that several server processes sharing one database act as one.
//
// Sessions are token families: a login opens one; each refresh spends the family's
// refresh token and issues a new pair; a spent token that comes back revokes the
// whole family, because either the client or a thief holds a copy. Logout revokes
// the family, a password reset every family of the account.
//
// Thread-safe: it holds no state of its own beyond its collaborators.

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <tl/expected.hpp>

#include "server/store/store.h"
#include "server/wall_clock.h"

namespace trelvis::server {

class PasswordHasher;
class VerificationCodeSender;

struct AuthFailure {
  enum class Kind {
    invalidRequest,           // 400
    invalidCredentials,       // 401: wrong password, or a token that is no good
    verificationCodeInvalid,  // 403: wrong, expired, used up or locked code
    emailNotRegistered,       // 404
    emailAlreadyRegistered,   // 409
    rateLimited,              // 429, with retryAfter
    deliveryFailed,           // 503: the code could not be sent
  };
  Kind kind;
  std::string detail;
  std::chrono::seconds retryAfter{0};
};

template <class T>
using AuthResult = tl::expected<T, AuthFailure>;

struct TokenPair {
  std::string accessToken;
  std::string refreshToken;
  std::chrono::seconds expiresIn;
  std::string userId;
  std::string email;
};

class AccountService {
 public:
  struct Settings {
    std::chrono::seconds accessTokenLifetime = std::chrono::minutes(15);
    std::chrono::seconds refreshTokenLifetime = std::chrono::days(30);
    std::chrono::seconds codeLifetime = std::chrono::minutes(10);
    int codeAttempts = 5;
    // Between two codes to one address for one purpose.
    std::chrono::seconds codeCooldown = std::chrono::seconds(60);
    // Codes per address, and code requests per client address, per hour.
    int64_t codesPerAddressPerHour = 5;
    int64_t codesPerClientPerHour = 20;
    // Wrong passwords per client address and account before logins wait.
    int64_t failedLoginsPerWindow = 10;
    std::chrono::seconds failedLoginWindow = std::chrono::minutes(15);
  };

  AccountService(Store& store, PasswordHasher& hasher, VerificationCodeSender& sender,
                 WallClock clock, Settings settings);

  // Sends a code; the result is the cooldown before the next one, in seconds.
  AuthResult<int64_t> sendEmailCode(std::string_view email, EmailCodePurpose purpose,
                                    std::string_view clientAddress);
  AuthResult<TokenPair> registerAccount(std::string_view email, std::string_view password,
                                        std::string_view code);
  AuthResult<TokenPair> login(std::string_view email, std::string_view password,
                              std::string_view clientAddress);
  AuthResult<TokenPair> refresh(std::string_view refreshToken);
  AuthResult<void> logout(std::string_view refreshToken);
  AuthResult<void> resetPassword(std::string_view email, std::string_view code,
                                 std::string_view newPassword);

  // The account a bearer access token belongs to, when the token is live.
  std::optional<UserRecord> authenticate(std::string_view accessToken);

  const Settings& settings() const { return settings_; }

 private:
  // Counts an attempt against the live code and checks it; a wrong code costs an
  // attempt, and a right one is consumed.
  bool acceptCode(std::string_view email, EmailCodePurpose purpose, std::string_view code);
  TokenPair openSession(const UserRecord& user);
  IssuedTokens newTokens(Timestamp now, std::string& accessToken, std::string& refreshToken) const;

  Store& store_;
  PasswordHasher& hasher_;
  VerificationCodeSender& sender_;
  WallClock clock_;
  Settings settings_;
};

}  // namespace trelvis::server
