#include "server/store/open_store.h"

#include "server/store/postgres/postgres_connection.h"
#include "server/store/sql_store.h"
#include "server/store/sqlite/sqlite_connection.h"

#include <mutex>
#include <string_view>

namespace trelvis::server {
namespace {

constexpr std::string_view kSqlitePrefix = "sqlite:";

bool isPostgres(std::string_view location) {
  return location.starts_with("postgresql://") || location.starts_with("postgres://");
}

}  // namespace

bool isDatabaseLocation(const std::string& location) {
  return (location.starts_with(kSqlitePrefix) && location.size() > kSqlitePrefix.size()) ||
         isPostgres(location);
}

std::unique_ptr<Store> openStore(const std::string& location, std::size_t maxConnections) {
  if (location.starts_with(kSqlitePrefix) && location.size() > kSqlitePrefix.size()) {
    const std::filesystem::path path = location.substr(kSqlitePrefix.size());
    auto writeMutex = std::make_shared<std::mutex>();
    return std::make_unique<SqlStore>(
        [path, writeMutex] { return std::make_unique<SqliteConnection>(path, writeMutex); },
        maxConnections);
  }
  if (isPostgres(location)) {
    return std::make_unique<SqlStore>(
        [location] { return std::make_unique<PostgresConnection>(location); }, maxConnections);
  }
  throw StoreError("a database is \"sqlite:PATH\" or \"postgresql://...\"");
}

}  // namespace trelvis::server
