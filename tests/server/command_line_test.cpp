#include "server/command_line.h"

#include <map>

#include <gtest/gtest.h>

namespace trelvis::server {
namespace {

EnvironmentLookup environment(std::map<std::string, std::string> variables) {
  return [variables](std::string_view name) -> std::optional<std::string> {
    const auto found = variables.find(std::string(name));
    if (found == variables.end()) return std::nullopt;
    return found->second;
  };
}

tl::expected<CommandLine, std::string> parse(std::vector<std::string> arguments) {
  return parseCommandLine(arguments, environment({{"HOME", "/home/ann"}}));
}

TEST(CommandLineTest, ServeTakesItsDefaultsFromTheEnvironmentAndItsOptions) {
  const auto defaults = parseCommandLine({"serve"}, environment({{"XDG_DATA_HOME", "/xdg"}}));
  ASSERT_TRUE(defaults) << defaults.error();
  EXPECT_EQ(defaults->dataDirectory, "/xdg/trelvis-server");
  EXPECT_EQ(defaults->database, "sqlite:/xdg/trelvis-server/trelvis-server.sqlite3");
  const auto& serve = std::get<ServeCommand>(defaults->command);
  EXPECT_EQ(serve.http.host, "127.0.0.1");
  EXPECT_EQ(serve.http.port, 8787);
  EXPECT_EQ(serve.http.basePath, "/trelvis");
  EXPECT_EQ(serve.freeTranslationsPerDay, 50);

  const auto given = parse({"serve", "--listen", "[::1]:0", "--base-path=", "--data-dir", "/d",
                            "--database", "postgresql://db/trelvis", "--workers", "4",
                            "--free-daily-translations", "3", "--tls-cert", "c", "--tls-key", "k"});
  ASSERT_TRUE(given) << given.error();
  const auto& options = std::get<ServeCommand>(given->command);
  EXPECT_EQ(options.http.host, "::1");
  EXPECT_EQ(options.http.port, 0);
  EXPECT_EQ(options.http.basePath, "");
  EXPECT_EQ(options.http.workers, 4u);
  EXPECT_EQ(options.freeTranslationsPerDay, 3);
  EXPECT_EQ(given->database, "postgresql://db/trelvis");
  EXPECT_FALSE(given->databaseInDataDirectory);
  EXPECT_EQ(parse({"user", "list"})->dataDirectory, "/home/ann/.local/share/trelvis-server");
}

TEST(CommandLineTest, SetPlanGrantsProUntilTheEndOfTheGivenDay) {
  const auto pro = parse({"user", "set-plan", " Ann@Example.COM", "pro", "--until", "2026-12-31"});
  ASSERT_TRUE(pro) << pro.error();
  const auto& command = std::get<SetPlanCommand>(pro->command);
  EXPECT_EQ(command.email, "Ann@example.com");
  EXPECT_EQ(command.plan, PlanCode::pro);
  EXPECT_EQ(formatIso8601(*command.until, false), "2027-01-01T00:00:00Z");
  const auto exact = parse({"user", "set-plan", "a@b.c", "pro", "--until=2026-06-01T12:00:00Z"});
  EXPECT_EQ(formatIso8601(*std::get<SetPlanCommand>(exact->command).until, false),
            "2026-06-01T12:00:00Z");
  EXPECT_TRUE(
      std::holds_alternative<DeleteUserCommand>(parse({"user", "delete", "a@b.c"})->command));
  EXPECT_TRUE(std::holds_alternative<CheckCommand>(parse({"check"})->command));
  EXPECT_TRUE(std::holds_alternative<HelpCommand>(parse({})->command));
}

TEST(CommandLineTest, RefusesWhatItCannotDo) {
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"serve", "--listen", "8787"}, "--listen takes HOST:PORT"},
      {{"serve", "--listen", "localhost:70000"},
       "--listen takes HOST:PORT with a port from 0 to 65535"},
      {{"serve", "--base-path", "trelvis"}, "--base-path must start with \"/\""},
      {{"serve", "--tls-cert", "c"}, "--tls-cert and --tls-key go together"},
      {{"serve", "--workers", "0"}, "--workers must be a number from 1 to 1024"},
      {{"serve", "--free-daily-translations", "ten"},
       "--free-daily-translations must be a number from 1 to 1000000"},
      {{"serve", "--database", "mysql://x"}, "--database takes sqlite:PATH or postgresql://..."},
      {{"serve", "--colour", "red"}, "unknown option --colour"},
      {{"serve", "--listen"}, "--listen needs a value"},
      {{"serve", "extra"}, "serve takes no argument \"extra\""},
      {{"user", "set-plan", "a@b.c", "pro"}, "a pro plan needs --until DATE"},
      {{"user", "set-plan", "a@b.c", "seed", "--until", "2026-01-01"},
       "--until is for the pro plan only"},
      {{"user", "set-plan", "a@b.c", "gold"}, "the plan is free, pro or seed"},
      {{"user", "set-plan", "a@b.c", "pro", "--until", "soon"},
       "--until takes a date (2026-12-31) or an ISO-8601 time"},
      {{"user", "delete", "not-an-address"}, "\"not-an-address\" is not an email address"},
      {{"user", "rename"}, "unknown or incomplete command \"user rename\""},
      {{"launch"}, "unknown command \"launch\""},
  };
  for (const auto& [arguments, error] : cases) {
    const auto parsed = parse(arguments);
    ASSERT_FALSE(parsed) << ::testing::PrintToString(arguments);
    EXPECT_EQ(parsed.error(), error);
  }
}

}  // namespace
}  // namespace trelvis::server
