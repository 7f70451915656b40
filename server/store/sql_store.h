#pragma once

// SqlStore: the Store over a SQL database, with one body of SQL for SQLite and
// PostgreSQL alike. It owns a pool of connections made by the given factory (one per
// worker that needs one at the same moment), applies the numbered schema migrations
// when it is made, and retries a transaction that the database asked to retry.

#include <cstddef>
#include <functional>
#include <memory>

#include "server/store/store.h"

namespace trelvis::server {

class SqlConnection;

class SqlStore final : public Store {
 public:
  using ConnectionFactory = std::function<std::unique_ptr<SqlConnection>()>;

  // Opens the first connection and migrates the schema; raises StoreError when the
  // database cannot be opened, is newer than this program, or a migration fails.
  SqlStore(ConnectionFactory factory, std::size_t maxConnections);
  ~SqlStore() override;
  SqlStore(const SqlStore&) = delete;
  SqlStore& operator=(const SqlStore&) = delete;

  // The schema version this program creates and understands.
  static int latestSchemaVersion();

  bool insertUser(const UserRecord& user) override;
  std::optional<UserRecord> findUserByEmail(std::string_view email) override;
  std::optional<UserRecord> findUserById(std::string_view id) override;
  std::vector<UserRecord> listUsers() override;
  bool setPlan(std::string_view userId, const PlanGrant& plan) override;
  bool deleteUser(std::string_view userId) override;
  void updatePasswordHash(std::string_view userId, std::string_view passwordHash) override;
  bool resetPassword(std::string_view userId, std::string_view passwordHash,
                     Timestamp now) override;

  void createSession(std::string_view familyId, std::string_view userId, const IssuedTokens& tokens,
                     Timestamp now) override;
  RotationResult rotateRefreshToken(std::string_view presentedDigest, const IssuedTokens& next,
                                    Timestamp now) override;
  bool revokeSession(std::string_view refreshTokenDigest, Timestamp now) override;
  std::optional<UserRecord> userForAccessToken(std::string_view accessTokenDigest,
                                               Timestamp now) override;

  void saveEmailCode(std::string_view email, EmailCodePurpose purpose, std::string_view codeDigest,
                     Timestamp expiresAt) override;
  std::optional<std::string> countEmailCodeAttempt(std::string_view email, EmailCodePurpose purpose,
                                                   int maxAttempts, Timestamp now) override;
  bool consumeEmailCode(std::string_view email, EmailCodePurpose purpose,
                        std::string_view codeDigest) override;
  void deleteEmailCode(std::string_view email, EmailCodePurpose purpose) override;

  RateLimitDecision consumeRateLimits(const std::vector<RateLimitRule>& rules,
                                      Timestamp now) override;
  RateLimitDecision peekRateLimits(const std::vector<RateLimitRule>& rules, Timestamp now) override;

  TranslationCharge chargeTranslation(std::string_view userId, Timestamp periodStart,
                                      std::optional<int64_t> limit) override;
  void refundTranslation(std::string_view userId, Timestamp periodStart) override;
  int64_t translationsInPeriod(std::string_view userId, Timestamp periodStart) override;
  int64_t translationCount(std::string_view userId) override;

  std::string serverKey(std::string_view name, std::string_view candidate) override;

  void purgeExpired(Timestamp now) override;
  std::vector<std::string> checkConsistency() override;
  int schemaVersion() override;

 private:
  class Pool;

  // Runs `body` in a write transaction, committing when it returns and rolling back
  // when it raises; a retryable failure runs it again, a few times.
  template <class Body>
  auto write(Body&& body);
  // Runs `body` on a connection outside any explicit transaction.
  template <class Body>
  auto read(Body&& body);

  void migrate();

  std::unique_ptr<Pool> pool_;
};

}  // namespace trelvis::server
