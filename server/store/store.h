#pragma once

// Store: the one seam between the server's logic and its database. Every piece of
// state that must hold across server processes lives behind it: accounts, token
// families, email codes, rate-limit windows and the translation ledger. Several
// processes may share one database (PostgreSQL), so each operation is atomic on its
// own and never relies on what another call read earlier.
//
// Implementations: SqlStore over SQLite (the default, one file) or PostgreSQL. All
// methods may be called from any worker thread at once. They raise StoreError when
// the database fails; the HTTP layer answers such a failure with a 500.
//
// Secrets never reach the store in the clear: tokens and codes arrive as digests,
// passwords as Argon2id hashes.

#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "base/iso8601.h"

namespace trelvis::server {

class StoreError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

enum class PlanCode { free, pro, seed };

// "free", "pro", "seed": the wire's and the database's spelling.
std::string_view toString(PlanCode code);
std::optional<PlanCode> planCodeFromString(std::string_view text);

// What an account has been granted; which plan is in force at a moment is decided
// by the membership rules (an expired pro grant counts as free).
struct PlanGrant {
  PlanCode code = PlanCode::free;
  std::optional<Timestamp> proExpiresAt;
  std::optional<Timestamp> seedGrantedAt;

  friend bool operator==(const PlanGrant&, const PlanGrant&) = default;
};

struct UserRecord {
  std::string id;
  // Normalised: trimmed, domain in lower case. Unique.
  std::string email;
  std::string passwordHash;
  PlanGrant plan;
  Timestamp createdAt;

  friend bool operator==(const UserRecord&, const UserRecord&) = default;
};

enum class EmailCodePurpose { registration, passwordReset };

// "register", "password_reset".
std::string_view toString(EmailCodePurpose purpose);
std::optional<EmailCodePurpose> emailCodePurposeFromString(std::string_view text);

// The digests of a freshly issued token pair and when each stops working.
struct IssuedTokens {
  std::string refreshTokenDigest;
  Timestamp refreshExpiresAt;
  std::string accessTokenDigest;
  Timestamp accessExpiresAt;
};

struct RotationResult {
  enum class Outcome {
    rotated,  // the presented token is spent; `next` now belongs to its family
    reused,   // the token had been rotated before: its whole family is revoked
    invalid,  // unknown, expired, or of a revoked family
  };
  Outcome outcome = Outcome::invalid;
  std::string userId;  // set when rotated
};

// A counter that allows `limit` events per window. A window opens at the first
// event after the previous one closed (so a limit of 1 is a cooldown).
struct RateLimitRule {
  std::string key;
  std::chrono::seconds window;
  int64_t limit = 1;
};

struct RateLimitDecision {
  bool allowed = true;
  // When refused: the time until the first closed window opens again, at least 1 s.
  std::chrono::seconds retryAfter{0};
};

struct TranslationCharge {
  bool charged = false;
  // Translations charged in the period, this one included when it was charged.
  int64_t used = 0;
};

class Store {
 public:
  virtual ~Store() = default;

  // --- Accounts ---
  // False when the email is taken.
  virtual bool insertUser(const UserRecord& user) = 0;
  virtual std::optional<UserRecord> findUserByEmail(std::string_view email) = 0;
  virtual std::optional<UserRecord> findUserById(std::string_view id) = 0;
  // Ordered by creation.
  virtual std::vector<UserRecord> listUsers() = 0;
  // False when there is no such user.
  virtual bool setPlan(std::string_view userId, const PlanGrant& plan) = 0;
  // Removes the account with its sessions, codes and ledger. False when absent.
  virtual bool deleteUser(std::string_view userId) = 0;
  // A stronger hash of the same password, after a login with an outdated one.
  virtual void updatePasswordHash(std::string_view userId, std::string_view passwordHash) = 0;
  // Replaces the password and revokes every session of the account, atomically.
  virtual bool resetPassword(std::string_view userId, std::string_view passwordHash,
                             Timestamp now) = 0;

  // --- Sessions (token families) ---
  // A new family holding one refresh token and one access token.
  virtual void createSession(std::string_view familyId, std::string_view userId,
                             const IssuedTokens& tokens, Timestamp now) = 0;
  // Spends the refresh token with `presentedDigest` and adds `next` to its family.
  // Exactly one of several concurrent rotations of one token succeeds; the others
  // see a reuse.
  virtual RotationResult rotateRefreshToken(std::string_view presentedDigest,
                                            const IssuedTokens& next, Timestamp now) = 0;
  // Revokes the family of a refresh token, spent or not. False when unknown.
  virtual bool revokeSession(std::string_view refreshTokenDigest, Timestamp now) = 0;
  // The owner of a live access token: unexpired, of a family that is not revoked.
  virtual std::optional<UserRecord> userForAccessToken(std::string_view accessTokenDigest,
                                                       Timestamp now) = 0;

  // --- Email codes (one live code per address and purpose) ---
  // Replaces any earlier code, with a fresh attempt count.
  virtual void saveEmailCode(std::string_view email, EmailCodePurpose purpose,
                             std::string_view codeDigest, Timestamp expiresAt) = 0;
  // Counts one attempt against the live code and gives its digest; nothing when
  // there is no live code or it has used up its `maxAttempts`. An attempt is
  // counted before the comparison so that parallel guesses cannot exceed the limit.
  virtual std::optional<std::string> countEmailCodeAttempt(std::string_view email,
                                                           EmailCodePurpose purpose,
                                                           int maxAttempts, Timestamp now) = 0;
  // Removes the code when it still has `codeDigest`; false when someone else
  // consumed or replaced it first.
  virtual bool consumeEmailCode(std::string_view email, EmailCodePurpose purpose,
                                std::string_view codeDigest) = 0;
  virtual void deleteEmailCode(std::string_view email, EmailCodePurpose purpose) = 0;

  // --- Rate limits ---
  // Counts one event against every rule, all or none: when any rule's window is
  // full nothing is counted.
  virtual RateLimitDecision consumeRateLimits(const std::vector<RateLimitRule>& rules,
                                              Timestamp now) = 0;
  // Whether an event would be refused, without counting it.
  virtual RateLimitDecision peekRateLimits(const std::vector<RateLimitRule>& rules,
                                           Timestamp now) = 0;

  // --- Translation ledger ---
  // Charges one translation to the period that starts at `periodStart`, unless
  // `limit` is given and already reached. Atomic across processes.
  virtual TranslationCharge chargeTranslation(std::string_view userId, Timestamp periodStart,
                                              std::optional<int64_t> limit) = 0;
  // Takes back one charge of that period (a translation that failed before it gave
  // anything); nothing when the period has none.
  virtual void refundTranslation(std::string_view userId, Timestamp periodStart) = 0;
  virtual int64_t translationsInPeriod(std::string_view userId, Timestamp periodStart) = 0;
  // Every translation ever charged to the account.
  virtual int64_t translationCount(std::string_view userId) = 0;

  // --- Server keys ---
  // The key kept under `name`; the first caller's `candidate` becomes it, so that
  // every process sharing the database signs and checks with the same key.
  virtual std::string serverKey(std::string_view name, std::string_view candidate) = 0;

  // --- Housekeeping ---
  // Drops expired access tokens, codes and rate windows, and families whose every
  // refresh token has expired.
  virtual void purgeExpired(Timestamp now) = 0;
  // Problems found by the database's own checks and by the invariants of the
  // schema (one live refresh token per family, no orphans); empty when sound.
  virtual std::vector<std::string> checkConsistency() = 0;
  virtual int schemaVersion() = 0;
};

}  // namespace trelvis::server
