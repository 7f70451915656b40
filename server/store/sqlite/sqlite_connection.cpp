#include "server/store/sqlite/sqlite_connection.h"

#include <fcntl.h>
#include <unistd.h>

#include <sqlite3.h>

#include <cerrno>
#include <cstring>

namespace trelvis::server {
namespace {

constexpr int kBusyTimeoutMilliseconds = 10000;

// The file exists before SQLite opens it so that it never exists with a wider
// mode; SQLite gives its journal files the mode of the database. An existing file
// is not opened here: closing any descriptor of it would drop the POSIX locks that
// this process's other connections hold on it, and an admin command closing its
// own connection would then take itself for the last user, checkpoint and delete
// the WAL under them, leaving them reading a stale copy for good.
void createPrivately(const std::filesystem::path& path) {
  const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (fd < 0) {
    if (errno == EEXIST) return;
    throw StoreError("cannot create the database " + path.string() + ": " + std::strerror(errno));
  }
  ::close(fd);
}

// Leaves a cached statement reset and unbound, however its run ends.
struct Statement {
  sqlite3_stmt* statement;
  ~Statement() {
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
  }
};

}  // namespace

SqliteConnection::SqliteConnection(const std::filesystem::path& path,
                                   std::shared_ptr<std::mutex> writeMutex)
    : writeMutex_(std::move(writeMutex)) {
  createPrivately(path);
  // One thread uses a connection at a time, so SQLite's own locking is not needed.
  const int opened =
      sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
  if (opened != SQLITE_OK) {
    const std::string message = db_ ? sqlite3_errmsg(db_) : sqlite3_errstr(opened);
    sqlite3_close(db_);
    throw StoreError("cannot open the database " + path.string() + ": " + message);
  }
  sqlite3_extended_result_codes(db_, 1);
  sqlite3_busy_timeout(db_, kBusyTimeoutMilliseconds);
  try {
    // NORMAL in WAL mode: a commit survives a crash of the server (the WAL is in the
    // kernel before the reply goes out) without an fsync per request, which costs
    // milliseconds on a busy disk; a power cut may lose the last commits but never
    // tears the database. The WAL is synced at each checkpoint.
    executeScript(
        "PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL; PRAGMA foreign_keys = ON;");
  } catch (...) {
    sqlite3_close(db_);
    throw;
  }
}

SqliteConnection::~SqliteConnection() {
  for (auto& [sql, statement] : statements_) sqlite3_finalize(statement);
  sqlite3_close(db_);
}

void SqliteConnection::fail(int code, std::string_view doing) const {
  std::string message(doing);
  message += ": ";
  message += sqlite3_errmsg(db_);
  const int primary = code & 0xff;
  if (primary == SQLITE_BUSY || primary == SQLITE_LOCKED) throw SqlRetryableError(message);
  throw StoreError(message);
}

sqlite3_stmt* SqliteConnection::prepared(std::string_view sql) {
  const std::string key(sql);
  if (const auto found = statements_.find(key); found != statements_.end()) return found->second;
  sqlite3_stmt* statement = nullptr;
  const int code = sqlite3_prepare_v3(db_, key.c_str(), static_cast<int>(key.size()),
                                      SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
  if (code != SQLITE_OK) fail(code, "preparing a statement");
  statements_.emplace(key, statement);
  return statement;
}

sqlite3_stmt* SqliteConnection::bound(std::string_view sql,
                                      const std::vector<SqlValue>& parameters) {
  sqlite3_stmt* statement = prepared(sql);
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    const int index = static_cast<int>(i + 1);
    int code = SQLITE_OK;
    if (const auto* number = std::get_if<int64_t>(&parameters[i])) {
      code = sqlite3_bind_int64(statement, index, *number);
    } else if (const auto* text = std::get_if<std::string>(&parameters[i])) {
      code = sqlite3_bind_text(statement, index, text->data(), static_cast<int>(text->size()),
                               SQLITE_TRANSIENT);
    } else {
      code = sqlite3_bind_null(statement, index);
    }
    if (code != SQLITE_OK) {
      sqlite3_clear_bindings(statement);
      fail(code, "binding a parameter");
    }
  }
  return statement;
}

SqlRows SqliteConnection::query(std::string_view sql, const std::vector<SqlValue>& parameters) {
  const Statement statement{bound(sql, parameters)};
  SqlRows rows;
  for (;;) {
    const int code = sqlite3_step(statement.statement);
    if (code == SQLITE_DONE) break;
    if (code != SQLITE_ROW) fail(code, "running a statement");
    const int columns = sqlite3_column_count(statement.statement);
    std::vector<SqlValue> values;
    values.reserve(static_cast<std::size_t>(columns));
    for (int column = 0; column < columns; ++column) {
      switch (sqlite3_column_type(statement.statement, column)) {
        case SQLITE_NULL:
          values.emplace_back(nullptr);
          break;
        case SQLITE_INTEGER:
          values.emplace_back(
              static_cast<int64_t>(sqlite3_column_int64(statement.statement, column)));
          break;
        default: {
          const auto* data =
              reinterpret_cast<const char*>(sqlite3_column_text(statement.statement, column));
          const int size = sqlite3_column_bytes(statement.statement, column);
          values.emplace_back(std::string(data ? data : "", static_cast<std::size_t>(size)));
        }
      }
    }
    rows.emplace_back(std::move(values));
  }
  return rows;
}

int64_t SqliteConnection::execute(std::string_view sql, const std::vector<SqlValue>& parameters) {
  query(sql, parameters);
  return sqlite3_changes64(db_);
}

void SqliteConnection::executeScript(std::string_view sql) {
  const std::string script(sql);
  const int code = sqlite3_exec(db_, script.c_str(), nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) fail(code, "running a script");
}

void SqliteConnection::beginWrite() {
  writeLock_ = std::unique_lock(*writeMutex_);
  try {
    executeScript("BEGIN IMMEDIATE");
  } catch (...) {
    writeLock_.unlock();
    throw;
  }
}

void SqliteConnection::beginMigration() {
  beginWrite();
}

void SqliteConnection::commit() {
  executeScript("COMMIT");
  writeLock_.unlock();
}

void SqliteConnection::rollback() noexcept {
  if (!sqlite3_get_autocommit(db_)) sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
  if (writeLock_.owns_lock()) writeLock_.unlock();
}

std::vector<std::string> SqliteConnection::integrityProblems() {
  std::vector<std::string> problems;
  for (const SqlRow& row : query("PRAGMA integrity_check", {})) {
    if (row.text(0) != "ok") problems.push_back("integrity check: " + row.text(0));
  }
  for (const SqlRow& row : query("PRAGMA foreign_key_check", {})) {
    problems.push_back("a row of " + row.text(0) + " refers to a missing row of " + row.text(2));
  }
  return problems;
}

}  // namespace trelvis::server
