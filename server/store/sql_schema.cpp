#include "server/store/sql_schema.h"

#include <array>

namespace trelvis::server {
namespace {

// Times are milliseconds since 1970 UTC. Secrets appear only as digests. The types
// are those that SQLite and PostgreSQL read alike.
constexpr std::string_view kInitialSchema = R"sql(
CREATE TABLE users (
  id TEXT PRIMARY KEY,
  email TEXT NOT NULL UNIQUE,
  password_hash TEXT NOT NULL,
  plan TEXT NOT NULL CHECK (plan IN ('free', 'pro', 'seed')),
  pro_expires_at BIGINT,
  seed_granted_at BIGINT,
  created_at BIGINT NOT NULL
);

CREATE TABLE token_families (
  id TEXT PRIMARY KEY,
  user_id TEXT NOT NULL REFERENCES users (id) ON DELETE CASCADE,
  created_at BIGINT NOT NULL,
  revoked_at BIGINT
);
CREATE INDEX token_families_by_user ON token_families (user_id);

CREATE TABLE refresh_tokens (
  token_digest TEXT PRIMARY KEY,
  family_id TEXT NOT NULL REFERENCES token_families (id) ON DELETE CASCADE,
  created_at BIGINT NOT NULL,
  expires_at BIGINT NOT NULL,
  rotated_at BIGINT
);
CREATE INDEX refresh_tokens_by_family ON refresh_tokens (family_id);

CREATE TABLE access_tokens (
  token_digest TEXT PRIMARY KEY,
  family_id TEXT NOT NULL REFERENCES token_families (id) ON DELETE CASCADE,
  expires_at BIGINT NOT NULL
);
CREATE INDEX access_tokens_by_family ON access_tokens (family_id);
CREATE INDEX access_tokens_by_expiry ON access_tokens (expires_at);

CREATE TABLE email_codes (
  email TEXT NOT NULL,
  purpose TEXT NOT NULL CHECK (purpose IN ('register', 'password_reset')),
  code_digest TEXT NOT NULL,
  attempts BIGINT NOT NULL,
  expires_at BIGINT NOT NULL,
  PRIMARY KEY (email, purpose)
);

CREATE TABLE rate_limits (
  key TEXT PRIMARY KEY,
  window_end BIGINT NOT NULL,
  count BIGINT NOT NULL
);

CREATE TABLE translation_usage (
  user_id TEXT NOT NULL REFERENCES users (id) ON DELETE CASCADE,
  period_start BIGINT NOT NULL,
  used BIGINT NOT NULL CHECK (used >= 1),
  PRIMARY KEY (user_id, period_start)
);
)sql";

// Keys that every server process sharing the database uses alike (the key that
// signs links to pronunciation audio).
constexpr std::string_view kServerKeys = R"sql(
CREATE TABLE server_keys (
  name TEXT PRIMARY KEY,
  value TEXT NOT NULL
);
)sql";

constexpr std::array<SqlMigration, 2> kMigrations{{
    {1, kInitialSchema},
    {2, kServerKeys},
}};

}  // namespace

std::span<const SqlMigration> sqlMigrations() {
  return kMigrations;
}

}  // namespace trelvis::server
