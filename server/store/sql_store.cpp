#include "server/store/sql_store.h"

#include "base/log.h"
#include "server/store/sql_connection.h"
#include "server/store/sql_schema.h"

#include <algorithm>
#include <condition_variable>
#include <limits>
#include <mutex>
#include <type_traits>
#include <utility>

namespace trelvis::server {
namespace {

const LogCategory kLog("store");

constexpr int kTransactionAttempts = 5;

int64_t millis(Timestamp time) {
  return time.time_since_epoch().count();
}

Timestamp timestamp(int64_t millis) {
  return Timestamp(std::chrono::milliseconds(millis));
}

SqlValue optionalMillis(const std::optional<Timestamp>& time) {
  if (!time) return nullptr;
  return millis(*time);
}

std::optional<Timestamp> optionalTimestamp(const SqlRow& row, std::size_t column) {
  const std::optional<int64_t> value = row.optionalInteger(column);
  if (!value) return std::nullopt;
  return timestamp(*value);
}

SqlValue text(std::string_view value) {
  return std::string(value);
}

constexpr std::string_view kUserColumns =
    "users.id, users.email, users.password_hash, users.plan, users.pro_expires_at, "
    "users.seed_granted_at, users.created_at";

UserRecord userFromRow(const SqlRow& row) {
  const std::string plan = row.text(3);
  const std::optional<PlanCode> code = planCodeFromString(plan);
  if (!code) throw StoreError("unknown plan in the users table");
  return UserRecord{
      .id = row.text(0),
      .email = row.text(1),
      .passwordHash = row.text(2),
      .plan = {.code = *code,
               .proExpiresAt = optionalTimestamp(row, 4),
               .seedGrantedAt = optionalTimestamp(row, 5)},
      .createdAt = timestamp(row.integer(6)),
  };
}

std::optional<UserRecord> firstUser(const SqlRows& rows) {
  if (rows.empty()) return std::nullopt;
  return userFromRow(rows.front());
}

std::string selectUsers(std::string_view rest) {
  std::string sql = "SELECT ";
  sql += kUserColumns;
  sql += " FROM users ";
  sql += rest;
  return sql;
}

void insertTokens(SqlConnection& connection, std::string_view familyId, const IssuedTokens& tokens,
                  Timestamp now) {
  connection.execute(
      "INSERT INTO refresh_tokens (token_digest, family_id, created_at, expires_at) "
      "VALUES (?1, ?2, ?3, ?4)",
      {text(tokens.refreshTokenDigest), text(familyId), millis(now),
       millis(tokens.refreshExpiresAt)});
  connection.execute(
      "INSERT INTO access_tokens (token_digest, family_id, expires_at) VALUES (?1, ?2, ?3)",
      {text(tokens.accessTokenDigest), text(familyId), millis(tokens.accessExpiresAt)});
}

// The rules sorted by key, so that concurrent transactions lock rows in one order.
std::vector<RateLimitRule> sortedRules(const std::vector<RateLimitRule>& rules) {
  std::vector<RateLimitRule> sorted = rules;
  std::sort(sorted.begin(), sorted.end(),
            [](const RateLimitRule& a, const RateLimitRule& b) { return a.key < b.key; });
  return sorted;
}

RateLimitDecision peekRules(SqlConnection& connection, const std::vector<RateLimitRule>& rules,
                            Timestamp now) {
  RateLimitDecision decision;
  for (const RateLimitRule& rule : rules) {
    const SqlRows rows = connection.query(
        "SELECT window_end, count FROM rate_limits WHERE key = ?1", {text(rule.key)});
    if (rows.empty()) continue;
    const int64_t windowEnd = rows.front().integer(0);
    const int64_t count = rows.front().integer(1);
    if (windowEnd <= millis(now) || count < rule.limit) continue;
    decision.allowed = false;
    // Rounded up, so that a client that waits this long finds the window open.
    const int64_t waitMillis = windowEnd - millis(now);
    const std::chrono::seconds wait((waitMillis + 999) / 1000);
    decision.retryAfter = std::max({decision.retryAfter, wait, std::chrono::seconds(1)});
  }
  return decision;
}

}  // namespace

// A bounded set of connections; a thread that finds them all in use waits.
class SqlStore::Pool {
 public:
  Pool(ConnectionFactory factory, std::size_t maxConnections)
      : factory_(std::move(factory)), maxConnections_(std::max<std::size_t>(1, maxConnections)) {}

  class Lease {
   public:
    Lease(Pool& pool, std::unique_ptr<SqlConnection> connection)
        : pool_(&pool), connection_(std::move(connection)) {}
    Lease(Lease&& other) noexcept = default;
    Lease& operator=(Lease&&) = delete;
    ~Lease() {
      if (connection_) pool_->release(std::move(connection_));
    }
    SqlConnection& operator*() const { return *connection_; }

   private:
    Pool* pool_;
    std::unique_ptr<SqlConnection> connection_;
  };

  Lease acquire() {
    std::unique_lock lock(mutex_);
    available_.wait(lock, [&] { return !idle_.empty() || open_ < maxConnections_; });
    if (!idle_.empty()) {
      std::unique_ptr<SqlConnection> connection = std::move(idle_.back());
      idle_.pop_back();
      return Lease(*this, std::move(connection));
    }
    ++open_;
    lock.unlock();
    try {
      return Lease(*this, factory_());
    } catch (...) {
      lock.lock();
      --open_;
      available_.notify_one();
      throw;
    }
  }

 private:
  void release(std::unique_ptr<SqlConnection> connection) {
    const bool broken = connection->isBroken();
    if (broken) connection.reset();
    std::lock_guard lock(mutex_);
    if (broken) {
      --open_;
    } else {
      idle_.push_back(std::move(connection));
    }
    available_.notify_one();
  }

  ConnectionFactory factory_;
  const std::size_t maxConnections_;
  std::mutex mutex_;
  std::condition_variable available_;
  std::vector<std::unique_ptr<SqlConnection>> idle_;
  std::size_t open_ = 0;
};

SqlStore::SqlStore(ConnectionFactory factory, std::size_t maxConnections)
    : pool_(std::make_unique<Pool>(std::move(factory), maxConnections)) {
  migrate();
}

SqlStore::~SqlStore() = default;

int SqlStore::latestSchemaVersion() {
  return sqlMigrations().back().version;
}

template <class Body>
auto SqlStore::write(Body&& body) {
  for (int attempt = 1;; ++attempt) {
    Pool::Lease lease = pool_->acquire();
    SqlConnection& connection = *lease;
    try {
      connection.beginWrite();
      if constexpr (std::is_void_v<std::invoke_result_t<Body&, SqlConnection&>>) {
        body(connection);
        connection.commit();
        return;
      } else {
        auto result = body(connection);
        connection.commit();
        return result;
      }
    } catch (const SqlRetryableError& error) {
      connection.rollback();
      if (attempt == kTransactionAttempts) throw;
      kLog.info("retrying a transaction: {}", error.what());
    } catch (...) {
      connection.rollback();
      throw;
    }
  }
}

template <class Body>
auto SqlStore::read(Body&& body) {
  Pool::Lease lease = pool_->acquire();
  return body(*lease);
}

void SqlStore::migrate() {
  Pool::Lease lease = pool_->acquire();
  SqlConnection& connection = *lease;
  try {
    connection.beginMigration();
    connection.executeScript(
        "CREATE TABLE IF NOT EXISTS schema_migrations ("
        "version BIGINT PRIMARY KEY, applied_at BIGINT NOT NULL)");
    const SqlRows rows =
        connection.query("SELECT COALESCE(MAX(version), 0) FROM schema_migrations", {});
    const int64_t current = rows.front().integer(0);
    if (current > latestSchemaVersion()) {
      throw StoreError("the database has schema version " + std::to_string(current) +
                       ", newer than this server's " + std::to_string(latestSchemaVersion()) +
                       "; run a newer trelvis-server");
    }
    const auto now =
        std::chrono::time_point_cast<std::chrono::milliseconds>(std::chrono::system_clock::now());
    for (const SqlMigration& migration : sqlMigrations()) {
      if (migration.version <= current) continue;
      connection.executeScript(migration.script);
      connection.execute("INSERT INTO schema_migrations (version, applied_at) VALUES (?1, ?2)",
                         {int64_t{migration.version}, millis(now)});
      kLog.notice("applied schema migration {}", migration.version);
    }
    connection.commit();
  } catch (...) {
    connection.rollback();
    throw;
  }
}

bool SqlStore::insertUser(const UserRecord& user) {
  return write([&](SqlConnection& connection) {
    return connection.execute(
               "INSERT INTO users (id, email, password_hash, plan, pro_expires_at, "
               "seed_granted_at, created_at) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7) "
               "ON CONFLICT (email) DO NOTHING",
               {text(user.id), text(user.email), text(user.passwordHash),
                text(toString(user.plan.code)), optionalMillis(user.plan.proExpiresAt),
                optionalMillis(user.plan.seedGrantedAt), millis(user.createdAt)}) == 1;
  });
}

std::optional<UserRecord> SqlStore::findUserByEmail(std::string_view email) {
  return read([&](SqlConnection& connection) {
    return firstUser(connection.query(selectUsers("WHERE email = ?1"), {text(email)}));
  });
}

std::optional<UserRecord> SqlStore::findUserById(std::string_view id) {
  return read([&](SqlConnection& connection) {
    return firstUser(connection.query(selectUsers("WHERE id = ?1"), {text(id)}));
  });
}

std::vector<UserRecord> SqlStore::listUsers() {
  return read([&](SqlConnection& connection) {
    std::vector<UserRecord> users;
    for (const SqlRow& row : connection.query(selectUsers("ORDER BY created_at, email"), {})) {
      users.push_back(userFromRow(row));
    }
    return users;
  });
}

bool SqlStore::setPlan(std::string_view userId, const PlanGrant& plan) {
  return write([&](SqlConnection& connection) {
    return connection.execute(
               "UPDATE users SET plan = ?2, pro_expires_at = ?3, seed_granted_at = ?4 "
               "WHERE id = ?1",
               {text(userId), text(toString(plan.code)), optionalMillis(plan.proExpiresAt),
                optionalMillis(plan.seedGrantedAt)}) == 1;
  });
}

bool SqlStore::deleteUser(std::string_view userId) {
  return write([&](SqlConnection& connection) {
    connection.execute(
        "DELETE FROM email_codes WHERE email IN (SELECT email FROM users WHERE id = ?1)",
        {text(userId)});
    return connection.execute("DELETE FROM users WHERE id = ?1", {text(userId)}) == 1;
  });
}

void SqlStore::updatePasswordHash(std::string_view userId, std::string_view passwordHash) {
  write([&](SqlConnection& connection) {
    connection.execute("UPDATE users SET password_hash = ?2 WHERE id = ?1",
                       {text(userId), text(passwordHash)});
  });
}

bool SqlStore::resetPassword(std::string_view userId, std::string_view passwordHash,
                             Timestamp now) {
  return write([&](SqlConnection& connection) {
    if (connection.execute("UPDATE users SET password_hash = ?2 WHERE id = ?1",
                           {text(userId), text(passwordHash)}) != 1) {
      return false;
    }
    connection.execute(
        "UPDATE token_families SET revoked_at = ?2 WHERE user_id = ?1 AND revoked_at IS NULL",
        {text(userId), millis(now)});
    return true;
  });
}

void SqlStore::createSession(std::string_view familyId, std::string_view userId,
                             const IssuedTokens& tokens, Timestamp now) {
  write([&](SqlConnection& connection) {
    connection.execute("INSERT INTO token_families (id, user_id, created_at) VALUES (?1, ?2, ?3)",
                       {text(familyId), text(userId), millis(now)});
    insertTokens(connection, familyId, tokens, now);
  });
}

RotationResult SqlStore::rotateRefreshToken(std::string_view presentedDigest,
                                            const IssuedTokens& next, Timestamp now) {
  return write([&](SqlConnection& connection) {
    // The update is the compare-and-set: of two concurrent rotations of one token,
    // the second waits for the first and then finds it rotated.
    const SqlRows spent = connection.query(
        "UPDATE refresh_tokens SET rotated_at = ?2 "
        "WHERE token_digest = ?1 AND rotated_at IS NULL AND expires_at > ?2 "
        "AND family_id IN (SELECT id FROM token_families WHERE revoked_at IS NULL) "
        "RETURNING family_id",
        {text(presentedDigest), millis(now)});
    if (!spent.empty()) {
      const std::string familyId = spent.front().text(0);
      insertTokens(connection, familyId, next, now);
      const SqlRows owner =
          connection.query("SELECT user_id FROM token_families WHERE id = ?1", {text(familyId)});
      return RotationResult{RotationResult::Outcome::rotated, owner.front().text(0)};
    }
    const SqlRows known =
        connection.query("SELECT family_id, rotated_at FROM refresh_tokens WHERE token_digest = ?1",
                         {text(presentedDigest)});
    if (known.empty() || known.front().isNull(1)) return RotationResult{};
    // A spent token came back: whoever holds it, the family can no longer be trusted.
    connection.execute(
        "UPDATE token_families SET revoked_at = ?2 WHERE id = ?1 AND revoked_at IS NULL",
        {known.front().text(0), millis(now)});
    return RotationResult{RotationResult::Outcome::reused, {}};
  });
}

bool SqlStore::revokeSession(std::string_view refreshTokenDigest, Timestamp now) {
  return write([&](SqlConnection& connection) {
    return connection.execute(
               "UPDATE token_families SET revoked_at = COALESCE(revoked_at, ?2) "
               "WHERE id = (SELECT family_id FROM refresh_tokens WHERE token_digest = ?1)",
               {text(refreshTokenDigest), millis(now)}) == 1;
  });
}

std::optional<UserRecord> SqlStore::userForAccessToken(std::string_view accessTokenDigest,
                                                       Timestamp now) {
  return read([&](SqlConnection& connection) {
    return firstUser(connection.query(
        selectUsers("JOIN token_families ON token_families.user_id = users.id "
                    "JOIN access_tokens ON access_tokens.family_id = token_families.id "
                    "WHERE access_tokens.token_digest = ?1 AND access_tokens.expires_at > ?2 "
                    "AND token_families.revoked_at IS NULL"),
        {text(accessTokenDigest), millis(now)}));
  });
}

void SqlStore::saveEmailCode(std::string_view email, EmailCodePurpose purpose,
                             std::string_view codeDigest, Timestamp expiresAt) {
  write([&](SqlConnection& connection) {
    connection.execute(
        "INSERT INTO email_codes (email, purpose, code_digest, attempts, expires_at) "
        "VALUES (?1, ?2, ?3, 0, ?4) ON CONFLICT (email, purpose) DO UPDATE SET "
        "code_digest = excluded.code_digest, attempts = 0, expires_at = excluded.expires_at",
        {text(email), text(toString(purpose)), text(codeDigest), millis(expiresAt)});
  });
}

std::optional<std::string> SqlStore::countEmailCodeAttempt(std::string_view email,
                                                           EmailCodePurpose purpose,
                                                           int maxAttempts, Timestamp now) {
  return write([&](SqlConnection& connection) -> std::optional<std::string> {
    const SqlRows rows = connection.query(
        "UPDATE email_codes SET attempts = attempts + 1 "
        "WHERE email = ?1 AND purpose = ?2 AND expires_at > ?3 AND attempts < ?4 "
        "RETURNING code_digest",
        {text(email), text(toString(purpose)), millis(now), int64_t{maxAttempts}});
    if (rows.empty()) return std::nullopt;
    return rows.front().text(0);
  });
}

bool SqlStore::consumeEmailCode(std::string_view email, EmailCodePurpose purpose,
                                std::string_view codeDigest) {
  return write([&](SqlConnection& connection) {
    return connection.execute(
               "DELETE FROM email_codes WHERE email = ?1 AND purpose = ?2 AND code_digest = ?3",
               {text(email), text(toString(purpose)), text(codeDigest)}) == 1;
  });
}

void SqlStore::deleteEmailCode(std::string_view email, EmailCodePurpose purpose) {
  write([&](SqlConnection& connection) {
    connection.execute("DELETE FROM email_codes WHERE email = ?1 AND purpose = ?2",
                       {text(email), text(toString(purpose))});
  });
}

RateLimitDecision SqlStore::consumeRateLimits(const std::vector<RateLimitRule>& rules,
                                              Timestamp now) {
  const std::vector<RateLimitRule> sorted = sortedRules(rules);
  return write([&](SqlConnection& connection) {
    const RateLimitDecision decision = peekRules(connection, sorted, now);
    if (!decision.allowed) return decision;
    for (const RateLimitRule& rule : sorted) {
      const int64_t windowEnd =
          millis(now) + std::chrono::duration_cast<std::chrono::milliseconds>(rule.window).count();
      const SqlRows counted = connection.query(
          "INSERT INTO rate_limits (key, window_end, count) VALUES (?1, ?2, 1) "
          "ON CONFLICT (key) DO UPDATE SET "
          "count = CASE WHEN rate_limits.window_end <= ?3 THEN 1 ELSE rate_limits.count + 1 END, "
          "window_end = CASE WHEN rate_limits.window_end <= ?3 THEN ?2 "
          "ELSE rate_limits.window_end END "
          "WHERE rate_limits.window_end <= ?3 OR rate_limits.count < ?4 "
          "RETURNING count",
          {text(rule.key), windowEnd, millis(now), rule.limit});
      // Another process filled the window after the look above: look again.
      if (counted.empty()) throw SqlRetryableError("a rate-limit window filled concurrently");
    }
    return decision;
  });
}

RateLimitDecision SqlStore::peekRateLimits(const std::vector<RateLimitRule>& rules, Timestamp now) {
  return read([&](SqlConnection& connection) { return peekRules(connection, rules, now); });
}

TranslationCharge SqlStore::chargeTranslation(std::string_view userId, Timestamp periodStart,
                                              std::optional<int64_t> limit) {
  if (limit && *limit <= 0) {
    return TranslationCharge{false, translationsInPeriod(userId, periodStart)};
  }
  const int64_t ceiling = limit.value_or(std::numeric_limits<int64_t>::max());
  return write([&](SqlConnection& connection) {
    const SqlRows charged = connection.query(
        "INSERT INTO translation_usage (user_id, period_start, used) VALUES (?1, ?2, 1) "
        "ON CONFLICT (user_id, period_start) DO UPDATE SET used = translation_usage.used + 1 "
        "WHERE translation_usage.used < ?3 RETURNING used",
        {text(userId), millis(periodStart), ceiling});
    if (!charged.empty()) return TranslationCharge{true, charged.front().integer(0)};
    const SqlRows used = connection.query(
        "SELECT used FROM translation_usage WHERE user_id = ?1 AND period_start = ?2",
        {text(userId), millis(periodStart)});
    return TranslationCharge{false, used.empty() ? 0 : used.front().integer(0)};
  });
}

void SqlStore::refundTranslation(std::string_view userId, Timestamp periodStart) {
  write([&](SqlConnection& connection) {
    // A row never holds zero (the schema forbids it): the last charge goes with it.
    const std::vector<SqlValue> key{text(userId), millis(periodStart)};
    if (connection.execute("UPDATE translation_usage SET used = used - 1 "
                           "WHERE user_id = ?1 AND period_start = ?2 AND used > 1",
                           key) == 0) {
      connection.execute(
          "DELETE FROM translation_usage WHERE user_id = ?1 AND period_start = ?2 AND used = 1",
          key);
    }
  });
}

int64_t SqlStore::translationsInPeriod(std::string_view userId, Timestamp periodStart) {
  return read([&](SqlConnection& connection) -> int64_t {
    const SqlRows rows = connection.query(
        "SELECT used FROM translation_usage WHERE user_id = ?1 AND period_start = ?2",
        {text(userId), millis(periodStart)});
    return rows.empty() ? 0 : rows.front().integer(0);
  });
}

int64_t SqlStore::translationCount(std::string_view userId) {
  return read([&](SqlConnection& connection) {
    return connection
        .query("SELECT COALESCE(SUM(used), 0) FROM translation_usage WHERE user_id = ?1",
               {text(userId)})
        .front()
        .integer(0);
  });
}

std::string SqlStore::serverKey(std::string_view name, std::string_view candidate) {
  return write([&](SqlConnection& connection) {
    connection.execute(
        "INSERT INTO server_keys (name, value) VALUES (?1, ?2) ON CONFLICT (name) DO NOTHING",
        {text(name), text(candidate)});
    return connection.query("SELECT value FROM server_keys WHERE name = ?1", {text(name)})
        .front()
        .text(0);
  });
}

void SqlStore::purgeExpired(Timestamp now) {
  write([&](SqlConnection& connection) {
    const std::vector<SqlValue> at{millis(now)};
    connection.execute("DELETE FROM access_tokens WHERE expires_at <= ?1", at);
    connection.execute("DELETE FROM email_codes WHERE expires_at <= ?1", at);
    connection.execute("DELETE FROM rate_limits WHERE window_end <= ?1", at);
    // Spent tokens stay as long as their family lives, so that a late reuse is
    // still recognised; a family goes when its newest token has expired.
    connection.execute(
        "DELETE FROM token_families WHERE NOT EXISTS (SELECT 1 FROM refresh_tokens "
        "WHERE refresh_tokens.family_id = token_families.id AND refresh_tokens.expires_at > ?1)",
        at);
  });
}

std::vector<std::string> SqlStore::checkConsistency() {
  return read([&](SqlConnection& connection) {
    std::vector<std::string> problems = connection.integrityProblems();
    for (const SqlRow& row : connection.query(
             "SELECT token_families.id, COUNT(refresh_tokens.token_digest) FROM token_families "
             "LEFT JOIN refresh_tokens ON refresh_tokens.family_id = token_families.id "
             "AND refresh_tokens.rotated_at IS NULL "
             "WHERE token_families.revoked_at IS NULL GROUP BY token_families.id "
             "HAVING COUNT(refresh_tokens.token_digest) <> 1",
             {})) {
      problems.push_back("token family " + row.text(0) + " has " + row.text(1) +
                         " unspent refresh tokens instead of 1");
    }
    struct Orphans {
      std::string_view what;
      std::string_view sql;
    };
    constexpr Orphans kOrphans[] = {
        {"token families without an account",
         "SELECT COUNT(*) FROM token_families WHERE user_id NOT IN (SELECT id FROM users)"},
        {"refresh tokens without a family",
         "SELECT COUNT(*) FROM refresh_tokens WHERE family_id NOT IN "
         "(SELECT id FROM token_families)"},
        {"access tokens without a family",
         "SELECT COUNT(*) FROM access_tokens WHERE family_id NOT IN "
         "(SELECT id FROM token_families)"},
        {"ledger entries without an account",
         "SELECT COUNT(*) FROM translation_usage WHERE user_id NOT IN (SELECT id FROM users)"},
    };
    for (const Orphans& orphans : kOrphans) {
      const int64_t count = connection.query(orphans.sql, {}).front().integer(0);
      if (count > 0) problems.push_back(std::to_string(count) + " " + std::string(orphans.what));
    }
    return problems;
  });
}

int SqlStore::schemaVersion() {
  return read([&](SqlConnection& connection) {
    return static_cast<int>(
        connection.query("SELECT COALESCE(MAX(version), 0) FROM schema_migrations", {})
            .front()
            .integer(0));
  });
}

}  // namespace trelvis::server
