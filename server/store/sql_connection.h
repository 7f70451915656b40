#pragma once

// SqlConnection: one open connection to a SQL database, as SqlStore needs it. SQL
// text uses numbered parameters "?1", "?2", ... and only what SQLite and PostgreSQL
// both understand; each implementation translates what it must. A connection is
// used by one thread at a time (SqlStore hands them out from a pool).
//
// Failures raise StoreError; a failure that retrying the whole transaction may cure
// (a lock timeout, a serialization failure, a deadlock) raises SqlRetryableError.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "server/store/store.h"

namespace trelvis::server {

class SqlRetryableError : public StoreError {
 public:
  using StoreError::StoreError;
};

using SqlValue = std::variant<std::nullptr_t, int64_t, std::string>;

// One result row; columns by position, converted on access.
class SqlRow {
 public:
  explicit SqlRow(std::vector<SqlValue> values) : values_(std::move(values)) {}

  bool isNull(std::size_t column) const;
  int64_t integer(std::size_t column) const;
  std::optional<int64_t> optionalInteger(std::size_t column) const;
  std::string text(std::size_t column) const;
  std::optional<std::string> optionalText(std::size_t column) const;

 private:
  const SqlValue& at(std::size_t column) const;
  std::vector<SqlValue> values_;
};

using SqlRows = std::vector<SqlRow>;

class SqlConnection {
 public:
  virtual ~SqlConnection() = default;

  // Runs one statement and gives its rows (none for a statement without result).
  virtual SqlRows query(std::string_view sql, const std::vector<SqlValue>& parameters) = 0;
  // Runs one statement and gives the number of rows it changed.
  virtual int64_t execute(std::string_view sql, const std::vector<SqlValue>& parameters) = 0;
  // Runs statements without parameters, separated by ";" (schema changes).
  virtual void executeScript(std::string_view sql) = 0;

  // A transaction that will write. SQLite takes the write lock at once, so that a
  // transaction never fails half way for want of it.
  virtual void beginWrite() = 0;
  // A write transaction that also excludes every other process migrating the schema.
  virtual void beginMigration() = 0;
  virtual void commit() = 0;
  // Never raises: used while another failure is on its way out.
  virtual void rollback() noexcept = 0;

  // What the database's own integrity checks report; empty when sound.
  virtual std::vector<std::string> integrityProblems() = 0;

  // True once the connection is lost; the pool then drops it and opens another.
  virtual bool isBroken() const { return false; }
};

}  // namespace trelvis::server
