#pragma once

// MainWindowModel on virtual time for tests: the real session coordinator (auth
// client over a fake transport, in-memory credentials and preferences) and
// fakes of every other service, with helpers that answer its requests.

#include <nlohmann/json.hpp>

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/mainwindow/main_window_model.h"
#include "core/prefs/setup_completion_store.h"
#include "core/prefs/sign_in_history_store.h"
#include "support/auth_session_rig.h"
#include "support/fake_main_window_services.h"

namespace trelvis::testing {

inline const std::string& kService = kAuthService;
inline const AuthUser kAda{"u-1", "ada@example.com"};
inline const AuthUser kGrace{"u-2", "grace@example.com"};

inline std::string pairReply(const AuthUser& user) {
  return nlohmann::json{{"accessToken", "a-" + user.id},
              {"refreshToken", "r-" + user.id},
              {"expiresIn", 900},
              {"user", {{"id", user.id}, {"email", user.email}}}}
      .dump();
}

// The model over the real session coordinator (auth client over a fake
// transport, in-memory credentials and preferences) and fakes of the rest, on
// virtual time.
struct MainWindowModelHarness : AuthSessionRig {
  explicit MainWindowModelHarness(bool returningUser = false) {
    if (returningUser) history.markSignedIn();
    model = std::make_shared<MainWindowModel>(dependencies());
    model->onTranslationAvailabilityChanged = [this](bool available) {
      published.push_back(available);
    };
    model->onJourneyEvent = [this](const NewUserJourneyEvent& e) {
      journey.push_back(e);
    };
  }

  MainWindowModel::Dependencies dependencies() {
    MainWindowModel::Dependencies deps;
    deps.mainExecutor = main;
    deps.session = session;
    deps.signInHistory = &history;
    deps.setupCompletion = &setup;
    deps.networkObserver = network;
    deps.accountSummary = summary;
    deps.membership = membership;
    deps.homeActivity = activity;
    deps.review = review;
    deps.vocabulary = vocabulary;
    deps.tutorial = tutorial;
    deps.launchAtLogin = launchAtLogin;
    deps.shortcuts = shortcuts;
    deps.permissions = permissions;
    deps.appLanguage = [this] {
      return language;
    };
    deps.membershipPurchaseURL = [] {
      return std::string("https://example.com/en/pricing/");
    };
    deps.openMembershipPurchaseURL = [this](const std::string&) {
      return purchaseOpens;
    };
    return deps;
  }

  ~MainWindowModelHarness() {
    for (auto& exchange : transport->exchanges()) {
      if (exchange->isPending()) exchange->fail(URLError(URLErrorCode::unknown, "test over"));
    }
    model.reset();
    scheduler.runUntilIdle();
  }

  void storeSession(const AuthUser& user) {
    tokens->put(kService, "refreshToken", "r0");
    users->saveUser(user, kService);
  }

  void startSignedOut() {
    model->start();
    scheduler.runUntilIdle();
  }

  // Starts the model with the network up and the stored session, if any, confirmed.
  void startSignedIn(const AuthUser& user = kAda) {
    storeSession(user);
    model->start();
    network->report(true);
    scheduler.runUntilIdle();
    reply(200, pairReply(user));
    ASSERT_TRUE(model->session().isAuthenticated);
  }

  FakeHttpTransport::Exchange* pending() {
    for (auto& exchange : transport->exchanges()) {
      if (exchange->isPending()) return exchange.get();
    }
    return nullptr;
  }

  std::vector<std::string> pendingPaths() {
    std::vector<std::string> paths;
    for (auto& exchange : transport->exchanges()) {
      if (exchange->isPending()) paths.push_back(exchange->request().url.path());
    }
    return paths;
  }

  void reply(int status, const std::string& body) {
    auto* open = pending();
    ASSERT_NE(open, nullptr) << "no request is waiting";
    open->respond(status);
    open->sendBody(body);
    open->finishBody();
    scheduler.runUntilIdle();
  }

  void failNetwork() {
    auto* open = pending();
    ASSERT_NE(open, nullptr) << "no request is waiting";
    open->fail(URLError(URLErrorCode::notConnectedToInternet, "offline"));
    scheduler.runUntilIdle();
  }

  nlohmann::json lastBody() const { return nlohmann::json::parse(transport->exchanges().back()->body()); }

  void fill(AuthMode mode, std::string mail, std::string secret, std::string code = "") {
    model->switchAuthMode(mode);
    model->email = std::move(mail);
    model->password = std::move(secret);
    model->verificationCode = std::move(code);
  }

  SignInHistoryStore history{defaults};
  SetupCompletionStore setup{defaults};

  CallLog log;
  std::shared_ptr<FakeNetworkPathObserver> network = std::make_shared<FakeNetworkPathObserver>(log);
  std::shared_ptr<FakeAccountSummaryStore> summary = std::make_shared<FakeAccountSummaryStore>(log);
  std::shared_ptr<FakeMembershipStore> membership = std::make_shared<FakeMembershipStore>(log);
  std::shared_ptr<FakeHomeActivityStore> activity = std::make_shared<FakeHomeActivityStore>(log);
  std::shared_ptr<FakeReviewPage> review = std::make_shared<FakeReviewPage>(log);
  std::shared_ptr<FakeVocabularyPage> vocabulary = std::make_shared<FakeVocabularyPage>(log);
  std::shared_ptr<FakeTutorial> tutorial = std::make_shared<FakeTutorial>(log);
  std::shared_ptr<FakeLaunchAtLogin> launchAtLogin = std::make_shared<FakeLaunchAtLogin>(log);
  std::shared_ptr<FakeMainWindowShortcuts> shortcuts =
      std::make_shared<FakeMainWindowShortcuts>(log);
  std::shared_ptr<FakeSystemPermissions> permissions = std::make_shared<FakeSystemPermissions>(log);
  std::string language = "en";
  bool purchaseOpens = true;

  std::shared_ptr<MainWindowModel> model;
  std::vector<bool> published;
  std::vector<NewUserJourneyEvent> journey;
};

}  // namespace trelvis::testing
