#pragma once

// SqliteConnection: a SqlConnection to one SQLite database file in WAL mode, so that
// readers never wait for the writer. The connections of one process share a write
// mutex: a writer waits on it rather than in SQLite's sleeping busy handler, which
// is only left for writers of other processes (the admin commands).

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include "server/store/sql_connection.h"

struct sqlite3;
struct sqlite3_stmt;

namespace trelvis::server {

class SqliteConnection final : public SqlConnection {
 public:
  // Opens (and creates, with mode 0600) the database at `path`.
  SqliteConnection(const std::filesystem::path& path, std::shared_ptr<std::mutex> writeMutex);
  ~SqliteConnection() override;
  SqliteConnection(const SqliteConnection&) = delete;
  SqliteConnection& operator=(const SqliteConnection&) = delete;

  SqlRows query(std::string_view sql, const std::vector<SqlValue>& parameters) override;
  int64_t execute(std::string_view sql, const std::vector<SqlValue>& parameters) override;
  void executeScript(std::string_view sql) override;
  void beginWrite() override;
  void beginMigration() override;
  void commit() override;
  void rollback() noexcept override;
  std::vector<std::string> integrityProblems() override;

 private:
  sqlite3_stmt* prepared(std::string_view sql);
  sqlite3_stmt* bound(std::string_view sql, const std::vector<SqlValue>& parameters);
  [[noreturn]] void fail(int code, std::string_view doing) const;

  sqlite3* db_ = nullptr;
  std::shared_ptr<std::mutex> writeMutex_;
  std::unique_lock<std::mutex> writeLock_;
  std::unordered_map<std::string, sqlite3_stmt*> statements_;
};

}  // namespace trelvis::server
