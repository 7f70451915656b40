#include "server/auth/account_service.h"

#include "base/log.h"
#include "base/uuid.h"
#include "server/auth/password_hasher.h"
#include "server/auth/secrets.h"
#include "server/auth/verification_code_sender.h"

#include <algorithm>
#include <utility>

namespace trelvis::server {
namespace {

const LogCategory kLog("auth");

using Kind = AuthFailure::Kind;

tl::unexpected<AuthFailure> failure(Kind kind, std::string detail,
                                    std::chrono::seconds retryAfter = {}) {
  return tl::unexpected(AuthFailure{kind, std::move(detail), retryAfter});
}

std::string newIdentifier() {
  std::string id = Uuid::random().toString();
  std::transform(id.begin(), id.end(), id.begin(), [](char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return id;
}

std::string ruleKey(std::string_view kind, std::string_view a, std::string_view b = {}) {
  std::string key(kind);
  key += ':';
  key += a;
  if (!b.empty()) {
    key += ':';
    key += b;
  }
  return key;
}

}  // namespace

AccountService::AccountService(Store& store, PasswordHasher& hasher, VerificationCodeSender& sender,
                               WallClock clock, Settings settings)
    : store_(store),
      hasher_(hasher),
      sender_(sender),
      clock_(std::move(clock)),
      settings_(settings) {}

AuthResult<int64_t> AccountService::sendEmailCode(std::string_view email, EmailCodePurpose purpose,
                                                  std::string_view clientAddress) {
  const bool registered = store_.findUserByEmail(email).has_value();
  if (purpose == EmailCodePurpose::registration && registered) {
    return failure(Kind::emailAlreadyRegistered, "this address is already registered");
  }
  if (purpose == EmailCodePurpose::passwordReset && !registered) {
    return failure(Kind::emailNotRegistered, "no account has this address");
  }
  const Timestamp now = clock_();
  const RateLimitDecision decision = store_.consumeRateLimits(
      {
          {ruleKey("code-cooldown", toString(purpose), email), settings_.codeCooldown, 1},
          {ruleKey("codes-per-address", email), std::chrono::hours(1),
           settings_.codesPerAddressPerHour},
          {ruleKey("codes-per-client", clientAddress), std::chrono::hours(1),
           settings_.codesPerClientPerHour},
      },
      now);
  if (!decision.allowed) {
    return failure(Kind::rateLimited, "wait before asking for another code", decision.retryAfter);
  }
  const std::string code = newVerificationCode();
  store_.saveEmailCode(email, purpose, verificationCodeDigest(email, purpose, code),
                       now + settings_.codeLifetime);
  if (!sender_.send(email, code)) {
    // A code nobody received must not stay usable.
    store_.deleteEmailCode(email, purpose);
    kLog.warning("a verification code could not be delivered");
    return failure(Kind::deliveryFailed, "the verification code could not be delivered");
  }
  return settings_.codeCooldown.count();
}

AuthResult<TokenPair> AccountService::registerAccount(std::string_view email,
                                                      std::string_view password,
                                                      std::string_view code) {
  if (store_.findUserByEmail(email)) {
    return failure(Kind::emailAlreadyRegistered, "this address is already registered");
  }
  if (!acceptCode(email, EmailCodePurpose::registration, code)) {
    return failure(Kind::verificationCodeInvalid, "the verification code is wrong or has expired");
  }
  const UserRecord user{
      .id = newIdentifier(),
      .email = std::string(email),
      .passwordHash = hasher_.hash(password),
      .plan = {},
      .createdAt = clock_(),
  };
  if (!store_.insertUser(user)) {
    return failure(Kind::emailAlreadyRegistered, "this address is already registered");
  }
  kLog.notice("account {} registered", user.id);
  return openSession(user);
}

AuthResult<TokenPair> AccountService::login(std::string_view email, std::string_view password,
                                            std::string_view clientAddress) {
  const std::vector<RateLimitRule> wrongPasswords{{ruleKey("failed-logins", clientAddress, email),
                                                   settings_.failedLoginWindow,
                                                   settings_.failedLoginsPerWindow}};
  const RateLimitDecision decision = store_.peekRateLimits(wrongPasswords, clock_());
  if (!decision.allowed) {
    return failure(Kind::rateLimited, "too many wrong passwords; try again later",
                   decision.retryAfter);
  }
  const std::optional<UserRecord> user = store_.findUserByEmail(email);
  if (!user) return failure(Kind::emailNotRegistered, "no account has this address");
  if (!hasher_.verify(user->passwordHash, password)) {
    store_.consumeRateLimits(wrongPasswords, clock_());
    return failure(Kind::invalidCredentials, "the email or the password is wrong");
  }
  if (hasher_.needsRehash(user->passwordHash)) {
    store_.updatePasswordHash(user->id, hasher_.hash(password));
  }
  return openSession(*user);
}

AuthResult<TokenPair> AccountService::refresh(std::string_view refreshToken) {
  const Timestamp now = clock_();
  TokenPair pair;
  const IssuedTokens next = newTokens(now, pair.accessToken, pair.refreshToken);
  const RotationResult rotation = store_.rotateRefreshToken(tokenDigest(refreshToken), next, now);
  switch (rotation.outcome) {
    case RotationResult::Outcome::rotated:
      break;
    case RotationResult::Outcome::reused:
      kLog.warning("a spent refresh token was presented again; its session is revoked");
      return failure(Kind::invalidCredentials,
                     "the refresh token was already used; the session is revoked");
    case RotationResult::Outcome::invalid:
      return failure(Kind::invalidCredentials, "the refresh token is not valid");
  }
  const std::optional<UserRecord> user = store_.findUserById(rotation.userId);
  if (!user) return failure(Kind::invalidCredentials, "the account no longer exists");
  pair.expiresIn = settings_.accessTokenLifetime;
  pair.userId = user->id;
  pair.email = user->email;
  return pair;
}

AuthResult<void> AccountService::logout(std::string_view refreshToken) {
  if (!store_.revokeSession(tokenDigest(refreshToken), clock_())) {
    return failure(Kind::invalidCredentials, "the refresh token is not valid");
  }
  return {};
}

AuthResult<void> AccountService::resetPassword(std::string_view email, std::string_view code,
                                               std::string_view newPassword) {
  const std::optional<UserRecord> user = store_.findUserByEmail(email);
  if (!user) return failure(Kind::emailNotRegistered, "no account has this address");
  if (!acceptCode(email, EmailCodePurpose::passwordReset, code)) {
    return failure(Kind::verificationCodeInvalid, "the verification code is wrong or has expired");
  }
  if (!store_.resetPassword(user->id, hasher_.hash(newPassword), clock_())) {
    return failure(Kind::emailNotRegistered, "no account has this address");
  }
  kLog.notice("account {} reset its password; every session is revoked", user->id);
  return {};
}

std::optional<UserRecord> AccountService::authenticate(std::string_view accessToken) {
  return store_.userForAccessToken(tokenDigest(accessToken), clock_());
}

bool AccountService::acceptCode(std::string_view email, EmailCodePurpose purpose,
                                std::string_view code) {
  const std::optional<std::string> expected =
      store_.countEmailCodeAttempt(email, purpose, settings_.codeAttempts, clock_());
  if (!expected) return false;
  if (!constantTimeEquals(*expected, verificationCodeDigest(email, purpose, code))) return false;
  return store_.consumeEmailCode(email, purpose, *expected);
}

TokenPair AccountService::openSession(const UserRecord& user) {
  const Timestamp now = clock_();
  TokenPair pair;
  const IssuedTokens tokens = newTokens(now, pair.accessToken, pair.refreshToken);
  store_.createSession(newIdentifier(), user.id, tokens, now);
  pair.expiresIn = settings_.accessTokenLifetime;
  pair.userId = user.id;
  pair.email = user.email;
  return pair;
}

IssuedTokens AccountService::newTokens(Timestamp now, std::string& accessToken,
                                       std::string& refreshToken) const {
  accessToken = newSecretToken();
  refreshToken = newSecretToken();
  return IssuedTokens{
      .refreshTokenDigest = tokenDigest(refreshToken),
      .refreshExpiresAt = now + settings_.refreshTokenLifetime,
      .accessTokenDigest = tokenDigest(accessToken),
      .accessExpiresAt = now + settings_.accessTokenLifetime,
  };
}

}  // namespace trelvis::server
