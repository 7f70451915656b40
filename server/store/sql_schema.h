#pragma once

// The numbered migrations of the server's schema, oldest first. A database records
// the versions applied to it; SqlStore applies the missing ones at start-up, in one
// transaction. A released migration is never edited: a change is a new one.

#include <span>
#include <string_view>

namespace trelvis::server {

struct SqlMigration {
  int version;
  std::string_view script;
};

std::span<const SqlMigration> sqlMigrations();

}  // namespace trelvis::server
