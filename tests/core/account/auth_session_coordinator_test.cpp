#include "core/account/auth_session_coordinator.h"

#include <nlohmann/json.hpp>

#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "base/async/task.h"
#include "base/async/test_scheduler.h"
#include "core/account/auth_user_store.h"
#include "core/prefs/in_memory_preference_store.h"
#include "support/auth_printers.h"
#include "support/auth_session_rig.h"

namespace trelvis {
namespace {

using Kind = AuthSessionError::Kind;
using Json = nlohmann::json;

using testing::AuthSessionRig;
const std::string& kService = testing::kAuthService;
const AuthUser kAda{"u-1", "ada@example.com"};
const AuthUser kGrace{"u-2", "grace@example.com"};

std::string pairReply(const std::string& access, const std::string& refresh,
                      const std::optional<AuthUser>& user = std::nullopt) {
  Json reply{{"accessToken", access}, {"refreshToken", refresh}, {"expiresIn", 900}};
  if (user) reply["user"] = {{"id", user->id}, {"email", user->email}};
  return reply.dump();
}

AuthResult<std::optional<std::string>> token(std::optional<std::string> value) {
  return value;
}

AuthSessionSnapshot signedIn(std::optional<AuthUser> user) {
  return AuthSessionSnapshot::signedIn(std::move(user));
}

// Compares equal to any failed result with this error.
tl::unexpected<AuthSessionError> failed(AuthSessionError error) {
  return tl::unexpected(std::move(error));
}

// A session coordinator on virtual time, with the real auth HTTP client over a fake
// transport, an in-memory credential store and in-memory preferences. A watcher on
// the main executor collects every published snapshot.
struct Harness : AuthSessionRig {
  explicit Harness(const std::string& base = "https://api.test/trelvis/", bool watch = true)
      : AuthSessionRig(base) {
    if (!watch) return;
    watcher = spawn(main, [this, updates = session->sessionUpdates()]() mutable -> Async<void> {
      while (auto snapshot = co_await updates.next()) published.push_back(*snapshot);
    });
  }

  // Requests left waiting would keep their tasks, and through them the coordinator,
  // alive for ever.
  ~Harness() {
    for (auto& exchange : transport->exchanges()) {
      if (exchange->isPending()) exchange->fail(URLError(URLErrorCode::unknown, "test over"));
    }
    scheduler.runUntilIdle();
  }

  // Runs `op` on the coordinator from a task on the main executor.
  template <class F>
  auto start(F op) {
    using R = typename std::invoke_result_t<F&, AuthSessionCoordinator&>::value_type;
    return spawn(main, [session = session, op = std::move(op)]() -> Async<R> {
      co_return co_await op(*session);
    });
  }

  // Starts `op` and runs until nothing is left to do.
  template <class F>
  auto begin(F op) {
    auto task = start(std::move(op));
    scheduler.runUntilIdle();
    return task;
  }

  template <class F>
  auto run(F op) {
    auto task = begin(std::move(op));
    EXPECT_TRUE(task.isDone());
    return task;
  }

  // Answers `open`, or else the one request still waiting.
  FakeHttpTransport::Exchange& reply(int status, const std::string& body,
                                     FakeHttpTransport::Exchange* open = nullptr) {
    for (auto& exchange : transport->exchanges()) {
      if (!open && exchange->isPending()) open = exchange.get();
    }
    EXPECT_NE(open, nullptr) << "no request is waiting";
    open->respond(status);
    open->sendBody(body);
    open->finishBody();
    scheduler.runUntilIdle();
    return *open;
  }

  // The requests since the sign-in of signIn(), or all of them.
  std::vector<FakeHttpTransport::Exchange*> recent() const {
    std::vector<FakeHttpTransport::Exchange*> result;
    const auto& all = transport->exchanges();
    for (std::size_t i = signInRequests; i < all.size(); ++i) result.push_back(all[i].get());
    return result;
  }

  std::vector<std::string> paths() const {
    std::vector<std::string> result;
    for (auto* exchange : recent()) result.push_back(exchange->request().url.path());
    return result;
  }

  Json lastBody() const { return Json::parse(transport->exchanges().back()->body()); }

  std::optional<std::string> storedToken() const { return tokens->token(kService, "refreshToken"); }
  void storeToken(const std::string& token) { tokens->put(kService, "refreshToken", token); }

  // Signs in through a refresh of `token`, which the server answers with a1/r1.
  void signIn(const std::string& stored = "r0") {
    storeToken(stored);
    users->saveUser(kAda, kService);
    auto task = begin([](auto& s) { return s.getAccessToken(false); });
    reply(200, pairReply("a1", "r1", kAda));
    ASSERT_EQ(task.value(), token("a1"));
    signInRequests = transport->exchanges().size();
  }

  std::vector<AuthSessionSnapshot> published;
  Task<void> watcher;
  std::size_t signInRequests = 0;
};

TEST(AuthSessionCoordinatorTest, TenConcurrentForcedRefreshesMakeOnePostAndOneWrite) {
  Harness h;
  h.storeToken("r0");
  std::vector<Task<AuthResult<std::optional<std::string>>>> callers;
  for (int i = 0; i < 10; ++i)
    callers.push_back(h.start([](auto& s) { return s.getAccessToken(true); }));
  h.scheduler.runUntilIdle();

  ASSERT_EQ(h.recent().size(), 1u);
  const HttpRequest& refresh = h.transport->last().request();
  EXPECT_EQ(refresh.url.absoluteString(), "https://api.test/trelvis/v1/auth/refresh");
  EXPECT_EQ(h.lastBody(), (Json{{"refreshToken", "r0"}}));
  EXPECT_FALSE(refresh.headers.contains("Authorization"));

  h.reply(200, pairReply("a1", "r1", kAda));
  for (auto& caller : callers) {
    ASSERT_TRUE(caller.isDone());
    EXPECT_EQ(caller.value(), token("a1"));
  }
  EXPECT_EQ(h.tokens->counts().saves, 1);
  EXPECT_EQ(h.storedToken(), "r1");
  EXPECT_EQ(h.published, (std::vector{signedIn(kAda)}));

  // The token is held now: no more requests until the server refuses it.
  auto again = h.run([](auto& s) { return s.getAccessToken(false); });
  EXPECT_EQ(again.value(), token("a1"));
  EXPECT_EQ(h.recent().size(), 1u);
}

TEST(AuthSessionCoordinatorTest, LogoutDuringARefreshSignsOutAndTheRefreshIsDropped) {
  Harness h;
  h.signIn();
  auto refreshing = h.begin([](auto& s) { return s.getAccessToken(true); });
  ASSERT_EQ(h.paths(), (std::vector<std::string>{"/trelvis/v1/auth/refresh"}));

  auto logout = h.begin([](auto& s) { return s.logout(); });
  // Signed out here before the server has heard of it, and the refresh is gone.
  EXPECT_TRUE(h.recent()[0]->isCancelled());
  ASSERT_TRUE(refreshing.isDone());
  EXPECT_EQ(refreshing.value(), token(std::nullopt));
  EXPECT_EQ(h.storedToken(), std::nullopt);
  EXPECT_EQ(h.users->readUser(kService), std::nullopt);
  EXPECT_EQ(h.published.back(), AuthSessionSnapshot::signedOut());
  EXPECT_FALSE(logout.isDone());

  ASSERT_EQ(h.paths().size(), 2u);
  EXPECT_EQ(h.paths()[1], "/trelvis/v1/auth/logout");
  EXPECT_EQ(h.lastBody(), (Json{{"refreshToken", "r1"}}));
  h.reply(500, R"({"detail":"down"})");
  EXPECT_EQ(logout.value(), AuthSessionSnapshot::signedOut());

  auto later = h.run([](auto& s) { return s.getAccessToken(false); });
  EXPECT_EQ(later.value(), token(std::nullopt));
  EXPECT_EQ(h.recent().size(), 2u);
  EXPECT_EQ(h.tokens->counts().saves, 1);  // only the sign-in's
}

TEST(AuthSessionCoordinatorTest, ALoginDuringARefreshWinsAndTheStaleRefreshIsDiscarded) {
  Harness h;
  h.storeToken("r0");
  auto stale = h.begin([](auto& s) { return s.getAccessToken(true); });
  auto login = h.begin([](auto& s) { return s.login("grace@example.com", "password1"); });
  EXPECT_EQ(h.lastBody(), (Json{{"email", "grace@example.com"}, {"password", "password1"}}));
  // The login's save cancels the first refresh; a caller that comes right after
  // starts a second one before the first refresh's waiter has woken up.
  auto& loginExchange = h.transport->last();
  loginExchange.respond(200);
  loginExchange.sendBody(pairReply("a2", "r2", kGrace));
  loginExchange.finishBody();
  auto fresh = h.begin([](auto& s) { return s.getAccessToken(true); });
  EXPECT_EQ(login.value(), signedIn(kGrace));
  EXPECT_TRUE(h.recent()[0]->isCancelled());
  EXPECT_EQ(stale.value(), token("a2"));
  EXPECT_EQ(h.tokens->counts().saves, 1);
  EXPECT_EQ(h.published, (std::vector{signedIn(kGrace)}));
  ASSERT_EQ(h.paths(),
            (std::vector<std::string>{"/trelvis/v1/auth/refresh", "/trelvis/v1/auth/login",
                                      "/trelvis/v1/auth/refresh"}));
  EXPECT_EQ(h.lastBody(), (Json{{"refreshToken", "r2"}}));

  // A third caller still joins the running refresh.
  auto joiner = h.begin([](auto& s) { return s.getAccessToken(true); });
  EXPECT_EQ(h.recent().size(), 3u);
  h.reply(200, pairReply("a3", "r3", kGrace));
  EXPECT_EQ(fresh.value(), token("a3"));
  EXPECT_EQ(joiner.value(), token("a3"));
  EXPECT_EQ(h.storedToken(), "r3");
}

// A credential store that fails to save the new pair signs out too, unless it also
// fails to clear: then the old token stays, and the new access token is not used.
TEST(AuthSessionCoordinatorTest, ARefreshSignsOutOnlyWhenTheServerRejectsTheToken) {
  struct Case {
    int status;  // 0: the request fails in the transport
    std::string body;
    std::string failure;
    bool signsOut;
    bool saveFails = false;
    bool deleteFails = false;
  };
  const Case cases[] = {
      {400, R"({"detail":"refresh token malformed"})",
       "AuthSessionError.invalidRequest(refresh token malformed)", true},
      {401, "", "AuthSessionError.invalidCredentials", true},
      {500, R"({"detail":"database down"})", "AuthSessionError.server(database down)", false},
      {0, "", "AuthSessionError.network(The network connection was lost.)", false},
      {200, pairReply("a2", "r2", kAda), "AuthSessionError.keychain(locked)", true, true},
      {200, pairReply("a2", "r2", kAda), "AuthSessionError.keychain(locked)", false, true, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.failure + (c.signsOut ? ", signs out" : ", stays signed in"));
    Harness h;
    h.signIn();
    auto refreshing = h.begin([](auto& s) { return s.getAccessToken(true); });
    if (c.saveFails) h.tokens->failNextSave("locked");
    if (c.deleteFails) h.tokens->failNextDelete("still locked");
    if (c.status == 0) {
      h.transport->last().fail(
          URLError(URLErrorCode::networkConnectionLost, "The network connection was lost."));
      h.scheduler.runUntilIdle();
    } else {
      h.reply(c.status, c.body);
    }
    ASSERT_FALSE(refreshing.value().has_value());
    EXPECT_EQ(refreshing.value().error().what(), c.failure);

    if (c.signsOut) {
      EXPECT_EQ(h.storedToken(), std::nullopt);
      EXPECT_EQ(h.users->readUser(kService), std::nullopt);
      EXPECT_EQ(h.published, (std::vector{signedIn(kAda), AuthSessionSnapshot::signedOut()}));
      auto canAttempt = h.run([](auto& s) { return s.canAttemptAuthenticatedRequest(); });
      EXPECT_EQ(canAttempt.value(), false);
    } else {
      // Still signed in for a later try: only the access token is gone.
      EXPECT_EQ(h.storedToken(), "r1");
      EXPECT_EQ(h.users->readUser(kService), kAda);
      EXPECT_EQ(h.published, (std::vector{signedIn(kAda)}));
      auto retry = h.begin([](auto& s) { return s.getAccessToken(false); });
      ASSERT_EQ(h.recent().size(), 2u) << "the access token was kept";
      EXPECT_EQ(h.lastBody(), (Json{{"refreshToken", "r1"}}));
      h.reply(200, pairReply("a2", "r2"));
      EXPECT_EQ(retry.value(), token("a2"));
      EXPECT_EQ(h.published.back(), signedIn(kAda)) << "a pair without a user keeps the stored one";
    }
  }
}

TEST(AuthSessionCoordinatorTest, EndpointsLieUnderTheBasePathWithoutEmptySegmentsOrQuery) {
  struct Case {
    std::string base;
    std::string login;
  };
  const Case cases[] = {
      {"https://api.test/", "https://api.test/v1/auth/login"},
      {"https://api.test//a//b//", "https://api.test/a/b/v1/auth/login"},
      {"https://api.test/api?debug=1", "https://api.test/api/v1/auth/login"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.base);
    Harness h(c.base);
    auto login = h.begin([](auto& s) { return s.login("ada@example.com", "password1"); });
    ASSERT_EQ(h.recent().size(), 1u);
    EXPECT_EQ(h.transport->last().request().url.absoluteString(), c.login);
  }
  EXPECT_EQ(Harness("https://api.test/api//").session->baseURL().absoluteString(),
            "https://api.test/api");
}

TEST(AuthSessionCoordinatorTest, WhatIsStoredDecidesWithoutTheNetwork) {
  {
    SCOPED_TRACE("an empty stored token is no token");
    Harness h;
    h.storeToken("");
    h.users->saveUser(kAda, kService);
    auto answer = h.run([](auto& s) { return s.getAccessToken(true); });
    EXPECT_EQ(answer.value(), token(std::nullopt));
    EXPECT_EQ(h.users->readUser(kService), std::nullopt);
    EXPECT_EQ(h.published, (std::vector{AuthSessionSnapshot::signedOut()}));
    EXPECT_EQ(h.tokens->counts().deletes, 0) << "marking signed out leaves the store alone";
  }
  {
    SCOPED_TRACE("a stored token the server would reject");
    Harness h;
    h.storeToken("revoked");
    EXPECT_EQ(h.run([](auto& s) { return s.canAttemptAuthenticatedRequest(); }).value(), true);
    h.tokens->failNextRead("the keyring is locked");
    EXPECT_EQ(h.run([](auto& s) { return s.getAccessToken(false); }).value(),
              failed(AuthSessionError::keychain("the keyring is locked")));
    EXPECT_TRUE(h.recent().empty());
  }
  {
    SCOPED_TRACE("a held access token needs no store");
    Harness h;
    h.signIn();
    int reads = h.tokens->counts().reads;
    EXPECT_EQ(h.run([](auto& s) { return s.canAttemptAuthenticatedRequest(); }).value(), true);
    EXPECT_EQ(h.tokens->counts().reads, reads);
    Harness nothing;
    EXPECT_EQ(nothing.run([](auto& s) { return s.canAttemptAuthenticatedRequest(); }).value(),
              false);
  }
}

TEST(AuthSessionCoordinatorTest, RestoreSignsOutWithNothingStoredAndKeepsTheStoredUser) {
  Harness h;
  EXPECT_EQ(h.run([](auto& s) { return s.restore(); }).value(), AuthSessionSnapshot::signedOut());
  EXPECT_EQ(h.published, (std::vector{AuthSessionSnapshot::signedOut()}));

  h.storeToken("r0");
  h.users->saveUser(kAda, kService);
  auto restore = h.begin([](auto& s) { return s.restore(); });
  h.reply(200, pairReply("a1", "r1"));
  EXPECT_EQ(restore.value(), signedIn(kAda)) << "a pair without a user keeps the stored one";
  EXPECT_EQ(h.storedToken(), "r1");
}

TEST(AuthSessionCoordinatorTest, LoginSavesThePairAndAFailedLoginChangesNothing) {
  Harness h;
  auto login = h.begin([](auto& s) { return s.login("ada@example.com", "password1"); });
  h.reply(200, pairReply("a1", "r1"));
  EXPECT_EQ(login.value(), signedIn(std::nullopt)) << "a reply without a user still signs in";
  EXPECT_EQ(h.storedToken(), "r1");
  EXPECT_EQ(h.run([](auto& s) { return s.getAccessToken(false); }).value(), token("a1"));

  auto refused = h.begin([](auto& s) { return s.login("ada@example.com", "wrong-password"); });
  h.reply(401, R"({"detail":"invalid credentials"})");
  EXPECT_EQ(refused.value(), failed(AuthSessionError(Kind::invalidCredentials)));
  EXPECT_EQ(h.storedToken(), "r1");
  EXPECT_EQ(h.run([](auto& s) { return s.getAccessToken(false); }).value(), token("a1"));

  // A store failure on sign-in is reported; what was stored before stays.
  auto unsaved = h.begin([](auto& s) { return s.login("grace@example.com", "password2"); });
  h.tokens->failNextSave("no default keyring");
  h.reply(200, pairReply("a2", "r2", kGrace));
  EXPECT_EQ(unsaved.value(), failed(AuthSessionError::keychain("no default keyring")));
  EXPECT_EQ(h.storedToken(), "r1");
  EXPECT_EQ(h.tokens->counts().deletes, 0);
  EXPECT_EQ(h.published, (std::vector{signedIn(std::nullopt)}));
}

TEST(AuthSessionCoordinatorTest, ALoginReplyAfterALogoutIsDropped) {
  Harness h;
  auto login = h.begin([](auto& s) { return s.login("ada@example.com", "password1"); });
  auto logout = h.run([](auto& s) { return s.logout(); });
  EXPECT_EQ(logout.value(), AuthSessionSnapshot::signedOut());
  EXPECT_EQ(h.recent().size(), 1u) << "nothing stored, nothing to tell the server";

  h.reply(200, pairReply("a1", "r1", kAda));
  EXPECT_EQ(login.value(), AuthSessionSnapshot::signedOut());
  EXPECT_EQ(h.storedToken(), std::nullopt);
  EXPECT_EQ(h.tokens->counts().saves, 0);
}

TEST(AuthSessionCoordinatorTest, RegistrationCallsBackOnceBeforeItsTokensAreSaved) {
  Harness h;
  std::vector<int> savesAtCallback;
  h.session->onRegistrationAccepted = [&] {
    savesAtCallback.push_back(h.tokens->counts().saves);
  };

  auto taken =
      h.begin([](auto& s) { return s.registerAccount("ada@example.com", "pw", "123456"); });
  EXPECT_EQ(h.paths().back(), "/trelvis/v1/auth/register");
  EXPECT_EQ(h.lastBody(),
            (Json{{"email", "ada@example.com"}, {"password", "pw"}, {"code", "123456"}}));
  h.reply(409, "");
  EXPECT_EQ(taken.value(), failed(AuthSessionError(Kind::emailAlreadyRegistered)));
  EXPECT_TRUE(savesAtCallback.empty());

  auto accepted =
      h.begin([](auto& s) { return s.registerAccount("grace@example.com", "pw", "654321"); });
  h.reply(201, pairReply("a1", "r1", kGrace));
  EXPECT_EQ(accepted.value(), signedIn(kGrace));
  EXPECT_EQ(savesAtCallback, std::vector<int>{0});
  EXPECT_EQ(h.storedToken(), "r1");
}

TEST(AuthSessionCoordinatorTest, EmailCodesAndPasswordResetsSendTheirFieldsAndLeaveTheSession) {
  Harness h;
  h.signIn();

  auto code = h.begin([](auto& s) {
    return s.sendEmailCode("ada@example.com", EmailCodePurpose::passwordReset, "zh");
  });
  EXPECT_EQ(h.paths().back(), "/trelvis/v1/auth/email-codes");
  EXPECT_EQ(h.lastBody(),
            (Json{{"email", "ada@example.com"}, {"purpose", "password_reset"}, {"locale", "zh"}}));
  h.reply(202, R"({"cooldownSeconds":60})");
  EXPECT_EQ(code.value(), int64_t{60});

  auto reset =
      h.begin([](auto& s) { return s.resetPassword("ada@example.com", "123456", "new pw"); });
  EXPECT_EQ(h.paths().back(), "/trelvis/v1/auth/password/reset");
  EXPECT_EQ(h.lastBody(),
            (Json{{"email", "ada@example.com"}, {"code", "123456"}, {"newPassword", "new pw"}}));
  h.reply(204, "");
  EXPECT_TRUE(reset.value().has_value());

  EXPECT_EQ(h.published, (std::vector{signedIn(kAda)}));
  EXPECT_EQ(h.run([](auto& s) { return s.getAccessToken(false); }).value(), token("a1"));
}

TEST(AuthSessionCoordinatorTest, LogoutFailsWithoutChangesWhenTheStoreFails) {
  for (bool readFails : {true, false}) {
    SCOPED_TRACE(readFails ? "the read fails" : "the delete fails");
    Harness h;
    h.signIn();
    readFails ? h.tokens->failNextRead("locked") : h.tokens->failNextDelete("locked");
    EXPECT_EQ(h.run([](auto& s) { return s.logout(); }).value(),
              failed(AuthSessionError::keychain("locked")));
    EXPECT_EQ(h.users->readUser(kService), kAda);
    EXPECT_EQ(h.published, (std::vector{signedIn(kAda)}));
    EXPECT_TRUE(h.recent().empty()) << "the server is told only after a local sign-out";
    // After a failed read the access token stays; after a failed delete it is gone
    // all the same, and the next caller refreshes.
    auto next = h.begin([](auto& s) { return s.getAccessToken(false); });
    ASSERT_EQ(h.paths(), readFails ? std::vector<std::string>{}
                                   : std::vector<std::string>{"/trelvis/v1/auth/refresh"});
    if (readFails) EXPECT_EQ(next.value(), token("a1"));
  }
}

TEST(AuthSessionCoordinatorTest, ASlowConsumerOfSessionUpdatesSeesTheNewest) {
  Harness h("https://api.test", false);
  auto updates = h.session->sessionUpdates();
  h.storeToken("");
  // Three changes before anyone reads: signed out, signed in, signed in as another.
  auto changes = h.run([&](auto& s) -> Async<bool> {
    (void)co_await s.getAccessToken(false);
    h.transport->enqueueReply(200, pairReply("a1", "r1", kAda));
    h.transport->enqueueReply(200, pairReply("a2", "r2", kGrace));
    (void)co_await s.login("ada@example.com", "password1");
    (void)co_await s.login("grace@example.com", "password2");
    co_return true;
  });
  std::vector<AuthSessionSnapshot> seen;
  auto reader = spawn(h.main, [&]() -> Async<void> {
    if (auto snapshot = co_await updates.next()) seen.push_back(*snapshot);
  });
  h.scheduler.runUntilIdle();
  EXPECT_EQ(seen, (std::vector{signedIn(kGrace)}));
  EXPECT_EQ(h.transport->exchanges().size(), 2u);
}

}  // namespace
}  // namespace trelvis
