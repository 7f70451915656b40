// The one suite both store implementations must pass: SQLite in a temporary file
// and PostgreSQL in a private cluster. Concurrency cases run threads on two store
// objects over one database, as two server processes would.

#include "server/store/open_store.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <thread>

#include <gtest/gtest.h>

#include "server/store/sql_store.h"
#include "support/postgres_test_cluster.h"
#include "support/temp_directory.h"
#include "support/trelvis_server_process.h"

namespace trelvis::server {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Outcome = RotationResult::Outcome;

struct Backend {
  std::string name;
  std::function<std::string(const fs::path& directory)> location;
};

void PrintTo(const Backend& backend, std::ostream* out) {
  *out << backend.name;
}

const Backend kSqlite{"SQLite", [](const fs::path& directory) {
                        return "sqlite:" + (directory / "store.sqlite3").string();
                      }};
const Backend kPostgres{"PostgreSQL", [](const fs::path&) {
                          return PostgresTestCluster::shared().createDatabase();
                        }};

const Timestamp kNow = Timestamp(std::chrono::milliseconds(1'780'000'000'000));

UserRecord user(const std::string& email, const std::string& id) {
  return UserRecord{id, email, "$argon2id$hash-of-" + id, {}, kNow};
}

// Token digests named after `tag`, so that a test can tell them apart.
IssuedTokens tokens(const std::string& tag, Timestamp now = kNow) {
  return IssuedTokens{"refresh-" + tag, now + std::chrono::days(30), "access-" + tag,
                      now + std::chrono::minutes(15)};
}

class StoreTest : public ::testing::TestWithParam<Backend> {
 protected:
  std::unique_ptr<Store> another() { return openStore(location_, 8); }

  // An account "ann" with one session whose tokens are tagged "ann1".
  void addAnnWithSession() {
    ASSERT_TRUE(store_->insertUser(user("ann@example.com", "ann")));
    store_->createSession("family-ann", "ann", tokens("ann1"), kNow);
  }

  bool accessWorks(const std::string& tag, Timestamp now = kNow) {
    return store_->userForAccessToken("access-" + tag, now).has_value();
  }

  trelvis::testing::TempDirectory temp_;
  fs::path directory_ = temp_.path();
  std::string location_ = GetParam().location(directory_);
  std::unique_ptr<Store> store_ = openStore(location_, 8);
};

// A SQLite database of its own, for the checks that reach into its file.
struct SqliteFile {
  trelvis::testing::TempDirectory temp;
  fs::path path = temp.path() / "store.sqlite3";
  std::string location = "sqlite:" + path.string();
};

TEST_P(StoreTest, KeepsAccountsByNormalisedEmailAndDeletesThemWithEverythingTheyOwn) {
  addAnnWithSession();
  EXPECT_FALSE(store_->insertUser(user("ann@example.com", "other"))) << "email is unique";
  ASSERT_TRUE(store_->insertUser(user("bob@example.com", "bob")));
  EXPECT_EQ(store_->findUserByEmail("ann@example.com"), user("ann@example.com", "ann"));
  EXPECT_EQ(store_->findUserById("bob")->email, "bob@example.com");
  EXPECT_FALSE(store_->findUserByEmail("Ann@example.com")) << "the local part keeps its case";

  const PlanGrant pro{PlanCode::pro, kNow + std::chrono::days(30), std::nullopt};
  ASSERT_TRUE(store_->setPlan("ann", pro));
  EXPECT_EQ(store_->findUserById("ann")->plan, pro);
  EXPECT_FALSE(store_->setPlan("nobody", pro));
  ASSERT_EQ(store_->listUsers().size(), 2u);

  store_->chargeTranslation("ann", kNow, std::nullopt);
  store_->saveEmailCode("ann@example.com", EmailCodePurpose::passwordReset, "code", kNow + 10min);
  ASSERT_TRUE(store_->deleteUser("ann"));
  EXPECT_FALSE(store_->findUserByEmail("ann@example.com"));
  EXPECT_FALSE(accessWorks("ann1"));
  EXPECT_EQ(store_->translationCount("ann"), 0);
  EXPECT_FALSE(
      store_->countEmailCodeAttempt("ann@example.com", EmailCodePurpose::passwordReset, 5, kNow));
  EXPECT_FALSE(store_->deleteUser("ann"));
  EXPECT_TRUE(store_->checkConsistency().empty());
}

TEST_P(StoreTest, RotatesRefreshTokensAndRevokesTheFamilyOnReuse) {
  addAnnWithSession();
  EXPECT_TRUE(accessWorks("ann1"));
  EXPECT_FALSE(accessWorks("ann1", kNow + 15min)) << "access tokens expire";

  const RotationResult first = store_->rotateRefreshToken("refresh-ann1", tokens("ann2"), kNow);
  EXPECT_EQ(first.outcome, Outcome::rotated);
  EXPECT_EQ(first.userId, "ann");
  EXPECT_EQ(store_->rotateRefreshToken("refresh-ann2", tokens("ann3"), kNow).outcome,
            Outcome::rotated);
  EXPECT_TRUE(accessWorks("ann3"));

  // The spent first token comes back: the whole family goes, newest pair included.
  EXPECT_EQ(store_->rotateRefreshToken("refresh-ann1", tokens("x"), kNow).outcome, Outcome::reused);
  EXPECT_FALSE(accessWorks("ann3"));
  EXPECT_FALSE(accessWorks("x"));
  EXPECT_EQ(store_->rotateRefreshToken("refresh-ann3", tokens("y"), kNow).outcome,
            Outcome::invalid);
  EXPECT_EQ(store_->rotateRefreshToken("refresh-unknown", tokens("z"), kNow).outcome,
            Outcome::invalid);

  store_->createSession("family-2", "ann", tokens("s2"), kNow);
  EXPECT_EQ(
      store_->rotateRefreshToken("refresh-s2", tokens("s3"), kNow + std::chrono::days(30)).outcome,
      Outcome::invalid)
      << "refresh tokens expire";
  EXPECT_TRUE(store_->checkConsistency().empty());
}

TEST_P(StoreTest, LogoutRevokesOneFamilyAndResetRevokesEveryFamilyOfTheAccount) {
  addAnnWithSession();
  ASSERT_TRUE(store_->insertUser(user("bob@example.com", "bob")));
  store_->createSession("family-ann-2", "ann", tokens("ann-phone"), kNow);
  store_->createSession("family-bob", "bob", tokens("bob1"), kNow);

  EXPECT_TRUE(store_->revokeSession("refresh-ann-phone", kNow));
  EXPECT_FALSE(accessWorks("ann-phone"));
  EXPECT_TRUE(accessWorks("ann1"));
  EXPECT_FALSE(store_->revokeSession("refresh-unknown", kNow));

  ASSERT_TRUE(store_->resetPassword("ann", "$argon2id$new", kNow));
  EXPECT_EQ(store_->findUserById("ann")->passwordHash, "$argon2id$new");
  EXPECT_FALSE(accessWorks("ann1"));
  EXPECT_EQ(store_->rotateRefreshToken("refresh-ann1", tokens("n"), kNow).outcome,
            Outcome::invalid);
  EXPECT_TRUE(accessWorks("bob1")) << "other accounts keep their sessions";
}

TEST_P(StoreTest, ConcurrentRotationsOfOneTokenHaveExactlyOneWinner) {
  addAnnWithSession();
  std::unique_ptr<Store> otherProcess = another();
  constexpr int kThreads = 8;
  std::atomic<int> rotated = 0;
  std::atomic<int> reused = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      Store& store = i % 2 ? *otherProcess : *store_;
      const Outcome outcome =
          store.rotateRefreshToken("refresh-ann1", tokens("t" + std::to_string(i)), kNow).outcome;
      (outcome == Outcome::rotated ? rotated : reused) += outcome == Outcome::invalid ? 0 : 1;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(rotated.load(), 1);
  EXPECT_EQ(reused.load(), kThreads - 1);
  for (int i = 0; i < kThreads; ++i) EXPECT_FALSE(accessWorks("t" + std::to_string(i)));
  EXPECT_TRUE(store_->checkConsistency().empty());
}

TEST_P(StoreTest, EmailCodesCountAttemptsBeforeComparingAndExpire) {
  const std::string email = "ann@example.com";
  const auto purpose = EmailCodePurpose::registration;
  store_->saveEmailCode(email, purpose, "digest-1", kNow + 10min);
  for (int attempt = 1; attempt <= 5; ++attempt) {
    EXPECT_EQ(store_->countEmailCodeAttempt(email, purpose, 5, kNow), "digest-1") << attempt;
  }
  EXPECT_FALSE(store_->countEmailCodeAttempt(email, purpose, 5, kNow)) << "locked after 5";
  EXPECT_FALSE(store_->countEmailCodeAttempt(email, EmailCodePurpose::passwordReset, 5, kNow));

  store_->saveEmailCode(email, purpose, "digest-2", kNow + 10min);
  EXPECT_EQ(store_->countEmailCodeAttempt(email, purpose, 5, kNow), "digest-2") << "fresh count";
  EXPECT_FALSE(store_->countEmailCodeAttempt(email, purpose, 5, kNow + 10min)) << "expired";
  EXPECT_FALSE(store_->consumeEmailCode(email, purpose, "digest-1"));
  EXPECT_TRUE(store_->consumeEmailCode(email, purpose, "digest-2"));
  EXPECT_FALSE(store_->consumeEmailCode(email, purpose, "digest-2")) << "consumed once";
}

TEST_P(StoreTest, RateLimitsCountAllRulesOrNone) {
  const RateLimitRule cooldown{"cooldown", 60s, 1};
  const RateLimitRule hourly{"hourly", 3600s, 2};
  struct Step {
    std::chrono::milliseconds at;
    std::vector<RateLimitRule> rules;
    bool allowed;
    std::chrono::seconds retryAfter;
  };
  const Step steps[] = {
      {0ms, {cooldown, hourly}, true, 0s},
      {1500ms, {cooldown, hourly}, false, 59s},  // 58.5 s left, rounded up
      {1500ms, {hourly}, true, 0s},              // the refusal above counted nothing
      {60s, {cooldown, hourly}, false, 3540s},   // hourly is full now: cooldown not spent
      {61s, {cooldown}, true, 0s},
      {3600s, {cooldown, hourly}, true, 0s},  // both windows reopened
  };
  for (const Step& step : steps) {
    const RateLimitDecision peeked = store_->peekRateLimits(step.rules, kNow + step.at);
    const RateLimitDecision decision = store_->consumeRateLimits(step.rules, kNow + step.at);
    EXPECT_EQ(decision.allowed, step.allowed) << step.at.count();
    EXPECT_EQ(decision.retryAfter, step.retryAfter) << step.at.count();
    EXPECT_EQ(peeked.allowed, step.allowed) << "peeking agrees and counts nothing";
  }
}

TEST_P(StoreTest, TheLedgerChargesAQuotaExactlyOnceAcrossProcesses) {
  ASSERT_TRUE(store_->insertUser(user("ann@example.com", "ann")));
  std::unique_ptr<Store> otherProcess = another();
  constexpr int kLimit = 20;
  std::atomic<int> charged = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 6; ++i) {
    threads.emplace_back([&, i] {
      Store& store = i % 2 ? *otherProcess : *store_;
      for (int n = 0; n < 10; ++n) charged += store.chargeTranslation("ann", kNow, kLimit).charged;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(charged.load(), kLimit);
  const TranslationCharge refused = store_->chargeTranslation("ann", kNow, kLimit);
  EXPECT_FALSE(refused.charged);
  EXPECT_EQ(refused.used, kLimit);
  EXPECT_EQ(store_->translationsInPeriod("ann", kNow), kLimit);

  const Timestamp tomorrow = kNow + std::chrono::days(1);
  EXPECT_EQ(store_->chargeTranslation("ann", tomorrow, kLimit).used, 1) << "a new period";
  EXPECT_TRUE(store_->chargeTranslation("ann", tomorrow, std::nullopt).charged);
  EXPECT_EQ(store_->translationCount("ann"), kLimit + 2);
  EXPECT_FALSE(store_->chargeTranslation("ann", tomorrow, 0).charged);

  // A refund frees a charge of its own period only, and the last one with its row.
  store_->refundTranslation("ann", kNow);
  EXPECT_EQ(store_->translationsInPeriod("ann", kNow), kLimit - 1);
  EXPECT_TRUE(store_->chargeTranslation("ann", kNow, kLimit).charged);
  for (int i = 0; i < 3; ++i) store_->refundTranslation("ann", tomorrow);
  EXPECT_EQ(store_->translationsInPeriod("ann", tomorrow), 0);
  EXPECT_EQ(store_->translationCount("ann"), kLimit);
  EXPECT_TRUE(store_->checkConsistency().empty());
}

TEST_P(StoreTest, AServerKeyIsTheFirstCandidateForEveryProcess) {
  std::unique_ptr<Store> otherProcess = another();
  EXPECT_EQ(store_->serverKey("links", "first"), "first");
  EXPECT_EQ(otherProcess->serverKey("links", "second"), "first");
  EXPECT_EQ(otherProcess->serverKey("other", "second"), "second");
}

TEST_P(StoreTest, PurgesWhatHasExpiredAndKeepsLiveSessions) {
  addAnnWithSession();
  store_->createSession("family-old", "ann", tokens("old", kNow - std::chrono::days(31)), kNow);
  store_->saveEmailCode("ann@example.com", EmailCodePurpose::registration, "d", kNow + 10min);
  store_->consumeRateLimits({{"k", 60s, 1}}, kNow);

  store_->purgeExpired(kNow + 11min);
  EXPECT_FALSE(
      store_->countEmailCodeAttempt("ann@example.com", EmailCodePurpose::registration, 5, kNow));
  EXPECT_TRUE(store_->consumeRateLimits({{"k", 60s, 1}}, kNow).allowed) << "window purged";
  EXPECT_EQ(store_->rotateRefreshToken("refresh-ann1", tokens("ann2"), kNow + 11min).outcome,
            Outcome::rotated);
  EXPECT_FALSE(store_->revokeSession("refresh-old", kNow)) << "the expired family is gone";
  EXPECT_TRUE(store_->checkConsistency().empty());
}

TEST_P(StoreTest, MigratesOnceAndRefusesADatabaseFromTheFuture) {
  addAnnWithSession();
  store_.reset();
  store_ = openStore(location_, 8);
  EXPECT_EQ(store_->schemaVersion(), SqlStore::latestSchemaVersion());
  EXPECT_TRUE(store_->findUserById("ann")) << "reopening keeps the data";

  if (GetParam().name == kSqlite.name) {
    EXPECT_EQ(fs::status(directory_ / "store.sqlite3").permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write);
    // A newer server ran on this database: this one must not touch it.
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open((directory_ / "store.sqlite3").c_str(), &db), SQLITE_OK);
    sqlite3_exec(db, "INSERT INTO schema_migrations VALUES (99, 0)", nullptr, nullptr, nullptr);
    sqlite3_close(db);
    EXPECT_THROW(openStore(location_, 1), StoreError);
  }
}

// The consistency check must see what a torn write or a bug would leave behind.
TEST(SqliteStoreTest, ConsistencyCheckReportsBrokenInvariants) {
  const SqliteFile file;
  std::unique_ptr<Store> store = openStore(file.location, 2);
  ASSERT_TRUE(store->insertUser(user("ann@example.com", "ann")));
  store->createSession("family-ann", "ann", tokens("ann1"), kNow);
  ASSERT_TRUE(store->checkConsistency().empty());

  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(file.path.c_str(), &db), SQLITE_OK);
  sqlite3_exec(db,
               "INSERT INTO refresh_tokens VALUES ('second', 'family-ann', 0, 9999999999999, NULL);"
               "INSERT INTO access_tokens VALUES ('orphan', 'no-such-family', 9999999999999);",
               nullptr, nullptr, nullptr);
  sqlite3_close(db);
  const std::vector<std::string> problems = store->checkConsistency();
  EXPECT_EQ(problems.size(), 3u) << ::testing::PrintToString(problems);
}

// The admin commands are other processes that write and close the database while
// the server runs; the server must see each of their commits, also after opening
// more connections (as its pool does under load).
TEST(SqliteStoreTest, SeesEveryCommitOfAnAdminCommand) {
  const SqliteFile file;
  std::unique_ptr<Store> store = openStore(file.location, 2);
  ASSERT_TRUE(store->insertUser(user("ann@example.com", "ann")));
  const std::unique_ptr<Store> later = openStore(file.location, 2);
  for (const PlanCode plan : {PlanCode::pro, PlanCode::seed, PlanCode::free}) {
    const std::string name(toString(plan));
    std::vector<std::string> arguments{
        "user",       "set-plan",    "ann@example.com", name,
        "--database", file.location, "--data-dir",      file.temp.path().string()};
    if (plan == PlanCode::pro) arguments.insert(arguments.end(), {"--until", "2999-12-31"});
    const CommandResult admin = runTrelvisServer(arguments);
    ASSERT_EQ(admin.exitStatus, 0) << admin.standardError;
    for (Store* reader : {store.get(), later.get()}) {
      EXPECT_EQ(reader->findUserById("ann")->plan.code, plan) << name;
    }
    store->consumeRateLimits({{"write", 60s, 100}}, kNow);
  }
}

INSTANTIATE_TEST_SUITE_P(Backends, StoreTest, ::testing::Values(kSqlite, kPostgres),
                         [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace trelvis::server
