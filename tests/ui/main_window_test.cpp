// The main window over the real model and session coordinator (auth client over
// a scripted transport) on virtual time, with fakes of the model's other parts
// and the real membership store.

#include "ui/main_window.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <QComboBox>
#include <QDir>
#include <QImage>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>

#include <memory>
#include <string>

#include "base/async/test_scheduler.h"
#include "core/account/auth_http_client.h"
#include "core/account/auth_session_coordinator.h"
#include "core/account/auth_user_store.h"
#include "core/mainwindow/main_window_model.h"
#include "core/membership/membership_status_api_client.h"
#include "core/membership/membership_status_store.h"
#include "core/prefs/app_language_store.h"
#include "core/prefs/appearance_store.h"
#include "core/prefs/in_memory_preference_store.h"
#include "core/prefs/setup_completion_store.h"
#include "core/prefs/sign_in_history_store.h"
#include "core/prefs/target_language_store.h"
#include "support/fake_http_transport.h"
#include "support/fake_main_window_services.h"
#include "support/in_memory_refresh_token_store.h"
#include "support/main_window_model_harness.h"
#include "ui/localization.h"
#include "ui/qt_test_application.h"

namespace trelvis {
namespace {

using testing::QtTestApplication;
using State = SystemPermissionState;
using namespace std::chrono_literals;

using testing::kAda;
using testing::kService;
using testing::pairReply;

// The window is given statuses directly; it never asks for one.
class UnusedMembershipService final : public MembershipStatusServing {
 public:
  Async<MembershipStatus> fetch() override {
    throw MembershipStatusAPIError(MembershipStatusAPIError::unauthenticated());
    co_return MembershipStatus{};
  }
};

class MainWindowTest : public ::testing::Test, public testing::MainWindowModelHarness {
 protected:
  MainWindowTest() {
    window = std::make_unique<MainWindow>(
        *model, main, MainWindow::Stores{*membershipStatus, appearance, languages, target, localization});
    window->resize(860, 600);
    window->show();
  }

  ~MainWindowTest() override { window.reset(); }

  void start(bool signedIn) {
    if (signedIn) {
      tokens->put(kService, "refreshToken", "r0");
      users->saveUser(kAda, kService);
    }
    model->start();
    network->report(true);
    scheduler.runUntilIdle();
    if (signedIn) reply(200, pairReply(kAda));
    QtTestApplication::settle();
  }


  template <class T = QLabel>
  T* part(const char* identifier) {
    auto* found = window->findChild<T*>(QString::fromLatin1(identifier));
    EXPECT_NE(found, nullptr) << identifier;
    return found;
  }
  QString text(const char* identifier) { return part(identifier)->text(); }
  QString buttonText(const char* identifier) { return part<QPushButton>(identifier)->text(); }
  bool shows(const char* identifier) {
    return part<QWidget>(identifier)->isVisibleTo(window.get());
  }
  void click(const char* identifier) {
    part<QPushButton>(identifier)->click();
    scheduler.runUntilIdle();
  }
  // Types as a person would, key by key, so that the field reports its edits.
  void type(const char* identifier, const QString& typed) {
    auto* field = part<QLineEdit>(identifier);
    field->setFocus();
    for (const QChar character : typed) {
      QKeyEvent press(QEvent::KeyPress, 0, Qt::NoModifier, QString(character));
      QApplication::sendEvent(field, &press);
    }
  }
  QWidget* shownPage() {
    auto* root = window->findChildren<QStackedWidget*>().value(0);
    return root ? root->currentWidget() : nullptr;
  }

  void applyFreeStatus(int used, int limit) {
    membershipStatus->activate(kAda.id);
    auto status = decodeMembershipStatus(nlohmann::json{
        {"plan", {{"code", "free"}}},
        {"quota",
         {{"mode", "metered"},
          {"used", used},
          {"limit", limit},
          {"remaining", limit - used},
          {"periodStart", "2026-01-02T00:00:00Z"},
          {"resetAt", "2026-01-03T00:00:00Z"}}},
        {"entitlement", nlohmann::json::object()},
        {"serverTime",
         "2026-01-02T12:00:00Z"}}.dump());
    membershipStatus->apply(status, *membershipStatus->activeContext());
  }

  // Saves the window for a person to look at, in both appearances.
  void screenshot(const std::string& name) {
    const QString directory = QStringLiteral(TRELVIS_SCREENSHOT_DIR);
    ASSERT_TRUE(QDir().mkpath(directory));
    const AppearanceMode before = appearance.mode();
    for (const AppearanceMode mode : {AppearanceMode::light, AppearanceMode::dark}) {
      appearance.setMode(mode);
      QtTestApplication::settle();
      const QString file = directory + QStringLiteral("/main-window-") +
                           QString::fromStdString(name) + QStringLiteral("-") +
                           QString::fromLatin1(toString(mode).data()) + QStringLiteral(".png");
      ASSERT_TRUE(window->grab().toImage().save(file)) << file.toStdString();
    }
    appearance.setMode(before);
  }

  QApplication& app = QtTestApplication::instance();
  std::shared_ptr<MembershipStatusStore> membershipStatus =
      std::make_shared<MembershipStatusStore>(main, std::make_shared<UnusedMembershipService>());
  AppearanceStore appearance{defaults};
  AppLanguageStore languages{defaults};
  Localization localization{languages, QLocale(QLocale::English)};
  TargetLanguageStore target{defaults, [] { return std::vector<std::string>{"en-US"}; },
                             [] {
                               return false;
                             }};
  std::unique_ptr<MainWindow> window;
};

TEST_F(MainWindowTest, TheFormSwitchesModesAndShowsTheModelsErrors) {
  start(false);
  EXPECT_EQ(shownPage()->objectName(), "auth-page");
  // A new user starts at registration.
  EXPECT_EQ(text("auth-title"), "Create your Trelvis account");
  EXPECT_TRUE(shows("auth-code"));
  EXPECT_FALSE(shows("auth-email-message"));
  screenshot("sign-in-empty");

  click("auth-submit");
  EXPECT_EQ(text("auth-email-message"), "Enter your email address.");
  EXPECT_EQ(text("auth-code-message"), "Enter the code we sent to your email.");
  EXPECT_EQ(text("auth-password-message"), "Use 8 to 128 characters.");

  // What is typed reaches the model; editing the address clears its error.
  type("auth-email", "ada@example");
  EXPECT_EQ(model->email, "ada@example");
  type("auth-code", "12a");
  type("auth-password", "secret");
  click("auth-submit");
  EXPECT_EQ(text("auth-email-message"), "This email address does not look right.");
  EXPECT_EQ(text("auth-code-message"), "The code is 6 digits.");
  screenshot("sign-in-errors");
  type("auth-email", ".com");
  EXPECT_FALSE(shows("auth-email-message"));
  EXPECT_EQ(model->email, "ada@example.com");

  // Sign in: no code; the errors and the password go, the address stays.
  click("auth-switch-first");
  EXPECT_EQ(model->authMode(), AuthMode::login);
  EXPECT_EQ(text("auth-title"), "Sign in to Trelvis");
  EXPECT_FALSE(shows("auth-code"));
  EXPECT_FALSE(shows("auth-code-message"));
  EXPECT_EQ(part<QLineEdit>("auth-password")->text(), "");
  EXPECT_EQ(part<QLineEdit>("auth-email")->text(), "ada@example.com");
  EXPECT_EQ(buttonText("auth-switch-second"), "Forgot your password?");

  click("auth-switch-second");
  EXPECT_EQ(model->authMode(), AuthMode::resetPassword);
  EXPECT_EQ(text("auth-password-label"), "New password");
  EXPECT_TRUE(shows("auth-code"));
  EXPECT_FALSE(shows("auth-switch-second"));

  // A wrong password comes back as the form's failure; the button is busy meanwhile.
  click("auth-switch-first");
  type("auth-password", "correct horse");
  click("auth-submit");
  EXPECT_FALSE(part<QPushButton>("auth-submit")->isEnabled());
  EXPECT_EQ(buttonText("auth-submit"), "Please wait…");
  reply(401, R"({"error":"invalid_credentials"})");
  EXPECT_TRUE(part<QPushButton>("auth-submit")->isEnabled());
  EXPECT_EQ(buttonText("auth-submit"), "Sign in");
  EXPECT_EQ(text("auth-submit-message"), "The email or password is not right.");

  // The keyboard walks the form in reading order.
  click("auth-switch-second");
  window->activateWindow();
  ASSERT_TRUE(QtTestApplication::runUntil([&] { return window->isActiveWindow(); }));
  part<QLineEdit>("auth-email")->setFocus();
  std::vector<std::string> order;
  for (int i = 0; i < 6; ++i) {
    order.push_back(QApplication::focusWidget()->objectName().toStdString());
    QKeyEvent tab(QEvent::KeyPress, Qt::Key_Tab, Qt::NoModifier);
    QApplication::sendEvent(QApplication::focusWidget(), &tab);
  }
  EXPECT_EQ(order, (std::vector<std::string>{"auth-email", "auth-code", "auth-send-code",
                                             "auth-password", "auth-submit", "auth-switch-first"}));

  // Every control is named for assistive technology.
  for (auto* widget : shownPage()->findChildren<QWidget*>()) {
    if (qobject_cast<QLineEdit*>(widget) || qobject_cast<QPushButton*>(widget)) {
      EXPECT_FALSE(widget->accessibleName().isEmpty()) << widget->objectName().toStdString();
    }
  }
}

TEST_F(MainWindowTest, TheCodeButtonCountsDownAndIsEnglishOrChinese) {
  start(false);
  type("auth-email", "ada@example.com");
  click("auth-send-code");
  EXPECT_FALSE(part<QPushButton>("auth-send-code")->isEnabled());
  reply(202, R"({"cooldownSeconds":3})");
  std::vector<std::string> texts{buttonText("auth-send-code").toStdString()};
  for (int i = 0; i < 3; ++i) {
    scheduler.advanceBy(1s);
    texts.push_back(buttonText("auth-send-code").toStdString());
  }
  EXPECT_EQ(texts, (std::vector<std::string>{"Resend in 3 s", "Resend in 2 s", "Resend in 1 s",
                                             "Send code"}));
  EXPECT_TRUE(part<QPushButton>("auth-send-code")->isEnabled());

  // The language changes under a running countdown.
  click("auth-send-code");
  reply(202, R"({"cooldownSeconds":30})");
  languages.setPreference(AppLanguagePreference::simplifiedChinese);
  QtTestApplication::settle();
  EXPECT_EQ(buttonText("auth-send-code"), "30 秒后可重发");
  EXPECT_EQ(text("auth-title"), "创建 Trelvis 账号");
  click("auth-submit");
  EXPECT_EQ(text("auth-code-message"), "请输入发送到邮箱的验证码。");
  screenshot("sign-in-chinese");
}

// A stored session shows as on its way back, not as a sign-in form, until it
// is confirmed; without a network it waits with a way to try again.
TEST_F(MainWindowTest, AStoredSessionWaitsForTheNetworkInsteadOfAskingToSignIn) {
  permissions->grantAll();
  setup.markCompleted();
  tokens->put(kService, "refreshToken", "r0");
  users->saveUser(kAda, kService);
  model->start();
  network->report(true);
  scheduler.runUntilIdle();
  EXPECT_EQ(shownPage()->objectName(), "session-page");
  EXPECT_EQ(text("session-status"), "Signing you in…");
  EXPECT_FALSE(shows("session-retry"));

  for (auto& exchange : transport->exchanges()) {
    if (exchange->isPending()) exchange->fail(URLError(URLErrorCode::notConnectedToInternet, "x"));
  }
  scheduler.runUntilIdle();
  EXPECT_EQ(shownPage()->objectName(), "session-page");
  EXPECT_EQ(text("session-status"),
            "You are offline. Trelvis signs you back in when the network returns.");
  EXPECT_EQ(text("session-account"), "Signed in as ada@example.com");
  screenshot("offline");
  click("session-retry");
  reply(200, pairReply(kAda));
  EXPECT_EQ(shownPage()->objectName(), "signed-in-pages");
}

TEST_F(MainWindowTest, ThePermissionPageStartsTranslatingOnceBothAreAllowed) {
  permissions->current = {State::allowed, State::needsSettings};
  start(true);
  EXPECT_EQ(shownPage()->objectName(), "permission-page");
  EXPECT_FALSE(part<QPushButton>("permission-start")->isEnabled());
  EXPECT_EQ(text("permission-setup-hint"), "One more to go before Trelvis can translate.");
  EXPECT_FALSE(part<QPushButton>("permission-screen-recording-action")->isEnabled())
      << "an allowed permission has nothing to do";
  EXPECT_TRUE(part<QPushButton>("permission-accessibility-action")->isEnabled());
  screenshot("permissions");

  // The page looks again by itself while it shows.
  permissions->grantAll();
  scheduler.advanceBy(1s);
  EXPECT_TRUE(part<QPushButton>("permission-start")->isEnabled());
  click("permission-start");
  QtTestApplication::settle();
  EXPECT_EQ(shownPage()->objectName(), "signed-in-pages");
  EXPECT_TRUE(shows("home-page"));
}

TEST_F(MainWindowTest, TheHomePageShowsTheQuotaAndTheSidebarItsPages) {
  permissions->grantAll();
  setup.markCompleted();
  start(true);
  EXPECT_TRUE(shows("home-page"));
  EXPECT_EQ(text("home-account"), "Signed in as ada@example.com");
  EXPECT_EQ(text("home-plan"), "Loading your plan…");
  EXPECT_FALSE(shows("home-quota-meter"));

  applyFreeStatus(37, 50);
  EXPECT_EQ(text("home-plan"), "Plan: Free");
  EXPECT_EQ(text("home-used"), "37");
  EXPECT_EQ(text("home-limit"), "50");
  auto* meter = part<QProgressBar>("home-quota-meter");
  EXPECT_TRUE(shows("home-quota-meter"));
  EXPECT_EQ(meter->maximum(), 50);
  EXPECT_EQ(meter->value(), 37);
  EXPECT_EQ(text("home-quota-text"), "37 of 50 free translations used");
  screenshot("home");

  struct Case {
    const char* tab;
    MainTab selected;
    const char* page;
  };
  for (const Case& c : {Case{"tab-vocabulary", MainTab::vocabulary, "vocabulary-page"},
                        Case{"tab-review", MainTab::review, "review-page"},
                        Case{"tab-settings", MainTab::settings, "settings-page"},
                        Case{"tab-home", MainTab::home, "home-page"}}) {
    SCOPED_TRACE(c.tab);
    click(c.tab);
    EXPECT_EQ(model->selectedTab(), c.selected);
    EXPECT_TRUE(shows(c.page));
    EXPECT_TRUE(part<QPushButton>(c.tab)->isChecked());
    if (c.selected == MainTab::vocabulary || c.selected == MainTab::review) {
      auto* heading = window->findChild<QWidget*>(QString::fromLatin1(c.page))
                          ->findChild<QLabel*>(QStringLiteral("coming-soon-heading"));
      ASSERT_NE(heading, nullptr);
      EXPECT_EQ(heading->text(), "Coming soon");
    }
  }
  click("tab-review");
  screenshot("coming-soon");

  click("home-sign-out");
  reply(204, "");
  QtTestApplication::settle();
  EXPECT_EQ(shownPage()->objectName(), "auth-page");
  EXPECT_EQ(text("auth-title"), "Sign in to Trelvis");
}

// The settings page writes the stores, follows their changes from elsewhere, and
// the whole window retranslates when the application's language changes.
TEST_F(MainWindowTest, TheSettingsPageWritesTheStoresAndRetranslatesTheWindow) {
  permissions->grantAll();
  setup.markCompleted();
  start(true);
  click("tab-settings");
  auto* targetBox = part<QComboBox>("settings-target-language");
  auto* appearanceBox = part<QComboBox>("settings-appearance");
  auto* languageBox = part<QComboBox>("settings-app-language");
  EXPECT_EQ(targetBox->currentText(), "English") << "from the preferred languages";
  EXPECT_EQ(targetBox->count(), 8);

  Q_EMIT targetBox->activated(targetBox->findText(QStringLiteral("日本語")));
  EXPECT_EQ(target.code(), "ja");
  target.setCode("de");
  EXPECT_EQ(targetBox->currentText(), "Deutsch");

  Q_EMIT appearanceBox->activated(1);
  EXPECT_EQ(appearance.mode(), AppearanceMode::dark);
  appearance.setMode(AppearanceMode::light);
  EXPECT_EQ(appearanceBox->currentIndex(), 0);
  screenshot("settings");

  Q_EMIT languageBox->activated(2);
  QtTestApplication::settle();
  EXPECT_EQ(languages.preference(), AppLanguagePreference::simplifiedChinese);
  EXPECT_EQ(buttonText("tab-home"), "首页");
  EXPECT_EQ(text("settings-appearance-label"), "外观");
  EXPECT_EQ(appearanceBox->itemText(1), "深色");
  EXPECT_EQ(languageBox->currentIndex(), 2);
  screenshot("settings-chinese");
  click("tab-home");
  applyFreeStatus(3, 50);
  EXPECT_EQ(text("home-quota-text"), "已使用 3 / 50 次免费翻译");
  screenshot("home-chinese");
}

}  // namespace
}  // namespace trelvis
