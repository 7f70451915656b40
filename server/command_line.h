#pragma once

// The command line of `trelvis-server`, parsed into what to do:
//
//   trelvis-server serve [--listen HOST:PORT] [--base-path PATH] [--data-dir DIR]
//                        [--database sqlite:PATH|postgresql://...]
//                        [--tls-cert FILE --tls-key FILE] [--workers N]
//                        [--free-daily-translations N]
//                        [--argon2-passes N] [--argon2-memory-mib N]
//                        [--public-url URL] [--engines on|off] [--ocr-workers N]
//                        [--tessdata DIR] [--wordnet-dir DIR] [--dictd-dir DIR]
//                        [--cedict FILE] [--pronunciation-cache DIR]
//                        [--llm-url URL --llm-model NAME]
//   trelvis-server user list
//   trelvis-server user set-plan EMAIL free|pro|seed [--until DATE]
//   trelvis-server user delete EMAIL
//   trelvis-server check
//
// Every command takes --data-dir and --database; the database defaults to
// "sqlite:DIR/trelvis-server.sqlite3" in the data directory, which defaults to
// "$XDG_DATA_HOME/trelvis-server" (or "~/.local/share/trelvis-server"). The chat
// backend's API key comes from the environment variable TRELVIS_LLM_API_KEY, never
// from the command line, where every user of the machine could read it.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <tl/expected.hpp>

#include "base/environment.h"
#include "server/auth/password_hasher.h"
#include "server/http/http_server.h"
#include "server/lookup/lookup_engine.h"
#include "server/store/store.h"

namespace trelvis::server {

struct ServeCommand {
  HttpServer::Options http;
  int64_t freeTranslationsPerDay = 50;
  PasswordHasher::Cost passwordCost;
  // The language engines; absent with "--engines off", when the translation
  // endpoints answer 503 (a process that serves accounts only).
  std::optional<LookupEngineConfig> engines;
};

struct ListUsersCommand {};

struct SetPlanCommand {
  std::string email;
  PlanCode plan = PlanCode::free;
  // A pro grant's end; required for pro and refused for the others.
  std::optional<Timestamp> until;
};

struct DeleteUserCommand {
  std::string email;
};

struct CheckCommand {};

struct HelpCommand {};

struct CommandLine {
  std::variant<ServeCommand, ListUsersCommand, SetPlanCommand, DeleteUserCommand, CheckCommand,
               HelpCommand>
      command;
  std::filesystem::path dataDirectory;
  // "sqlite:PATH" or a PostgreSQL URI; never empty after parsing.
  std::string database;
  // True when the database is the default file in the data directory, which the
  // server then creates.
  bool databaseInDataDirectory = true;
};

// `arguments` excludes the program name. The error says what is wrong, in a line.
tl::expected<CommandLine, std::string> parseCommandLine(const std::vector<std::string>& arguments,
                                                        const EnvironmentLookup& environment);

// The text of `trelvis-server help`.
std::string usageText();

}  // namespace trelvis::server
