#include "server/command_line.h"

#include "server/auth/email_address.h"
#include "server/store/open_store.h"

#include <charconv>
#include <functional>
#include <map>
#include <string_view>

namespace trelvis::server {
namespace {

using Failure = tl::unexpected<std::string>;

constexpr std::string_view kDatabaseFile = "trelvis-server.sqlite3";

std::optional<int64_t> integer(std::string_view text) {
  int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

// The options of one command: "--name value" or "--name=value", and positionals.
struct Arguments {
  std::map<std::string, std::string, std::less<>> options;
  std::vector<std::string> positionals;
};

tl::expected<Arguments, std::string> split(const std::vector<std::string>& arguments,
                                           std::size_t first) {
  Arguments result;
  for (std::size_t i = first; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (!argument.starts_with("--")) {
      result.positionals.push_back(argument);
      continue;
    }
    std::string name = argument.substr(2);
    std::string value;
    if (const std::size_t equals = name.find('='); equals != std::string::npos) {
      value = name.substr(equals + 1);
      name.resize(equals);
    } else if (i + 1 < arguments.size()) {
      value = arguments[++i];
    } else {
      return Failure("--" + name + " needs a value");
    }
    if (!result.options.emplace(name, value).second) return Failure("--" + name + " given twice");
  }
  return result;
}

std::optional<std::string> take(Arguments& arguments, std::string_view name) {
  const auto found = arguments.options.find(name);
  if (found == arguments.options.end()) return std::nullopt;
  std::string value = found->second;
  arguments.options.erase(found);
  return value;
}

// A count in [minimum, maximum] from option `name`, when given.
tl::expected<void, std::string> takeCount(Arguments& arguments, std::string_view name,
                                          int64_t minimum, int64_t maximum, auto& target) {
  const std::optional<std::string> text = take(arguments, name);
  if (!text) return {};
  const std::optional<int64_t> value = integer(*text);
  if (!value || *value < minimum || *value > maximum) {
    return Failure("--" + std::string(name) + " must be a number from " + std::to_string(minimum) +
                   " to " + std::to_string(maximum));
  }
  target = static_cast<std::remove_reference_t<decltype(target)>>(*value);
  return {};
}

tl::expected<void, std::string> parseListen(const std::string& text, HttpServer::Options& http) {
  const std::size_t colon = text.rfind(':');
  if (colon == std::string::npos) return Failure("--listen takes HOST:PORT");
  std::string host = text.substr(0, colon);
  if (host.size() >= 2 && host.front() == '[' && host.back() == ']') {
    host = host.substr(1, host.size() - 2);
  }
  const std::optional<int64_t> port = integer(std::string_view(text).substr(colon + 1));
  if (host.empty() || !port || *port < 0 || *port > 65535) {
    return Failure("--listen takes HOST:PORT with a port from 0 to 65535");
  }
  http.host = host;
  http.port = static_cast<int>(*port);
  return {};
}

// "2026-12-31" grants the whole of that day (UTC); a full timestamp is taken as is.
std::optional<Timestamp> parseUntil(const std::string& text) {
  if (text.size() == 10) {
    if (const auto start = parseIso8601(text + "T00:00:00Z")) {
      return *start + std::chrono::days(1);
    }
    return std::nullopt;
  }
  const auto time = parseIso8601(text);
  if (!time) return std::nullopt;
  return *time;
}

std::filesystem::path defaultDataDirectory(const EnvironmentLookup& environment) {
  if (const auto data = environment("XDG_DATA_HOME"); data && !data->empty()) {
    return std::filesystem::path(*data) / "trelvis-server";
  }
  const std::string home = environment("HOME").value_or(".");
  return std::filesystem::path(home) / ".local" / "share" / "trelvis-server";
}

// Installed data is found where Debian puts it; CC-CEDICT where scripts/setup
// unpacks it, unless told otherwise.
tl::expected<std::optional<LookupEngineConfig>, std::string> parseEngines(
    Arguments& arguments, const EnvironmentLookup& environment,
    const std::filesystem::path& dataDirectory) {
  const std::string engines = take(arguments, "engines").value_or("on");
  if (engines != "on" && engines != "off") return Failure("--engines takes on or off");
  LookupEngineConfig config;
  config.dictionaries.cedictFile = take(arguments, "cedict").value_or(TRELVIS_DEFAULT_CEDICT_FILE);
  if (auto wordnet = take(arguments, "wordnet-dir"))
    config.dictionaries.wordnetDirectory = *wordnet;
  if (auto dictd = take(arguments, "dictd-dir")) config.dictionaries.dictdDirectory = *dictd;
  config.tessdataPath = take(arguments, "tessdata").value_or("");
  config.pronunciationCacheDirectory =
      take(arguments, "pronunciation-cache").value_or((dataDirectory / "pronunciations").string());
  if (auto workers = takeCount(arguments, "ocr-workers", 1, 64, config.ocrWorkers); !workers) {
    return Failure(workers.error());
  }
  const std::optional<std::string> llmUrl = take(arguments, "llm-url");
  const std::optional<std::string> llmModel = take(arguments, "llm-model");
  if (llmUrl.has_value() != llmModel.has_value())
    return Failure("--llm-url and --llm-model go together");
  if (llmUrl) {
    if (!llmUrl->starts_with("http://") && !llmUrl->starts_with("https://")) {
      return Failure("--llm-url takes an http:// or https:// URL");
    }
    config.chat = ChatCompletionConfig{.baseUrl = *llmUrl,
                                       .model = *llmModel,
                                       .apiKey = environment(kChatApiKeyVariable).value_or("")};
  }
  if (engines == "off") return std::nullopt;
  return config;
}

tl::expected<ServeCommand, std::string> parseServe(Arguments& arguments,
                                                   const EnvironmentLookup& environment,
                                                   const std::filesystem::path& dataDirectory) {
  ServeCommand serve;
  if (const auto listen = take(arguments, "listen")) {
    if (auto parsed = parseListen(*listen, serve.http); !parsed) return Failure(parsed.error());
  }
  if (auto basePath = take(arguments, "base-path")) {
    if (!basePath->empty() && basePath->front() != '/') {
      return Failure("--base-path must start with \"/\"");
    }
    serve.http.basePath = *basePath;
  }
  serve.http.tlsCertificateFile = take(arguments, "tls-cert").value_or("");
  serve.http.tlsKeyFile = take(arguments, "tls-key").value_or("");
  if (serve.http.tlsCertificateFile.empty() != serve.http.tlsKeyFile.empty()) {
    return Failure("--tls-cert and --tls-key go together");
  }
  for (auto result : {
           takeCount(arguments, "workers", 1, 1024, serve.http.workers),
           takeCount(arguments, "free-daily-translations", 1, 1000000,
                     serve.freeTranslationsPerDay),
           takeCount(arguments, "argon2-passes", 1, 100, serve.passwordCost.passes),
           takeCount(arguments, "argon2-memory-mib", 1, 4096, serve.passwordCost.memoryMiB),
       }) {
    if (!result) return Failure(result.error());
  }
  if (auto publicUrl = take(arguments, "public-url")) {
    if (!publicUrl->starts_with("http://") && !publicUrl->starts_with("https://")) {
      return Failure("--public-url takes an http:// or https:// URL");
    }
    while (publicUrl->ends_with('/')) publicUrl->pop_back();
    serve.http.publicUrl = *publicUrl;
  }
  auto engines = parseEngines(arguments, environment, dataDirectory);
  if (!engines) return Failure(engines.error());
  serve.engines = std::move(*engines);
  if (!arguments.positionals.empty()) {
    return Failure("serve takes no argument \"" + arguments.positionals.front() + "\"");
  }
  return serve;
}

tl::expected<std::string, std::string> emailArgument(const Arguments& arguments,
                                                     std::string_view command) {
  if (arguments.positionals.size() < 1) return Failure(std::string(command) + " needs an EMAIL");
  const std::optional<std::string> email = normalizedEmailAddress(arguments.positionals[0]);
  if (!email) return Failure("\"" + arguments.positionals[0] + "\" is not an email address");
  return *email;
}

tl::expected<SetPlanCommand, std::string> parseSetPlan(Arguments& arguments) {
  auto email = emailArgument(arguments, "user set-plan");
  if (!email) return Failure(email.error());
  if (arguments.positionals.size() != 2) {
    return Failure("user set-plan takes EMAIL and a plan: free, pro or seed");
  }
  const std::optional<PlanCode> plan = planCodeFromString(arguments.positionals[1]);
  if (!plan) return Failure("the plan is free, pro or seed");
  SetPlanCommand command{*email, *plan, std::nullopt};
  if (const auto until = take(arguments, "until")) {
    command.until = parseUntil(*until);
    if (!command.until) return Failure("--until takes a date (2026-12-31) or an ISO-8601 time");
  }
  if (*plan == PlanCode::pro && !command.until) return Failure("a pro plan needs --until DATE");
  if (*plan != PlanCode::pro && command.until) return Failure("--until is for the pro plan only");
  return command;
}

tl::expected<decltype(CommandLine::command), std::string> parseCommand(
    const std::vector<std::string>& words, Arguments& arguments,
    const EnvironmentLookup& environment, const std::filesystem::path& dataDirectory) {
  if (words.empty() || words[0] == "help" || words[0] == "--help" || words[0] == "-h") {
    return HelpCommand{};
  }
  if (words[0] == "serve") return parseServe(arguments, environment, dataDirectory);
  if (words[0] == "check" && arguments.positionals.empty()) return CheckCommand{};
  if (words[0] != "user" || arguments.positionals.empty()) {
    return Failure("unknown command \"" + words[0] + "\"");
  }
  const std::string subcommand = arguments.positionals.front();
  arguments.positionals.erase(arguments.positionals.begin());
  if (subcommand == "list" && arguments.positionals.empty()) return ListUsersCommand{};
  if (subcommand == "set-plan") return parseSetPlan(arguments);
  if (subcommand == "delete" && arguments.positionals.size() == 1) {
    auto email = emailArgument(arguments, "user delete");
    if (!email) return Failure(email.error());
    return DeleteUserCommand{*email};
  }
  return Failure("unknown or incomplete command \"user " + subcommand + "\"");
}

}  // namespace

tl::expected<CommandLine, std::string> parseCommandLine(const std::vector<std::string>& arguments,
                                                        const EnvironmentLookup& environment) {
  auto parts = split(arguments, 1);
  if (!parts) return Failure(parts.error());
  Arguments& rest = *parts;
  CommandLine line;
  line.dataDirectory = take(rest, "data-dir").value_or(defaultDataDirectory(environment).string());
  if (const auto database = take(rest, "database")) {
    if (!isDatabaseLocation(*database)) {
      return Failure("--database takes sqlite:PATH or postgresql://...");
    }
    line.database = *database;
    line.databaseInDataDirectory = false;
  } else {
    line.database = "sqlite:" + (line.dataDirectory / kDatabaseFile).string();
  }
  auto command = parseCommand(arguments, rest, environment, line.dataDirectory);
  if (!command) return Failure(command.error());
  line.command = std::move(*command);
  if (!rest.options.empty()) return Failure("unknown option --" + rest.options.begin()->first);
  return line;
}

std::string usageText() {
  return R"(usage:
  trelvis-server serve [--listen HOST:PORT] [--base-path PATH] [--data-dir DIR]
                       [--database sqlite:PATH|postgresql://...]
                       [--tls-cert FILE --tls-key FILE] [--workers N]
                       [--free-daily-translations N]
                       [--argon2-passes N] [--argon2-memory-mib N]
                       [--public-url URL] [--engines on|off] [--ocr-workers N]
                       [--tessdata DIR] [--wordnet-dir DIR] [--dictd-dir DIR]
                       [--cedict FILE] [--pronunciation-cache DIR]
                       [--llm-url URL --llm-model NAME]
  trelvis-server user list
  trelvis-server user set-plan EMAIL free|pro|seed [--until DATE]
  trelvis-server user delete EMAIL
  trelvis-server check

Defaults: --listen 127.0.0.1:8787, --base-path /trelvis, --workers 64,
--free-daily-translations 50, --argon2-passes 3, --argon2-memory-mib 48,
--data-dir $XDG_DATA_HOME/trelvis-server, --database sqlite:DATA_DIR/trelvis-server.sqlite3,
--engines on, --ocr-workers 2, --wordnet-dir /usr/share/wordnet, --dictd-dir /usr/share/dictd,
--cedict )" TRELVIS_DEFAULT_CEDICT_FILE R"(,
--pronunciation-cache DATA_DIR/pronunciations, --tessdata: the installed models.
--llm-url (up to the API version, e.g. http://127.0.0.1:8080/v1) and --llm-model name an
OpenAI-compatible chat endpoint that then translates sentences of every language pair;
its API key, if it needs one, is read from the environment variable TRELVIS_LLM_API_KEY.
The admin commands take --data-dir and --database too.
)";
}

}  // namespace trelvis::server
