#pragma once

// PostgresConnection: a SqlConnection to a PostgreSQL server through libpq, for
// several server processes that share one database. Statements are prepared once
// per connection; "?N" parameters become "$N". Transactions run at READ COMMITTED:
// the store's statements are written as atomic compare-and-set updates, and a
// serialization failure or deadlock is reported as retryable.

#include <string>
#include <unordered_map>

#include "server/store/sql_connection.h"

struct pg_conn;
struct pg_result;

namespace trelvis::server {

class PostgresConnection final : public SqlConnection {
 public:
  // `conninfo` is a libpq connection string or URI ("postgresql://host/db").
  explicit PostgresConnection(const std::string& conninfo);
  ~PostgresConnection() override;
  PostgresConnection(const PostgresConnection&) = delete;
  PostgresConnection& operator=(const PostgresConnection&) = delete;

  SqlRows query(std::string_view sql, const std::vector<SqlValue>& parameters) override;
  int64_t execute(std::string_view sql, const std::vector<SqlValue>& parameters) override;
  void executeScript(std::string_view sql) override;
  void beginWrite() override;
  void beginMigration() override;
  void commit() override;
  void rollback() noexcept override;
  std::vector<std::string> integrityProblems() override;
  bool isBroken() const override;

 private:
  // Runs a prepared statement and gives its result, or raises.
  pg_result* run(std::string_view sql, const std::vector<SqlValue>& parameters);
  [[noreturn]] void fail(pg_result* result, std::string_view doing);

  pg_conn* connection_ = nullptr;
  std::unordered_map<std::string, std::string> statementNames_;
};

// "?1" -> "$1"; the store's SQL has no question marks elsewhere.
std::string postgresParameters(std::string_view sql);

}  // namespace trelvis::server
