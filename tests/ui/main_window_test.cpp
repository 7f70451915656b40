// The main window over the real model and session coordinator (auth client over
// a scripted transport) on virtual time, with fakes of the model's other parts,
// the real membership store, and the real shortcut controller reading the
// window's keys through the application's event filter.

#include "ui/main_window.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QImage>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollArea>
#include <QStackedWidget>
#include <QTest>

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
#include "core/prefs/english_pronunciation_store.h"
#include "core/prefs/in_memory_preference_store.h"
#include "core/prefs/pronunciation_settings_store.h"
#include "core/prefs/secondary_target_language_store.h"
#include "core/prefs/setup_completion_store.h"
#include "core/prefs/sign_in_history_store.h"
#include "core/prefs/target_language_store.h"
#include "core/triggers/shortcut_controller.h"
#include "support/command_tap_monitors.h"
#include "support/fake_command_event_tap.h"
#include "support/fake_hot_key_registrar.h"
#include "support/fake_http_transport.h"
#include "support/fake_input_environment.h"
#include "support/fake_main_window_services.h"
#include "support/in_memory_refresh_token_store.h"
#include "support/main_window_model_harness.h"
#include "ui/localization.h"
#include "ui/qt_local_event_monitor.h"
#include "ui/qt_test_application.h"

namespace trelvis {
namespace {

using testing::QtTestApplication;
using State = SystemPermissionState;
using namespace std::chrono_literals;

using testing::kAda;
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
    shortcuts = std::make_shared<ShortcutController>(
        main, bindings, testing::commandTapMonitorsOver(accessibility, tap, scheduler),
        ShortcutController::Platform{accessibility, hotKeys, keys, pointer, frontmost, scheduler,
                                     [] {
                                       return false;
                                     }});
    shortcuts->start();
    window = std::make_unique<MainWindow>(
        *model, main,
        MainWindow::Stores{*membershipStatus, appearance, languages, target, localization,
                           secondaryTarget, accent, pronunciation, *launchAtLogin, *shortcuts});
    window->resize(860, 600);
    window->show();
  }

  ~MainWindowTest() override {
    window.reset();
    shortcuts->stop();
  }

  void start(bool signedIn) {
    if (signedIn) {
      startSignedIn();
    } else {
      model->start();
      network->report(true);
      scheduler.runUntilIdle();
    }
    QtTestApplication::settle();
  }
  // Signed in, with both permissions and the first setup done: the signed-in pages.
  void startReady() {
    permissions->grantAll();
    setup.markCompleted();
    start(true);
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

  // A key with modifiers, pressed and released at the window as the keyboard would.
  void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
    QTest::keyClick(window->windowHandle(), key, modifiers);
    scheduler.runUntilIdle();
  }

  void scrollTo(const char* identifier) {
    part<QScrollArea>("settings-page")->ensureWidgetVisible(part<QWidget>(identifier));
    QtTestApplication::settle();
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
  SecondaryTargetLanguageStore secondaryTarget{defaults};
  EnglishPronunciationStore accent{defaults};
  PronunciationSettingsStore pronunciation{defaults};
  ShortcutBindingStore bindings{defaults};
  FakeAccessibilityPermission accessibility;
  FakeCommandEventTap tap;
  FakeHotKeyRegistrar hotKeys;
  QtLocalEventMonitor keys;
  FakePointerLocator pointer;
  FakeFrontmostApplication frontmost;
  std::shared_ptr<ShortcutController> shortcuts;
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
  EXPECT_TRUE(shows("auth-code-message"));
  EXPECT_TRUE(shows("auth-password-message"));

  // What is typed reaches the model; editing the address clears its error.
  type("auth-email", "ada@example");
  EXPECT_EQ(model->email, "ada@example");
  type("auth-code", "12a");
  type("auth-password", "secret");
  click("auth-submit");
  EXPECT_EQ(text("auth-email-message"), "This email address does not look right.");
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
  EXPECT_EQ(buttonText("auth-send-code"), "Resend in 3 s");
  scheduler.advanceBy(1s);
  EXPECT_EQ(buttonText("auth-send-code"), "Resend in 2 s");
  scheduler.advanceBy(2s);
  EXPECT_EQ(buttonText("auth-send-code"), "Send code");
  EXPECT_TRUE(part<QPushButton>("auth-send-code")->isEnabled());

  // The language changes under a running countdown.
  click("auth-send-code");
  reply(202, R"({"cooldownSeconds":30})");
  languages.setPreference(AppLanguagePreference::simplifiedChinese);
  QtTestApplication::settle();
  EXPECT_EQ(buttonText("auth-send-code"), "30 秒后可重发");
  EXPECT_EQ(text("auth-title"), "创建 Trelvis 账号");
  screenshot("sign-in-chinese");
}

// A stored session shows as on its way back, not as a sign-in form, until it
// is confirmed; without a network it waits with a way to try again.
TEST_F(MainWindowTest, AStoredSessionWaitsForTheNetworkInsteadOfAskingToSignIn) {
  permissions->grantAll();
  setup.markCompleted();
  storeSession(kAda);
  model->start();
  network->report(true);
  scheduler.runUntilIdle();
  EXPECT_EQ(shownPage()->objectName(), "session-page");
  EXPECT_EQ(text("session-status"), "Signing you in…");
  EXPECT_FALSE(shows("session-retry"));

  failNetwork();
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
  startReady();
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
  EXPECT_FALSE(shows("connection-banner"));
  screenshot("home");
  network->report(false);
  QtTestApplication::settle();
  EXPECT_TRUE(shows("home-page")) << "a lost connection keeps the user signed in";
  EXPECT_EQ(text("connection-banner"),
            "You are offline. Translation resumes when the network returns.");
  screenshot("home-offline");
  network->report(true);
  scheduler.runUntilIdle();
  reply(200, pairReply(kAda));  // the session is confirmed again
  QtTestApplication::settle();
  EXPECT_FALSE(shows("connection-banner"));

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
  startReady();
  click("tab-settings");
  auto* targetBox = part<QComboBox>("settings-target-language");
  auto* appearanceBox = part<QComboBox>("settings-appearance");
  auto* languageBox = part<QComboBox>("settings-app-language");
  EXPECT_EQ(targetBox->currentText(), "English") << "from the preferred languages";

  Q_EMIT targetBox->activated(targetBox->findText(QStringLiteral("日本語")));
  EXPECT_EQ(target.code(), "ja");
  target.setCode("de");
  EXPECT_EQ(targetBox->currentText(), "Deutsch");

  // The second language may be none; the accent and autoplay write their stores.
  auto* secondaryBox = part<QComboBox>("settings-secondary-language");
  EXPECT_EQ(secondaryBox->currentText(), "None");
  Q_EMIT secondaryBox->activated(secondaryBox->findText(QStringLiteral("Español")));
  EXPECT_EQ(secondaryTarget.code(), "es");
  Q_EMIT secondaryBox->activated(0);
  EXPECT_EQ(secondaryTarget.code(), std::nullopt);
  secondaryTarget.save("ko");
  EXPECT_EQ(secondaryBox->currentText(), "한국어");
  auto* accentBox = part<QComboBox>("settings-english-accent");
  EXPECT_EQ(accentBox->currentText(), "American");
  Q_EMIT accentBox->activated(accentBox->findText(QStringLiteral("British")));
  EXPECT_EQ(accent.accent(), EnglishPronunciationAccent::british);
  auto* autoplay = part<QCheckBox>("settings-autoplay");
  EXPECT_FALSE(autoplay->isChecked());
  autoplay->click();
  EXPECT_TRUE(pronunciation.autoplayEnabled());
  pronunciation.setAutoplayEnabled(false);
  EXPECT_FALSE(autoplay->isChecked());

  // The keyboard reaches every control in reading order, each named for
  // assistive technology.
  window->activateWindow();
  ASSERT_TRUE(QtTestApplication::runUntil([&] { return window->isActiveWindow(); }));
  targetBox->setFocus();
  std::vector<std::string> order;
  for (int i = 0; i < 12; ++i) {
    QWidget* focused = QApplication::focusWidget();
    order.push_back(focused->objectName().toStdString());
    EXPECT_FALSE(focused->accessibleName().isEmpty()) << order.back();
    QTest::keyClick(focused, Qt::Key_Tab);
  }
  EXPECT_EQ(order,
            (std::vector<std::string>{
                "settings-target-language", "settings-secondary-language", "settings-appearance",
                "settings-app-language", "settings-english-accent", "settings-autoplay",
                "settings-launch-at-login", "settings-shortcut-lookup-record",
                "settings-shortcut-region-record", "settings-shortcut-select-record",
                "settings-shortcut-input-record", "settings-membership-purchase"}));

  Q_EMIT appearanceBox->activated(1);
  EXPECT_EQ(appearance.mode(), AppearanceMode::dark);
  appearance.setMode(AppearanceMode::light);
  EXPECT_EQ(appearanceBox->currentIndex(), 0);
  scrollTo("settings-title");
  screenshot("settings");
  scrollTo("settings-membership");
  screenshot("settings-lower");

  Q_EMIT languageBox->activated(2);
  QtTestApplication::settle();
  EXPECT_EQ(languages.preference(), AppLanguagePreference::simplifiedChinese);
  // Retranslated, each box keeps its choice.
  EXPECT_EQ(buttonText("tab-home"), "首页");
  EXPECT_EQ(languageBox->currentIndex(), 2);
  EXPECT_EQ(accentBox->currentText(), "英式");
  scrollTo("settings-title");
  screenshot("settings-chinese");
  scrollTo("settings-membership");
  screenshot("settings-lower-chinese");
  click("tab-home");
  applyFreeStatus(3, 50);
  EXPECT_EQ(text("home-quota-text"), "已使用 3 / 50 次免费翻译");
  screenshot("home-chinese");
}

// The switch follows the service's status after each click; one that cannot
// work is disabled with its reason.
TEST_F(MainWindowTest, TheLaunchAtLoginSwitchFollowsTheServicesStatus) {
  startReady();
  launchAtLogin->current = LaunchAtLoginStatus::on;  // changed while the page was away
  click("tab-settings");
  auto* launch = part<QCheckBox>("settings-launch-at-login");
  EXPECT_TRUE(launch->isChecked());
  EXPECT_FALSE(shows("settings-launch-at-login-note"));

  struct Case {
    bool enableFails;
    const char* call;
    bool checked;
  } cases[] = {
      {false, "launch at login disable", false},
      {false, "launch at login enable", true},
      {false, "launch at login disable", false},
      {true, "launch at login enable", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.call);
    launchAtLogin->enableFails = c.enableFails;
    log.take();
    launch->click();
    EXPECT_EQ(log.take(), std::vector<std::string>{c.call});
    EXPECT_EQ(launch->isChecked(), c.checked);
  }

  // Each showing of the page reads the status again.
  launchAtLogin->current = LaunchAtLoginStatus::unavailable;
  click("tab-home");
  log.take();
  click("tab-settings");
  EXPECT_EQ(log.take(), std::vector<std::string>{"launch at login refresh"});
  EXPECT_FALSE(launch->isEnabled());
  EXPECT_FALSE(launch->isChecked());
  EXPECT_TRUE(shows("settings-launch-at-login-note"));
  EXPECT_EQ(launch->accessibleDescription(), text("settings-launch-at-login-note"));
}

// Record, then a key combination at the window: the controller's answer shows in
// the row and a new binding reaches the store. Escape and a second click cancel.
TEST_F(MainWindowTest, TheRecorderTakesTheNextKeysAtTheWindow) {
  startReady();
  click("tab-settings");
  EXPECT_EQ(text("settings-shortcut-select-binding"), "⌥S");
  EXPECT_EQ(text("settings-shortcut-lookup-binding"), "Alt");

  constexpr uint32_t kControlOption = 0x1000 | 0x800;
  constexpr uint16_t kT = 17;
  struct Case {
    const char* row;
    Qt::Key key;
    Qt::KeyboardModifiers modifiers;
    bool takenByOthers;
    const char* binding;  // shown afterwards
    const char* message;  // shown afterwards, or "" for none
  } cases[] = {
      {"select", Qt::Key_T, Qt::ControlModifier | Qt::AltModifier, true, "⌥S",
       "Another application already uses this shortcut."},
      {"select", Qt::Key_T, Qt::ControlModifier | Qt::AltModifier, false, "⌥⌃T", ""},
      {"input", Qt::Key_Escape, Qt::NoModifier, false, "⌥I", ""},
      {"select", Qt::Key_Delete, Qt::NoModifier, false, "⌥S", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.row) + " " + c.binding);
    const std::string row = std::string("settings-shortcut-") + c.row;
    hotKeys.takenByOthers.clear();
    if (c.takenByOthers) hotKeys.takenByOthers.insert({kT, kControlOption});
    click((row + "-record").c_str());
    EXPECT_TRUE(shortcuts->isRecording());
    EXPECT_EQ(text((row + "-binding").c_str()), "Listening…");
    EXPECT_EQ(buttonText((row + "-record").c_str()), "Cancel");
    EXPECT_FALSE(part<QPushButton>("settings-shortcut-lookup-record")->isEnabled())
        << "one recording at a time";
    press(c.key, c.modifiers);
    EXPECT_FALSE(shortcuts->isRecording());
    EXPECT_EQ(text((row + "-binding").c_str()), c.binding);
    EXPECT_EQ(buttonText((row + "-record").c_str()), "Record");
    EXPECT_EQ(shows((row + "-message").c_str()), *c.message != 0);
    if (*c.message) EXPECT_EQ(text((row + "-message").c_str()), c.message);
    EXPECT_TRUE(part<QPushButton>("settings-shortcut-lookup-record")->isEnabled());
  }
  EXPECT_EQ(bindings.binding(ShortcutActionId::selectTranslate),
            ShortcutBindingStore::defaultBinding(ShortcutActionId::selectTranslate))
      << "Delete restored the default";

  // A second click, or leaving the page, ends a recording; the keys go back to the window.
  click("settings-shortcut-input-record");
  scrollTo("settings-membership");
  screenshot("settings-recording");
  click("settings-shortcut-input-record");
  EXPECT_FALSE(shortcuts->isRecording());
  EXPECT_EQ(text("settings-shortcut-input-binding"), "⌥I");
  EXPECT_FALSE(shows("settings-shortcut-input-message"));
  click("settings-shortcut-input-record");
  click("tab-home");
  EXPECT_FALSE(shortcuts->isRecording());
  click("tab-settings");
  EXPECT_EQ(buttonText("settings-shortcut-input-record"), "Record");
  // The window may go while a recording runs.
  click("settings-shortcut-input-record");
}

// The membership card: the plan, the free figures, and the link to the plans,
// whose failure to open shows on the card.
TEST_F(MainWindowTest, TheMembershipCardLinksToThePlans) {
  startReady();
  click("tab-settings");
  EXPECT_EQ(text("settings-membership-plan"), "Loading your plan…");
  EXPECT_FALSE(shows("settings-membership-usage"));
  applyFreeStatus(37, 50);
  EXPECT_EQ(text("settings-membership-plan"), "Plan: Free");
  EXPECT_EQ(text("settings-membership-usage"), "37 of 50 free translations used");

  purchaseOpens = false;
  click("tab-home");
  click("settings-membership-purchase");
  EXPECT_EQ(model->selectedTab(), MainTab::settings) << "the card is brought forward";
  EXPECT_TRUE(shows("settings-membership-purchase-failed"));
  EXPECT_EQ(window->focusWidget(), part<QWidget>("settings-membership-purchase"));
  scrollTo("settings-membership");
  screenshot("settings-membership-failed");
  purchaseOpens = true;
  click("settings-membership-purchase");
  EXPECT_FALSE(shows("settings-membership-purchase-failed"));
}

}  // namespace
}  // namespace trelvis
