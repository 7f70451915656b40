#include "core/mainwindow/main_window_model.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/async/task.h"
#include "base/async/test_scheduler.h"
#include "core/account/auth_http_client.h"
#include "core/account/auth_session_coordinator.h"
#include "core/account/auth_user_store.h"
#include "core/mainwindow/permission_setup_rows.h"
#include "core/prefs/in_memory_preference_store.h"
#include "core/prefs/setup_completion_store.h"
#include "core/prefs/sign_in_history_store.h"
#include "support/auth_printers.h"
#include "support/fake_http_transport.h"
#include "support/fake_main_window_services.h"
#include "support/main_window_model_harness.h"
#include "support/in_memory_refresh_token_store.h"

namespace trelvis {
namespace {

using Json = nlohmann::json;
using Kind = AuthSessionError::Kind;
using State = SystemPermissionState;
using namespace std::chrono_literals;

using testing::kAda;
using testing::kGrace;
using testing::kService;
using testing::pairReply;
using Harness = testing::MainWindowModelHarness;

std::optional<Kind> kindOf(const std::optional<AuthSessionError>& error) {
  return error ? std::optional(error->kind()) : std::nullopt;
}
std::optional<PermissionSetupNotice::Kind> kindOf(const std::optional<PermissionSetupNotice>& n) {
  return n ? std::optional(n->kind) : std::nullopt;
}

// --- Validation.

TEST(MainWindowModelTest, ValidationFollowsTheRulesOfEachField) {
  using E = AuthValidationError;
  struct EmailCase {
    const char* text;
    std::optional<E> error;
  };
  for (const auto& c : std::vector<EmailCase>{
           {"", E::emailRequired},
           {"ada@example.com", std::nullopt},
           {"a@b.c.d", std::nullopt},
           {"ada\u3000x@example.com", E::emailFormatInvalid},
           {"a@b@example.com", E::emailFormatInvalid},
           {"@example.com", E::emailFormatInvalid},
           {"ada@localhost", E::emailFormatInvalid},
           {"ada@example..com", E::emailFormatInvalid},
       }) {
    EXPECT_EQ(validateEmail(c.text), c.error) << c.text;
  }
  struct TextCase {
    std::string text;
    std::optional<E> error;
  };
  for (const auto& c : std::vector<TextCase>{
           {"", E::verificationCodeRequired},
           {"123456", std::nullopt},
           {"12345", E::verificationCodeFormat},
           {"1234567", E::verificationCodeFormat},
           {"12a456", E::verificationCodeFormat},
           {"\uff11\uff12\uff13\uff14\uff15\uff16", E::verificationCodeFormat},
       }) {
    EXPECT_EQ(validateVerificationCode(c.text), c.error) << c.text;
  }
  for (const auto& c : std::vector<TextCase>{
           {std::string(7, 'x'), E::passwordLength},
           {std::string(8, 'x'), std::nullopt},
           {std::string(8, ' '), std::nullopt},
           {std::string(128, 'x'), std::nullopt},
           {std::string(129, 'x'), E::passwordLength},
           // Seven characters of three bytes each: counted as characters.
           {"\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9", E::passwordLength},
           {"\u4f60\u597d\u4f60\u597d\u4f60\u597d\u4f60\u597d", std::nullopt},
       }) {
    EXPECT_EQ(validatePassword(c.text), c.error) << c.text;
  }
}

TEST(MainWindowModelTest, SubmissionValidatesEveryFieldAndSendsTrimmedValues) {
  Harness h;
  h.startSignedOut();

  // The password rule holds for login too; the code is not asked on login.
  h.fill(AuthMode::login, "ada@example.com", "short", "");
  h.model->submitAuth();
  EXPECT_EQ(h.model->passwordError(), AuthValidationError::passwordLength);
  EXPECT_EQ(h.model->verificationCodeError(), std::nullopt);
  EXPECT_FALSE(h.model->isSubmitting());
  EXPECT_EQ(h.pending(), nullptr);

  h.fill(AuthMode::registration, " \n ada@example.com\t", " secret pw ", " 123456 ");
  h.model->submitAuth();
  h.scheduler.runUntilIdle();
  EXPECT_TRUE(h.model->isSubmitting());
  EXPECT_EQ(h.lastBody(),
            (Json{{"email", "ada@example.com"}, {"password", " secret pw "}, {"code", "123456"}}));
}

// --- Verification codes.

TEST(MainWindowModelTest, TheCodeCooldownTicksEachSecondAndRestartsFromScratch) {
  Harness h;
  h.startSignedOut();
  h.fill(AuthMode::registration, "ada@example.com", "");
  h.language = "zh-Hans";

  h.model->sendVerificationCode();
  EXPECT_TRUE(h.model->isSendingCode());
  EXPECT_FALSE(h.model->canSendVerificationCode());
  h.scheduler.runUntilIdle();
  EXPECT_EQ(h.lastBody(),
            (Json{{"email", "ada@example.com"}, {"purpose", "register"}, {"locale", "zh"}}));
  // The window's test follows the first countdown to its end.
  h.reply(202, R"({"cooldownSeconds":3})");
  h.scheduler.advanceBy(3s);

  // A second countdown, interrupted by a change of mode, then a third: only one
  // timer ever runs.
  h.model->sendVerificationCode();
  h.scheduler.runUntilIdle();
  h.reply(202, R"({"cooldownSeconds":3})");
  h.scheduler.advanceBy(1500ms);
  EXPECT_EQ(h.model->codeCooldownRemaining(), 2);
  h.model->switchAuthMode(AuthMode::resetPassword);
  EXPECT_EQ(h.model->codeCooldownRemaining(), 0);
  h.language = "en";
  h.model->sendVerificationCode();
  h.scheduler.runUntilIdle();
  EXPECT_EQ(h.lastBody()["purpose"], "password_reset");
  EXPECT_EQ(h.lastBody()["locale"], "en");
  h.reply(202, R"({"cooldownSeconds":5})");
  h.scheduler.advanceBy(1s);
  EXPECT_EQ(h.model->codeCooldownRemaining(), 4);
  h.scheduler.advanceBy(1s);
  EXPECT_EQ(h.model->codeCooldownRemaining(), 3);
}

TEST(MainWindowModelTest, CodeRequestOutcomesLandWhereTheUserLooks) {
  struct Case {
    const char* name;
    int status;
    std::string body;
    int64_t cooldown;
    std::optional<Kind> codeError;
    std::optional<AuthEmailNotice> notice;
  };
  for (const auto& c : std::vector<Case>{
           {"zero cooldown", 202, R"({"cooldownSeconds":0})", 0, std::nullopt, std::nullopt},
           {"negative cooldown", 202, R"({"cooldownSeconds":-4})", 0, std::nullopt, std::nullopt},
           {"too many requests", 429, R"({"retryAfterSeconds":42})", 42, Kind::verificationCooldown,
            std::nullopt},
           {"already registered", 409, "", 0, std::nullopt, AuthEmailNotice::alreadyRegistered},
           {"not registered", 404, "", 0, std::nullopt, AuthEmailNotice::notRegistered},
           {"delivery failed", 503, "", 0, Kind::verificationDeliveryFailed, std::nullopt},
       }) {
    SCOPED_TRACE(c.name);
    Harness h;
    h.startSignedOut();
    h.fill(AuthMode::registration, "ada@example.com", "");
    h.model->sendVerificationCode();
    h.scheduler.runUntilIdle();
    h.reply(c.status, c.body);
    EXPECT_EQ(h.model->codeCooldownRemaining(), c.cooldown);
    EXPECT_EQ(h.model->canSendVerificationCode(), c.cooldown == 0);
    EXPECT_EQ(kindOf(h.model->codeRequestError()), c.codeError);
    EXPECT_EQ(h.model->emailNotice(), c.notice);
    EXPECT_FALSE(h.model->isSendingCode());
  }
}

TEST(MainWindowModelTest, AReplyToACodeRequestTheFormLeftIsDropped) {
  Harness h;
  h.startSignedOut();
  h.fill(AuthMode::registration, "not an address", "");
  h.model->sendVerificationCode();
  EXPECT_EQ(h.model->emailError(), AuthValidationError::emailFormatInvalid);
  EXPECT_FALSE(h.model->isSendingCode());

  h.model->email = "ada@example.com";
  h.model->sendVerificationCode();
  h.scheduler.runUntilIdle();
  h.model->switchAuthMode(AuthMode::resetPassword);
  EXPECT_FALSE(h.model->isSendingCode());
  h.reply(429, R"({"retryAfterSeconds":30})");
  EXPECT_EQ(h.model->codeCooldownRemaining(), 0);
  EXPECT_EQ(h.model->codeRequestError(), std::nullopt);
  EXPECT_TRUE(h.model->canSendVerificationCode());
  EXPECT_EQ(h.model->email, "ada@example.com");
}

// --- Submissions.

TEST(MainWindowModelTest, SubmitFailuresShowAsNoticesOnlyInTheirOwnMode) {
  using N = AuthEmailNotice;
  struct Case {
    AuthMode mode;
    int status;
    std::optional<Kind> submitError;
    std::optional<N> notice;
    std::optional<AuthValidationError> codeError;
  };
  for (const auto& c : std::vector<Case>{
           {AuthMode::login, 401, Kind::invalidCredentials, {}, {}},
           {AuthMode::login, 404, Kind::emailNotRegistered, {}, {}},
           {AuthMode::registration, 409, {}, N::alreadyRegistered, {}},
           {AuthMode::resetPassword, 404, {}, N::notRegistered, {}},
           {AuthMode::registration, 403, {}, {}, AuthValidationError::verificationCodeRejected},
       }) {
    SCOPED_TRACE(c.status);
    Harness h;
    h.startSignedOut();
    h.fill(c.mode, "ada@example.com", "password1", "123456");
    h.model->submitAuth();
    h.scheduler.runUntilIdle();
    h.reply(c.status, "");
    EXPECT_EQ(kindOf(h.model->submitError()), c.submitError);
    EXPECT_EQ(h.model->emailNotice(), c.notice);
    EXPECT_EQ(h.model->verificationCodeError(), c.codeError);
    EXPECT_FALSE(h.model->isSubmitting());
    EXPECT_EQ(h.model->authMode(), c.mode);
    EXPECT_FALSE(h.model->session().isAuthenticated);
  }
}

TEST(MainWindowModelTest, SuccessfulSubmissionsEndOnTheLoginForm) {
  {
    SCOPED_TRACE("a password reset signs nobody in");
    Harness h;
    h.startSignedOut();
    h.shortcuts->focused = true;
    h.fill(AuthMode::resetPassword, "ada@example.com", "new password", "123456");
    h.model->submitAuth();
    h.scheduler.runUntilIdle();
    h.reply(204, "");
    EXPECT_EQ(h.model->authMode(), AuthMode::login);
    EXPECT_EQ(h.model->focusRequest(), AuthFocusRequest::password);
    EXPECT_EQ(h.model->email, "ada@example.com");
    EXPECT_EQ(h.model->password, "");
    EXPECT_FALSE(h.shortcuts->focused);
    EXPECT_FALSE(h.model->session().isAuthenticated);
    EXPECT_FALSE(h.history.hasSignedInOnThisMac());
  }
  {
    SCOPED_TRACE("a registration signs in");
    Harness h;
    h.startSignedOut();
    h.model->authFormAppeared();
    h.model->authFormAppeared();
    h.shortcuts->focused = true;
    h.fill(AuthMode::registration, "ada@example.com", "password1", "123456");
    h.model->submitAuth();
    h.scheduler.runUntilIdle();
    h.reply(201, pairReply(kAda));
    EXPECT_EQ(h.model->session(), AuthSessionSnapshot::signedIn(kAda));
    EXPECT_EQ(h.model->authMode(), AuthMode::login);
    EXPECT_EQ(h.model->password, "");
    EXPECT_EQ(h.model->verificationCode, "");
    EXPECT_EQ(h.model->email, "ada@example.com");
    EXPECT_EQ(h.model->focusRequest(), std::nullopt);
    EXPECT_FALSE(h.shortcuts->focused);
    EXPECT_TRUE(h.history.hasSignedInOnThisMac());
    ASSERT_EQ(h.journey.size(), 2u);
    EXPECT_EQ(h.journey[0].kind, NewUserJourneyEvent::Kind::authShown);
    EXPECT_EQ(h.journey[0].authMode, AuthMode::registration);
    EXPECT_EQ(h.journey[1].kind, NewUserJourneyEvent::Kind::signedUp);
  }
}

TEST(MainWindowModelTest, TheTwoGuardsKeepSubmissionsCodeRequestsAndLogoutsApart) {
  Harness h;
  h.startSignedOut();
  h.fill(AuthMode::registration, "ada@example.com", "password1", "123456");
  h.model->sendVerificationCode();
  h.model->submitAuth();
  EXPECT_FALSE(h.model->isSubmitting()) << "a code request is running";
  h.scheduler.runUntilIdle();
  h.reply(202, R"({"cooldownSeconds":0})");

  h.model->submitAuth();
  h.scheduler.runUntilIdle();
  std::size_t requests = h.transport->exchanges().size();
  EXPECT_FALSE(h.model->canSendVerificationCode());
  h.model->logout();
  h.model->sendVerificationCode();
  h.scheduler.runUntilIdle();
  EXPECT_EQ(h.transport->exchanges().size(), requests) << "nothing starts during a submission";
  h.reply(201, pairReply(kAda));
  EXPECT_TRUE(h.model->session().isAuthenticated) << "the logout was ignored";
}

// --- Session changes.

// What every sign-out leaves behind, whatever caused it.
void expectSignedOutForm(Harness& h) {
  EXPECT_FALSE(h.model->session().isAuthenticated);
  EXPECT_EQ(h.model->authMode(), AuthMode::login);
  EXPECT_EQ(h.model->password, "");
  EXPECT_EQ(h.model->focusRequest(), AuthFocusRequest::password);
  EXPECT_FALSE(h.model->permissionGatePresented());
  EXPECT_EQ(h.model->permissionNotice(), std::nullopt);
  EXPECT_FALSE(h.model->translationAvailable());
  EXPECT_EQ(h.published.back(), false);
  auto calls = h.log.take();
  for (const char* expected : {"vocabulary reset", "review reset", "summary activate nobody",
                               "membership activate nobody", "activity activate nobody"}) {
    EXPECT_NE(std::find(calls.begin(), calls.end(), expected), calls.end()) << expected;
  }
}

TEST(MainWindowModelTest, ARefreshRejectionSignsOutLikeALogout) {
  for (bool byRejection : {false, true}) {
    SCOPED_TRACE(byRejection ? "refresh rejected" : "logout");
    Harness h;
    h.permissions->current = {State::allowed, State::notRequested};
    h.startSignedIn();
    h.model->switchAuthMode(AuthMode::registration);
    h.model->email = "ada@example.com";
    h.model->password = "typed";
    EXPECT_TRUE(h.model->permissionGatePresented());
    h.log.take();
    if (byRejection) {
      auto forced = spawn(h.main, [session = h.session]() -> Async<void> {
        (void)co_await session->getAccessToken(true);
      });
      h.scheduler.runUntilIdle();
      h.reply(401, "");
    } else {
      h.model->logout();
      h.scheduler.runUntilIdle();
      if (h.pending()) h.reply(204, "");
      EXPECT_FALSE(h.model->isSubmitting());
    }
    expectSignedOutForm(h);
  }
}

TEST(MainWindowModelTest, AnotherUserResetsThePagesAndTheSameUserDoesNot) {
  struct Case {
    AuthUser next;
    bool resets;
  };
  for (const auto& c : {Case{kGrace, true}, Case{kAda, false}}) {
    SCOPED_TRACE(c.next.id);
    Harness h;
    h.startSignedIn(kAda);
    h.log.take();
    h.fill(AuthMode::login, c.next.email, "password1");
    h.model->submitAuth();
    h.scheduler.runUntilIdle();
    h.reply(200, pairReply(c.next));
    auto calls = h.log.take();
    bool reset = std::find(calls.begin(), calls.end(), "review reset") != calls.end() &&
                 std::find(calls.begin(), calls.end(), "vocabulary reset") != calls.end();
    EXPECT_EQ(reset, c.resets);
    EXPECT_NE(std::find(calls.begin(), calls.end(), "summary activate " + c.next.id), calls.end());
    EXPECT_EQ(h.model->accountEmail(), c.next.email);
  }
}

// --- Recovery.

TEST(MainWindowModelTest, RecoveryRetriesWhileTheNetworkLastsAndResumesWhenItReturns) {
  Harness h;
  h.storeSession(kAda);
  h.model->start();
  EXPECT_TRUE(h.model->isRestoring());
  h.network->report(true);
  h.scheduler.runUntilIdle();
  EXPECT_EQ(h.pendingPaths(), std::vector<std::string>{"/trelvis/v1/auth/refresh"});

  h.failNetwork();
  EXPECT_TRUE(h.model->isSessionRecoveryPending());
  EXPECT_FALSE(h.model->isRestoring());
  EXPECT_EQ(h.model->connectionIssue(), ConnectionIssue::networkUnavailable);
  EXPECT_EQ(h.model->accountEmail(), kAda.email) << "the stored user shows meanwhile";

  // A server failure: the service, not the network, is at fault; retried every 5 s.
  h.scheduler.advanceBy(4900ms);
  EXPECT_EQ(h.pending(), nullptr);
  h.scheduler.advanceBy(100ms);
  h.reply(500, "");
  EXPECT_EQ(h.model->connectionIssue(), ConnectionIssue::serviceUnavailable);
  h.scheduler.advanceBy(5s);
  ASSERT_NE(h.pending(), nullptr);
  h.failNetwork();

  // The network goes: no timed retries at all.
  h.network->report(false);
  EXPECT_EQ(h.model->connectionIssue(), ConnectionIssue::networkUnavailable);
  std::size_t requests = h.transport->exchanges().size();
  h.scheduler.advanceBy(60s);
  EXPECT_EQ(h.transport->exchanges().size(), requests);

  // It returns: recovery starts at once.
  h.network->report(true);
  h.scheduler.runUntilIdle();
  EXPECT_EQ(h.pendingPaths(), std::vector<std::string>{"/trelvis/v1/auth/refresh"});
  h.reply(200, pairReply(kAda));
  EXPECT_EQ(h.model->session(), AuthSessionSnapshot::signedIn(kAda));
  EXPECT_FALSE(h.model->isSessionRecoveryPending());
  EXPECT_EQ(h.model->connectionIssue(), std::nullopt);
  EXPECT_EQ(h.model->cachedUser(), std::nullopt);
}

TEST(MainWindowModelTest, RecoveryWithTheNetworkDownWaitsForItsReturn) {
  Harness h;
  h.storeSession(kAda);
  h.model->start();
  h.network->report(false);
  h.scheduler.runUntilIdle();
  h.failNetwork();
  h.scheduler.advanceBy(30s);
  EXPECT_EQ(h.pending(), nullptr);
  h.network->report(true);
  h.scheduler.runUntilIdle();
  EXPECT_NE(h.pending(), nullptr);
}

TEST(MainWindowModelTest, ALostSessionOnRestoreSignsOutWithTheError) {
  Harness h(true);
  h.storeSession(kAda);
  h.model->start();
  h.network->report(true);
  h.scheduler.runUntilIdle();
  h.reply(401, "");
  EXPECT_FALSE(h.model->isSessionRecoveryPending());
  EXPECT_EQ(kindOf(h.model->submitError()), Kind::invalidCredentials);
  EXPECT_EQ(h.model->authMode(), AuthMode::login);
  h.scheduler.advanceBy(30s);
  EXPECT_EQ(h.pending(), nullptr) << "no retry of a rejected session";
}

// --- Pages.

TEST(MainWindowModelTest, LeavingAFinishedReviewDropsItAndComingBackPreparesANewOne) {
  Harness h;
  h.model->selectTab(MainTab::review);
  h.review->complete = true;
  h.model->selectTab(MainTab::review);
  h.model->selectTab(MainTab::vocabulary);
  h.model->selectTab(MainTab::vocabulary);
  h.model->selectTab(MainTab::review);
  EXPECT_EQ(h.model->selectedTab(), MainTab::review);
  EXPECT_EQ(h.log.take(), (std::vector<std::string>{"review prepare", "review end round",
                                                    "vocabulary prepare", "review prepare"}));

  struct Case {
    bool loaded;
    std::optional<int64_t> remaining, due, shown;
  };
  for (const auto& c : std::vector<Case>{{true, 3, 9, 3},
                                         {false, 3, 9, 9},
                                         {true, std::nullopt, 9, 9},
                                         {false, std::nullopt, std::nullopt, std::nullopt}}) {
    h.review->loaded = c.loaded;
    h.review->remaining = c.remaining;
    h.summary->due = c.due;
    EXPECT_EQ(h.model->reviewDisplayCount(), c.shown);
  }
}

TEST(MainWindowModelTest, RefreshesAndStopFollowTheSession) {
  Harness h;
  h.model->requestHomeSummaryRefresh();
  h.model->requestMembershipStatusRefresh();
  EXPECT_TRUE(h.log.take().empty()) << "nobody is signed in";

  h.startSignedIn();
  h.model->requestHomeSummaryRefresh();
  h.model->requestMembershipStatusRefresh();
  auto calls = h.log.take();
  EXPECT_EQ(std::vector<std::string>(calls.end() - 2, calls.end()),
            (std::vector<std::string>{"summary refresh", "membership refresh"}));

  h.model->stop();
  EXPECT_EQ(h.log.take(),
            (std::vector<std::string>{"network cancel", "summary activate nobody",
                                      "membership activate nobody", "shortcuts cancel recording",
                                      "vocabulary reset", "review reset"}));
  h.network->report(false);
  EXPECT_EQ(h.model->connectionIssue(), std::nullopt);
}

// --- Permissions and availability.

TEST(MainWindowModelTest, GrantingTheLastPermissionMakesTranslationAvailableOnce) {
  Harness h;
  std::vector<SystemPermissionKind> granted;
  h.model->onPermissionGranted = [&](SystemPermissionKind kind) {
    granted.push_back(kind);
  };
  h.permissions->current = {State::allowed, State::needsSettings};
  h.startSignedIn();
  EXPECT_TRUE(h.model->permissionGatePresented());
  EXPECT_EQ(h.published, std::vector<bool>{false});

  h.scheduler.advanceBy(7s);
  h.model->reportVisiblePermissionRows();
  h.scheduler.advanceBy(3s);
  h.permissions->grantAll();
  h.model->refreshSystemPermissions();
  h.model->refreshSystemPermissions();
  EXPECT_EQ(granted, std::vector{SystemPermissionKind::accessibility});
  EXPECT_FALSE(h.model->translationAvailable()) << "the start button lowers the gate";

  h.launchAtLogin->current = LaunchAtLoginStatus::off;
  h.model->startTranslating();
  h.model->startTranslating();
  h.scheduler.runUntilIdle();
  EXPECT_TRUE(h.model->translationAvailable());
  EXPECT_FALSE(h.model->permissionGatePresented());
  EXPECT_TRUE(h.setup.isCompleted());
  EXPECT_EQ(h.launchAtLogin->current, LaunchAtLoginStatus::on);
  h.model->refreshSystemPermissions();
  h.model->applySession(h.model->session());
  EXPECT_EQ(h.published, (std::vector<bool>{false, true}));

  std::vector<NewUserJourneyEvent::Kind> kinds;
  for (const auto& e : h.journey) kinds.push_back(e.kind);
  using K = NewUserJourneyEvent::Kind;
  EXPECT_EQ(kinds, (std::vector{K::permissionShown, K::permissionGranted, K::setupCompleted}));
  EXPECT_EQ(h.journey[1].secondsSinceShown, 3);
  EXPECT_EQ(h.journey[2].launchAtLogin, "on");

  // A permission lost later raises the gate again, and recovery brings the page.
  int recoveries = 0;
  h.model->onPermissionRecoveryRequested = [&] {
    ++recoveries;
  };
  h.model->requestPermissionRecoveryForUserAction();
  EXPECT_EQ(recoveries, 0);
  h.permissions->current.screenRecording = State::needsSettings;
  h.model->refreshSystemPermissions();
  EXPECT_TRUE(h.model->permissionGatePresented());
  h.model->requestPermissionRecoveryForUserAction();
  EXPECT_EQ(recoveries, 1);
  EXPECT_EQ(h.published, (std::vector<bool>{false, true, false}));
}

TEST(MainWindowModelTest, PermissionsGrantedBeforeSignInRaiseNoGate) {
  Harness h;
  h.permissions->grantAll();
  h.model->refreshSystemPermissions();
  EXPECT_EQ(h.model->permissionSnapshot(), SystemPermissionSnapshot{});
  h.startSignedIn();
  EXPECT_FALSE(h.model->permissionGatePresented());
  EXPECT_TRUE(h.model->translationAvailable());
  EXPECT_EQ(h.published, std::vector<bool>{true});
}

TEST(MainWindowModelTest, PermissionRowActionsFollowTheRowState) {
  using N = PermissionSetupNotice::Kind;
  const char* settings = "open settings screen recording";
  const auto none = std::nullopt;
  struct Case {
    const char* name;
    State screenRecording;
    bool relaunchSuggested, translocated, settingsOpen;
    const char* call;
    std::optional<N> notice;
    int guides;
  };
  for (const auto& c : std::vector<Case>{
           {"opens settings", State::needsSettings, false, false, true, settings, none, 1},
           {"settings fail", State::notRequested, false, false, false, settings,
            N::openSystemSettingsFailed, 0},
           {"restart suggested", State::needsSettings, true, false, true, "restart application",
            none, 0},
           {"allowed", State::allowed, true, false, true, nullptr, none, 0},
           {"translocated", State::needsSettings, false, true, true, nullptr, none, 0},
       }) {
    SCOPED_TRACE(c.name);
    Harness h;
    h.permissions->current = {c.screenRecording, State::needsSettings};
    h.permissions->settingsOpen = c.settingsOpen;
    h.startSignedIn();
    h.log.take();
    // The flag is fixed at creation; a new model takes it.
    if (c.translocated) {
      auto deps = h.dependencies();
      deps.isTranslocated = true;
      h.model = std::make_shared<MainWindowModel>(std::move(deps));
      h.model->applySession(AuthSessionSnapshot::signedIn(kAda));
      h.log.take();
    }
    int guides = 0;
    h.model->onPermissionGuideRequested = [&](SystemPermissionKind) {
      ++guides;
    };
    h.model->setScreenRecordingRelaunchSuggested(c.relaunchSuggested);
    h.model->performPermissionAction(SystemPermissionKind::screenRecording);
    EXPECT_EQ(h.log.take(), c.call ? std::vector<std::string>{c.call} : std::vector<std::string>{});
    EXPECT_EQ(kindOf(h.model->permissionNotice()), c.notice);
    EXPECT_EQ(guides, c.guides);
    EXPECT_EQ(permissionRows(*h.model)[0].actionsDisabled, c.translocated);
    if (c.translocated)
      EXPECT_EQ(permissionSetupHint(*h.model)->key, "permission.setup.translocated");
  }
}

TEST(MainWindowModelTest, TheSetupPageShowsEachRowAndTheHintByState) {
  using A = PermissionSetupAction;
  const auto none = std::nullopt;
  // Each row's status as the last part of its key; the hint's key, or "" for none.
  struct Case {
    const char* name;
    State screen, accessibility;
    bool relaunchSuggested, notice;
    const char *screenStatus, *accessibilityStatus;
    std::optional<A> screenAction, accessibilityAction;
    std::string_view hint;
  };
  for (const auto& c : std::vector<Case>{
           {"nothing asked", State::notRequested, State::notRequested, false, false, "notRequested",
            "notRequested", A::openSettings, A::openSettings, "permission.setup.hint.needBoth"},
           {"screen dropped in the list", State::needsSettings, State::allowed, true, false,
            "restartRequired", "allowed", A::restart, none, "permission.setup.hint.needOne"},
           {"a notice first", State::needsSettings, State::needsSettings, false, true, "notAllowed",
            "notAllowed", A::openSettings, A::openSettings,
            "error.permissionSetup.openSystemSettingsFailed"},
           {"all allowed", State::allowed, State::allowed, false, false, "allowed", "allowed", none,
            none, ""},
       }) {
    SCOPED_TRACE(c.name);
    Harness h;
    h.permissions->current = {c.screen, c.accessibility};
    h.permissions->settingsOpen = false;
    h.model->applySession(AuthSessionSnapshot::signedIn(kAda));
    h.model->setScreenRecordingRelaunchSuggested(c.relaunchSuggested);
    if (c.notice) h.model->performPermissionAction(SystemPermissionKind::accessibility);
    auto rows = permissionRows(*h.model);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].identifier, "permission-screen-recording");
    EXPECT_EQ(rows[0].statusKey, "permission.setup.status." + std::string(c.screenStatus));
    EXPECT_EQ(rows[1].statusKey, "permission.setup.status." + std::string(c.accessibilityStatus));
    EXPECT_EQ(rows[0].action, c.screenAction);
    EXPECT_EQ(rows[1].action, c.accessibilityAction);
    auto hint = permissionSetupHint(*h.model);
    EXPECT_EQ(hint ? hint->key : "", c.hint);
  }
}

TEST(MainWindowModelTest, TheStartButtonChecksTheSessionAndThePermissionsAgain) {
  using N = PermissionSetupNotice::Kind;
  struct Case {
    const char* name;
    std::optional<std::string> storedToken;
    bool storeFails;
    bool revokedMeanwhile;
    bool signedIn;
    bool gate;
    std::optional<N> notice;
  };
  for (const auto& c : std::vector<Case>{
           {"ready", "r0", false, false, true, false, std::nullopt},
           {"session gone", std::nullopt, false, false, false, false, std::nullopt},
           {"store locked", "r0", true, false, true, true, N::authentication},
           {"permission revoked", "r0", false, true, true, true, N::permissionNotEnabled},
       }) {
    SCOPED_TRACE(c.name);
    Harness h;
    if (c.storedToken) h.tokens->put(kService, "refreshToken", *c.storedToken);
    if (c.storeFails) h.tokens->failNextRead("locked");
    h.permissions->current = {State::allowed, State::needsSettings};
    h.model->applySession(AuthSessionSnapshot::signedIn(kAda));
    h.permissions->grantAll();
    h.model->refreshSystemPermissions();
    h.model->selectTab(MainTab::settings);
    h.model->startTranslating();
    if (c.revokedMeanwhile) h.permissions->current.accessibility = State::needsSettings;
    EXPECT_TRUE(h.model->isStartingTranslation());
    h.scheduler.runUntilIdle();
    EXPECT_FALSE(h.model->isStartingTranslation());
    EXPECT_EQ(h.model->session().isAuthenticated, c.signedIn);
    EXPECT_EQ(h.model->permissionGatePresented(), c.gate);
    EXPECT_EQ(kindOf(h.model->permissionNotice()), c.notice);
    EXPECT_EQ(h.model->translationAvailable(), c.signedIn && !c.gate);
    EXPECT_EQ(h.model->selectedTab(), c.signedIn && !c.gate ? MainTab::home : MainTab::settings);
  }
}

TEST(MainWindowModelTest, PollingFollowsTheGateAndSlowsWhileHidden) {
  Harness h;
  h.tokens->put(kService, "refreshToken", "r0");
  h.permissions->current = {State::allowed, State::needsSettings};
  h.model->applySession(AuthSessionSnapshot::signedIn(kAda));
  h.permissions->snapshots = 0;
  auto poll = spawn(h.main, h.model->pollSystemPermissionsWhileVisible());
  h.scheduler.runUntilIdle();
  h.scheduler.advanceBy(1s);
  EXPECT_EQ(h.permissions->snapshots, 3);
  h.model->setApplicationHidden(true);
  h.scheduler.advanceBy(500ms);  // the sleep begun while visible
  h.scheduler.advanceBy(4900ms);
  EXPECT_EQ(h.permissions->snapshots, 4);
  h.scheduler.advanceBy(100ms);
  EXPECT_EQ(h.permissions->snapshots, 5);

  h.model->setApplicationHidden(false);
  h.permissions->grantAll();
  h.scheduler.advanceBy(5s);
  EXPECT_FALSE(poll.isDone()) << "a granted permission leaves the gate to the start button";
  h.model->startTranslating();
  h.scheduler.advanceBy(1s);
  EXPECT_TRUE(poll.isDone());
}

}  // namespace
}  // namespace trelvis
