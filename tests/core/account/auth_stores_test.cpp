#include <string>

#include <gtest/gtest.h>

#include "base/async/task.h"
#include "base/async/test_scheduler.h"
#include "core/account/auth_session_coordinator.h"
#include "core/account/auth_user_store.h"
#include "core/account/sign_in_history_migration.h"
#include "core/prefs/in_memory_preference_store.h"
#include "core/prefs/sign_in_history_store.h"
#include "support/auth_printers.h"
#include "support/fake_http_transport.h"
#include "support/in_memory_refresh_token_store.h"

namespace trelvis {
namespace {

const std::string kService = "me.mossgrove.trelvis.auth.refreshToken";

TEST(AuthStoresTest, TheUserIsKeptUnderTheServiceKeysAndNeedsBothParts) {
  InMemoryPreferenceStore defaults;
  PreferencesAuthUserStore users(defaults);
  users.saveUser({"u-1", "ada@example.com"}, kService);
  EXPECT_EQ(defaults.stringValue(kService + ".user.id"), "u-1");
  EXPECT_EQ(defaults.stringValue(kService + ".user.email"), "ada@example.com");
  EXPECT_EQ(users.readUser(kService), (AuthUser{"u-1", "ada@example.com"}));
  EXPECT_EQ(users.readUser("other.service"), std::nullopt);

  defaults.remove(kService + ".user.id");
  EXPECT_EQ(users.readUser(kService), std::nullopt) << "an email without an id";
  defaults.setString(kService + ".user.id", "");
  EXPECT_EQ(users.readUser(kService), std::nullopt) << "an empty id";
  defaults.setInteger(kService + ".user.id", 7);
  EXPECT_EQ(users.readUser(kService), std::nullopt) << "an id of the wrong type";

  users.deleteUser(kService);
  EXPECT_TRUE(defaults.snapshot().empty());
}

TEST(AuthStoresTest, TheServiceNameComesFromTheTrimmedIdentifier) {
  EXPECT_EQ(AuthSessionCoordinator::serviceName(std::nullopt), kService);
  EXPECT_EQ(AuthSessionCoordinator::serviceName(" \n"), kService);
  EXPECT_EQ(AuthSessionCoordinator::serviceName(" org.example.app\t"),
            "org.example.app.auth.refreshToken");
}

TEST(AuthStoresTest, AnEarlierInstallationSetsTheSignInMarkOnce) {
  struct Case {
    const char* name;
    bool marked;
    std::optional<std::string> storedToken;
    bool readFails;
    bool screenRecordingRequested;
    bool accessibilityRequested;
    bool expected;
    int expectedReads;
  };
  const Case cases[] = {
      {"a fresh machine", false, std::nullopt, false, false, false, false, 1},
      {"a stored refresh token", false, "r0", false, false, false, true, 1},
      {"an empty stored token", false, "", false, false, false, false, 1},
      {"a failing read counts as none", false, "r0", true, false, false, false, 1},
      {"screen recording was requested", false, std::nullopt, false, true, false, true, 1},
      {"accessibility was requested", false, std::nullopt, false, false, true, true, 1},
      {"already marked: nothing is read", true, std::nullopt, false, false, false, true, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TestScheduler scheduler;
    InMemoryPreferenceStore defaults;
    auto tokens = std::make_shared<InMemoryRefreshTokenStore>();
    auto session = std::make_shared<AuthSessionCoordinator>(
        scheduler.makeExecutor(), *Url::parse("https://api.test"),
        std::make_shared<TransportAuthHTTPClient>(std::make_shared<FakeHttpTransport>()), tokens,
        std::make_shared<PreferencesAuthUserStore>(defaults), kService);
    SignInHistoryStore history(defaults);
    if (c.marked) history.markSignedIn();
    if (c.storedToken) tokens->put(kService, "refreshToken", *c.storedToken);
    if (c.readFails) tokens->failNextRead("locked");
    defaults.setBool(SignInHistoryStore::kScreenRecordingRequestedKey, c.screenRecordingRequested);
    defaults.setBool(SignInHistoryStore::kAccessibilityRequestedKey, c.accessibilityRequested);

    auto migration = spawn(scheduler.makeExecutor(), [&]() -> Async<void> {
      co_await migrateSignInHistory(history, *session);
    });
    scheduler.runUntilIdle();
    ASSERT_TRUE(migration.isDone());
    EXPECT_EQ(history.hasSignedInOnThisMac(), c.expected);
    EXPECT_EQ(tokens->counts().reads, c.expectedReads);
  }
}

}  // namespace
}  // namespace trelvis
