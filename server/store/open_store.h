#pragma once

// Opens the store that a database location names: "sqlite:PATH" for an SQLite file
// (created with mode 0600 when missing), "postgresql://..." or "postgres://..." for
// a PostgreSQL database shared by several servers. Used by `serve` and the admin
// commands alike.

#include <cstddef>
#include <memory>
#include <string>

#include "server/store/store.h"

namespace trelvis::server {

// Raises StoreError when the location is malformed or the database cannot be opened
// or migrated. `maxConnections` bounds the connections the store opens at once.
std::unique_ptr<Store> openStore(const std::string& location, std::size_t maxConnections);

// Whether `location` has one of the forms above (checked before anything is opened).
bool isDatabaseLocation(const std::string& location);

}  // namespace trelvis::server
