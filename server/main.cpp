// trelvis-server: the reference server of the Trelvis API. `serve` runs it; the
// other commands administer the accounts of its database. See command_line.h.

#include "base/log.h"
#include "server/auth/account_service.h"
#include "server/auth/password_hasher.h"
#include "server/auth/secrets.h"
#include "server/auth/verification_code_sender.h"
#include "server/command_line.h"
#include "server/engines/languages.h"
#include "server/http/api_routes.h"
#include "server/http/http_server.h"
#include "server/http/pronunciation_links.h"
#include "server/http/translation_routes.h"
#include "server/lookup/lookup_engine.h"
#include "server/membership/membership_service.h"
#include "server/store/open_store.h"
#include "server/wall_clock.h"

#include <pthread.h>
#include <sys/stat.h>

#include <fmt/core.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <thread>

namespace trelvis::server {
namespace {

const LogCategory kLog("server");

constexpr auto kHousekeepingInterval = std::chrono::hours(1);
// PostgreSQL serves every connection with a process of its own: stay modest.
constexpr std::size_t kMaximumPostgresConnections = 16;

int fail(std::string_view message) {
  fmt::print(stderr, "trelvis-server: {}\n", message);
  return 1;
}

// Creates `directory` and its missing parents with mode 0700: it holds the accounts.
bool createPrivateDirectory(const std::filesystem::path& directory) {
  std::filesystem::path current;
  for (const auto& part : directory) {
    current /= part;
    if (::mkdir(current.c_str(), 0700) != 0 && errno != EEXIST) return false;
  }
  return std::filesystem::is_directory(directory);
}

std::unique_ptr<Store> open(const CommandLine& line, std::size_t connections) {
  if (line.databaseInDataDirectory && !createPrivateDirectory(line.dataDirectory)) {
    throw StoreError("cannot create the data directory " + line.dataDirectory.string() + ": " +
                     std::strerror(errno));
  }
  return openStore(line.database, connections);
}

// Purges expired tokens, codes and windows now and every hour, until stopped.
class Housekeeping {
 public:
  explicit Housekeeping(Store& store) : thread_([this, &store] { run(store); }) {}
  ~Housekeeping() {
    {
      const std::lock_guard lock(mutex_);
      stopped_ = true;
    }
    wake_.notify_all();
    thread_.join();
  }

 private:
  void run(Store& store) {
    std::unique_lock lock(mutex_);
    while (!stopped_) {
      lock.unlock();
      try {
        store.purgeExpired(systemTime());
      } catch (const std::exception& error) {
        kLog.warning("housekeeping failed: {}", error.what());
      }
      lock.lock();
      wake_.wait_for(lock, kHousekeepingInterval, [&] { return stopped_; });
    }
  }

  std::mutex mutex_;
  std::condition_variable wake_;
  bool stopped_ = false;
  std::thread thread_;
};

// The language pairs that work offline, for the start-up log: "en→de (dictionary,
// sentences)".
std::string offlinePairs(const LookupEngine& engine) {
  std::string pairs;
  for (const Language& source : supportedLanguages()) {
    for (const Language& target : supportedLanguages()) {
      const bool words = engine.dictionaries().covers(source.code, target.code);
      const bool sentences = engine.translates(source.code, target.code);
      if (source.code == target.code || (!words && !sentences)) continue;
      if (!pairs.empty()) pairs += ", ";
      pairs += fmt::format("{}→{} ({})", source.code, target.code,
                           words && sentences ? "words, sentences"
                           : words            ? "words"
                                              : "sentences");
    }
  }
  return pairs;
}

// Loads the language engines, when the command wants them; nothing otherwise.
tl::expected<std::unique_ptr<LookupEngine>, std::string> startEngines(const ServeCommand& command) {
  if (!command.engines) return nullptr;
  const auto start = std::chrono::steady_clock::now();
  auto engine = LookupEngine::create(*command.engines);
  if (!engine) return tl::unexpected("cannot start the language engines: " + engine.error());
  kLog.notice("language engines ready in {} ms; offline pairs: {}",
              std::chrono::duration_cast<std::chrono::milliseconds>(
                  std::chrono::steady_clock::now() - start)
                  .count(),
              offlinePairs(**engine));
  return engine;
}

int serve(const CommandLine& line, const ServeCommand& command) {
  const auto startedAt = std::chrono::steady_clock::now();
  // SIGINT and SIGTERM are taken by one thread with sigwait: every thread started
  // from here on inherits the mask.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

  const bool postgres = !line.database.starts_with("sqlite:");
  const std::size_t connections =
      postgres ? std::min(command.http.workers + 1, kMaximumPostgresConnections)
               : command.http.workers + 1;
  std::unique_ptr<Store> store;
  try {
    store = open(line, connections);
  } catch (const StoreError& error) {
    return fail(error.what());
  }

  PasswordHasher hasher(command.passwordCost,
                        std::max<std::ptrdiff_t>(1, std::thread::hardware_concurrency()));
  ConsoleVerificationCodeSender sender;
  AccountService accounts(*store, hasher, sender, systemTime, {});
  MembershipService membership(*store, systemTime, command.freeTranslationsPerDay);

  // The port is taken before the engines load, so that a port in use is reported at
  // once; clients that connect meanwhile wait in the listening queue.
  HttpServer http(command.http);
  const auto port = http.bind();
  if (!port) {
    return fail(port.error() +
                "\nAnother trelvis-server, or another program, may hold the port: stop it, or "
                "pick a free port with --listen 127.0.0.1:PORT (port 0 picks one).");
  }
  auto engine = startEngines(command);
  if (!engine) return fail(engine.error());
  const PronunciationLinks links(store->serverKey("pronunciation-links", newSecretToken()),
                                 systemTime);
  addApiRoutes(http, accounts, membership);
  addTranslationRoutes(http, {accounts, membership, engine->get(), links});

  // The listening line goes to standard output too, where scripts and tests that
  // started the server read the port it took.
  fmt::print("trelvis-server listening on {}\n", http.baseUrl());
  std::fflush(stdout);
  kLog.notice("listening on {} with {} workers; database {}; started in {} ms", http.baseUrl(),
              command.http.workers, postgres ? "PostgreSQL" : line.database,
              std::chrono::duration_cast<std::chrono::milliseconds>(
                  std::chrono::steady_clock::now() - startedAt)
                  .count());

  std::thread signalWaiter([&http, stopSignals] {
    int signal = 0;
    sigwait(&stopSignals, &signal);
    kLog.notice("{} received: finishing the requests in flight", strsignal(signal));
    http.stop();
  });
  {
    const Housekeeping housekeeping(*store);
    http.run();
  }
  // When serving ended by itself, the waiter still waits: wake it.
  pthread_kill(signalWaiter.native_handle(), SIGTERM);
  signalWaiter.join();
  kLog.notice("stopped");
  return 0;
}

std::string date(const std::optional<Timestamp>& time) {
  return time ? formatIso8601(*time, false) : "-";
}

int administer(const CommandLine& line) {
  std::unique_ptr<Store> store;
  try {
    store = open(line, 1);
  } catch (const StoreError& error) {
    return fail(error.what());
  }
  return std::visit(
      [&](const auto& command) -> int {
        using Command = std::decay_t<decltype(command)>;
        if constexpr (std::is_same_v<Command, ListUsersCommand>) {
          fmt::print("{:<40} {:<5} {:<20} {:<20} {}\n", "EMAIL", "PLAN", "UNTIL", "CREATED", "ID");
          for (const UserRecord& user : store->listUsers()) {
            fmt::print("{:<40} {:<5} {:<20} {:<20} {}\n", user.email, toString(user.plan.code),
                       date(user.plan.proExpiresAt), date(user.createdAt), user.id);
          }
          return 0;
        } else if constexpr (std::is_same_v<Command, SetPlanCommand>) {
          const std::optional<UserRecord> user = store->findUserByEmail(command.email);
          if (!user) return fail("no account has the address " + command.email);
          PlanGrant grant{.code = command.plan};
          if (command.plan == PlanCode::pro) grant.proExpiresAt = command.until;
          if (command.plan == PlanCode::seed) grant.seedGrantedAt = systemTime();
          store->setPlan(user->id, grant);
          fmt::print("{} now has the {} plan{}\n", command.email, toString(command.plan),
                     command.until ? " until " + formatIso8601(*command.until, false) : "");
          return 0;
        } else if constexpr (std::is_same_v<Command, DeleteUserCommand>) {
          const std::optional<UserRecord> user = store->findUserByEmail(command.email);
          if (!user || !store->deleteUser(user->id)) {
            return fail("no account has the address " + command.email);
          }
          fmt::print("deleted the account of {}\n", command.email);
          return 0;
        } else if constexpr (std::is_same_v<Command, CheckCommand>) {
          const std::vector<std::string> problems = store->checkConsistency();
          for (const std::string& problem : problems) fmt::print("{}\n", problem);
          if (!problems.empty()) return 1;
          fmt::print("the database is consistent (schema version {})\n", store->schemaVersion());
          return 0;
        } else {
          return 0;
        }
      },
      line.command);
}

int run(int argc, char** argv) {
  // A client that hangs up, or a closed standard output, must not kill the server.
  std::signal(SIGPIPE, SIG_IGN);
  const auto line =
      parseCommandLine(std::vector<std::string>(argv + 1, argv + argc), processEnvironment());
  if (!line) {
    fmt::print(stderr, "trelvis-server: {}\n\n{}", line.error(), usageText());
    return 2;
  }
  if (std::holds_alternative<HelpCommand>(line->command)) {
    fmt::print("{}", usageText());
    return 0;
  }
  try {
    if (const auto* command = std::get_if<ServeCommand>(&line->command)) {
      return serve(*line, *command);
    }
    return administer(*line);
  } catch (const std::exception& error) {
    return fail(error.what());
  }
}

}  // namespace
}  // namespace trelvis::server

int main(int argc, char** argv) {
  return trelvis::server::run(argc, argv);
}
