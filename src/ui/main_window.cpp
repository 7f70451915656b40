#include "ui/main_window.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QEvent>
#include <QFormLayout>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollArea>
#include <QStackedWidget>
#include <QStyle>
#include <QVBoxLayout>

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "base/async/task.h"
#include "base/async/task_context.h"
#include "core/mainwindow/main_window_model.h"
#include "core/mainwindow/main_window_services.h"
#include "core/mainwindow/permission_setup_rows.h"
#include "core/membership/membership_status.h"
#include "core/membership/membership_status_store.h"
#include "core/prefs/app_language_store.h"
#include "core/prefs/appearance_store.h"
#include "core/prefs/english_pronunciation_store.h"
#include "core/prefs/pronunciation_settings_store.h"
#include "core/prefs/secondary_target_language_store.h"
#include "core/prefs/target_language.h"
#include "core/prefs/target_language_store.h"
#include "core/triggers/shortcut_controller.h"
#include "core/triggers/shortcut_display.h"
#include "ui/card_theme.h"
#include "ui/localization.h"

namespace trelvis {
namespace {

constexpr std::array<MainTab, 4> kTabs{MainTab::home, MainTab::vocabulary, MainTab::review,
                                       MainTab::settings};

QString loc(std::string_view key) {
  return Localization::text(key);
}

struct TargetLanguageName {
  std::string_view code;
  std::string_view name;  // in the language itself
};
// In the order of kSupportedTargetLanguages.
constexpr std::array<TargetLanguageName, 8> kTargetLanguageNames{{
    {"zh-Hans", "简体中文"},
    {"en", "English"},
    {"es", "Español"},
    {"ja", "日本語"},
    {"de", "Deutsch"},
    {"fr", "Français"},
    {"pt", "Português"},
    {"ko", "한국어"},
}};
static_assert(kTargetLanguageNames.size() == kSupportedTargetLanguages.size());

constexpr std::array<AppLanguagePreference, 3> kAppLanguageChoices{
    AppLanguagePreference::system, AppLanguagePreference::english,
    AppLanguagePreference::simplifiedChinese};

struct AccentChoice {
  EnglishPronunciationAccent accent;
  std::string_view key;
};
constexpr std::array<AccentChoice, 2> kAccents{{
    {EnglishPronunciationAccent::american, "settings.englishAccent.american"},
    {EnglishPronunciationAccent::british, "settings.englishAccent.british"},
}};

struct ShortcutRow {
  std::string_view actionId;
  std::string_view name;  // of the row's widgets
  std::string_view titleKey;
  const ShortcutBinding& (ShortcutController::*binding)() const;
};
constexpr std::array<ShortcutRow, 4> kShortcutRows{{
    {ShortcutActionId::lookup, "lookup", "settings.shortcut.lookup",
     &ShortcutController::lookupBinding},
    {ShortcutActionId::regionSelection, "region", "settings.shortcut.regionSelection",
     &ShortcutController::regionBinding},
    {ShortcutActionId::selectTranslate, "select", "settings.shortcut.selectTranslate",
     &ShortcutController::selectBinding},
    {ShortcutActionId::inputTranslate, "input", "settings.shortcut.inputTranslate",
     &ShortcutController::inputBinding},
}};

std::string_view tabKey(MainTab tab) {
  switch (tab) {
    case MainTab::home:
      return "mainWindow.tab.home";
    case MainTab::vocabulary:
      return "mainWindow.tab.vocabulary";
    case MainTab::review:
      return "mainWindow.tab.review";
    case MainTab::settings:
      break;
  }
  return "mainWindow.tab.settings";
}

std::string_view validationKey(AuthValidationError error) {
  using E = AuthValidationError;
  switch (error) {
    case E::emailRequired:
      return "auth.validation.emailRequired";
    case E::emailFormatInvalid:
      return "auth.validation.emailFormatInvalid";
    case E::verificationCodeRequired:
      return "auth.validation.verificationCodeRequired";
    case E::verificationCodeFormat:
      return "auth.validation.verificationCodeFormat";
    case E::verificationCodeRejected:
      return "auth.validation.verificationCodeRejected";
    case E::passwordLength:
      break;
  }
  return "auth.validation.passwordLength";
}

// A session failure in the user's words.
QString sessionErrorText(const AuthSessionError& error) {
  using K = AuthSessionError::Kind;
  switch (error.kind()) {
    case K::verificationCooldown:
      return loc("error.auth.verificationCooldown").arg(error.cooldownSeconds());
    case K::invalidRequest:
      return loc("error.auth.invalidRequest");
    case K::network:
      return loc("error.auth.network");
    case K::server:
      return loc("error.auth.server");
    case K::keychain:
      return loc("error.auth.keychain");
    case K::unauthenticated:
      return loc("error.auth.unauthenticated");
    case K::emailAlreadyRegistered:
      return loc("error.auth.emailAlreadyRegistered");
    case K::emailNotRegistered:
      return loc("error.auth.emailNotRegistered");
    case K::verificationCodeInvalid:
      return loc("error.auth.verificationCodeInvalid");
    case K::verificationDeliveryFailed:
      return loc("error.auth.verificationDeliveryFailed");
    case K::invalidCredentials:
      return loc("error.auth.invalidCredentials");
    case K::invalidResponse:
      break;
  }
  return loc("error.auth.invalidResponse");
}

std::string_view planKey(MembershipPlanCode code) {
  switch (code) {
    case MembershipPlanCode::free:
      return "membership.plan.free";
    case MembershipPlanCode::pro:
      return "membership.plan.pro";
    case MembershipPlanCode::seed:
      break;
  }
  return "membership.plan.seed";
}

QLabel* makeLabel(const char* name, QWidget* parent, const char* role = nullptr) {
  auto* label = new QLabel(parent);
  label->setObjectName(QString::fromLatin1(name));
  label->setWordWrap(true);
  if (role) label->setProperty("role", QString::fromLatin1(role));
  return label;
}

QPushButton* makeButton(const char* name, QWidget* parent, const char* role = nullptr) {
  auto* button = new QPushButton(parent);
  button->setObjectName(QString::fromLatin1(name));
  button->setFocusPolicy(Qt::StrongFocus);
  button->setAutoDefault(true);
  if (role) button->setProperty("role", QString::fromLatin1(role));
  return button;
}

QLineEdit* makeField(const char* name, QWidget* parent) {
  auto* field = new QLineEdit(parent);
  field->setObjectName(QString::fromLatin1(name));
  return field;
}

// Shows `text` in an error or notice label, hiding it when there is none.
void showMessage(QLabel* label, const QString& text) {
  label->setText(text);
  label->setVisible(!text.isEmpty());
}

// Programmatic text changes leave the cursor alone unless the text differs.
void syncField(QLineEdit* field, const std::string& value) {
  const QString text = QString::fromStdString(value);
  if (field->text() != text) field->setText(text);
}

void name(QWidget* widget, const QString& accessible) {
  widget->setAccessibleName(accessible);
}

// Restyles a widget whose role the style sheet keys on.
void setRole(QWidget* widget, const char* role) {
  if (widget->property("role").toString() == QLatin1String(role)) return;
  widget->setProperty("role", QString::fromLatin1(role));
  widget->style()->unpolish(widget);
  widget->style()->polish(widget);
}

QString planText(const std::optional<MembershipStatus>& status) {
  return status ? loc("home.plan").arg(loc(planKey(status->plan.code))) : loc("home.plan.unknown");
}

QString bindingText(const ShortcutBinding& binding) {
  return QString::fromStdString(Localization::render(ShortcutDisplay::settingsLabel(binding)));
}

}  // namespace

struct MainWindow::Parts {
  QStackedWidget* root = nullptr;

  // The sign-in form.
  QWidget* authPage = nullptr;
  QLabel* authTitle = nullptr;
  QLabel* emailLabel = nullptr;
  QLineEdit* email = nullptr;
  QLabel* emailMessage = nullptr;
  QWidget* codeRow = nullptr;
  QLabel* codeLabel = nullptr;
  QLineEdit* code = nullptr;
  QPushButton* sendCode = nullptr;
  QLabel* codeMessage = nullptr;
  QLabel* passwordLabel = nullptr;
  QLineEdit* password = nullptr;
  QLabel* passwordMessage = nullptr;
  QLabel* submitMessage = nullptr;
  QPushButton* submit = nullptr;
  QPushButton* switchFirst = nullptr;
  QPushButton* switchSecond = nullptr;
  std::optional<AuthMode> firstTarget, secondTarget;

  // A stored session being confirmed, or waiting for the network.
  QWidget* sessionPage = nullptr;
  QLabel* sessionStatus = nullptr;
  QLabel* sessionAccount = nullptr;
  QPushButton* sessionRetry = nullptr;

  // The permission setup page.
  QWidget* permissionPage = nullptr;
  QLabel* permissionTitle = nullptr;
  struct Row {
    QLabel* title = nullptr;
    QLabel* description = nullptr;
    QLabel* status = nullptr;
    QPushButton* action = nullptr;
  };
  std::array<Row, 2> rows;
  QLabel* permissionHint = nullptr;
  QPushButton* start = nullptr;

  // The signed-in pages.
  QWidget* shell = nullptr;
  std::array<QPushButton*, 4> tabs{};
  QLabel* connectionBanner = nullptr;
  QStackedWidget* pages = nullptr;
  QLabel* homeTitle = nullptr;
  QLabel* account = nullptr;
  QLabel* plan = nullptr;
  QLabel* usedCaption = nullptr;
  QLabel* used = nullptr;
  QLabel* limitCaption = nullptr;
  QLabel* limit = nullptr;
  QProgressBar* meter = nullptr;
  QLabel* meterText = nullptr;
  QPushButton* signOut = nullptr;
  std::array<QLabel*, 2> soonTitles{};
  std::array<QLabel*, 2> soonHeadings{};
  std::array<QLabel*, 2> soonBodies{};
  QLabel* settingsTitle = nullptr;
  QLabel* generalHeading = nullptr;
  QLabel* targetLabel = nullptr;
  QComboBox* target = nullptr;
  QLabel* secondaryLabel = nullptr;
  QComboBox* secondary = nullptr;
  QLabel* appearanceLabel = nullptr;
  QComboBox* appearance = nullptr;
  QLabel* languageLabel = nullptr;
  QComboBox* language = nullptr;
  QLabel* pronunciationHeading = nullptr;
  QLabel* accentLabel = nullptr;
  QComboBox* accent = nullptr;
  QCheckBox* autoplay = nullptr;
  QLabel* startupHeading = nullptr;
  QCheckBox* launchAtLogin = nullptr;
  QLabel* launchAtLoginNote = nullptr;
  QLabel* shortcutsHeading = nullptr;
  struct ShortcutWidgets {
    QLabel* title = nullptr;
    QLabel* binding = nullptr;
    QPushButton* record = nullptr;
    QLabel* message = nullptr;
    std::string failureKey;  // of the row's last recording
  };
  std::array<ShortcutWidgets, kShortcutRows.size()> shortcutRows;
  // The row whose recording runs, and its task.
  std::optional<std::size_t> recordingRow;
  Task<void> recording;
  QScrollArea* settingsPage = nullptr;
  QWidget* membershipCard = nullptr;
  QLabel* membershipHeading = nullptr;
  QLabel* cardPlan = nullptr;
  QLabel* cardUsage = nullptr;
  QLabel* cardRefreshFailed = nullptr;
  QPushButton* cardRetry = nullptr;
  QPushButton* cardPurchase = nullptr;
  QLabel* cardPurchaseFailed = nullptr;
  int64_t membershipFocusRequestID = 0;

  bool authShown = false;
  bool permissionsShown = false;
  bool settingsShown = false;
  Task<void> permissionPoll;
};

MainWindow::MainWindow(MainWindowModel& model, std::shared_ptr<Executor> mainExecutor,
                       Stores stores, QWidget* parent)
    : QWidget(parent),
      model_(model),
      mainExecutor_(std::move(mainExecutor)),
      stores_(stores),
      parts_(std::make_unique<Parts>()) {
  setObjectName(QStringLiteral("main-window"));
  setMinimumSize(720, 520);
  build();
  applyTheme();
  connections_.push_back(model_.changed().connect([this] { refresh(); }));
  connections_.push_back(stores_.membership.changed().connect([this] {
    refreshHome();
    refreshMembershipCard();
  }));
  connections_.push_back(
      stores_.localization.changed().connect([this](AppLanguage) { refresh(); }));
  connections_.push_back(stores_.appearance.changed().connect([this](AppearanceMode) {
    applyTheme();
    refreshSettings();
  }));
  connections_.push_back(
      stores_.targetLanguage.changed().connect([this](const std::string&) { refreshSettings(); }));
  connections_.push_back(
      stores_.appLanguage.changed().connect([this](AppLanguagePreference) { refreshSettings(); }));
  connections_.push_back(stores_.secondaryTargetLanguage.changed().connect(
      [this](const std::optional<std::string>&) { refreshSettings(); }));
  connections_.push_back(stores_.englishPronunciation.observers().connect(
      [this](EnglishPronunciationAccent) { refreshSettings(); }));
  connections_.push_back(
      stores_.pronunciationSettings.changed().connect([this](bool) { refreshSettings(); }));
  refresh();
}

MainWindow::~MainWindow() {
  parts_->permissionPoll.cancel();
  // The recording's task outlives the window until the controller lets go; it
  // checks that the window is still there.
  parts_->recording.cancel();
}

// The system settings grant permissions behind the window's back: while the setup
// page shows, the model looks again every so often.
void MainWindow::followPermissionsWhile(bool shown) {
  auto& p = *parts_;
  if (shown == p.permissionsShown) return;
  p.permissionsShown = shown;
  p.permissionPoll.cancel();
  p.permissionPoll = {};
  if (shown) p.permissionPoll = spawn(mainExecutor_, model_.pollSystemPermissionsWhileVisible());
}

void MainWindow::build() {
  auto& p = *parts_;
  p.root = new QStackedWidget(this);
  auto* outer = new QVBoxLayout(this);
  outer->setContentsMargins(0, 0, 0, 0);
  outer->addWidget(p.root);

  // --- The sign-in form, centred in a fixed-width column.
  p.authPage = new QWidget(p.root);
  p.authPage->setObjectName(QStringLiteral("auth-page"));
  auto* form = new QWidget(p.authPage);
  form->setFixedWidth(360);
  auto* column = new QVBoxLayout(form);
  column->setSpacing(6);
  p.authTitle = makeLabel("auth-title", form, "title");
  column->addWidget(p.authTitle);
  column->addSpacing(12);
  p.emailLabel = makeLabel("auth-email-label", form);
  p.email = makeField("auth-email", form);
  p.emailMessage = makeLabel("auth-email-message", form, "error");
  p.emailLabel->setBuddy(p.email);
  column->addWidget(p.emailLabel);
  column->addWidget(p.email);
  column->addWidget(p.emailMessage);

  p.codeRow = new QWidget(form);
  auto* codeColumn = new QVBoxLayout(p.codeRow);
  codeColumn->setContentsMargins(0, 0, 0, 0);
  codeColumn->setSpacing(6);
  p.codeLabel = makeLabel("auth-code-label", p.codeRow);
  p.code = makeField("auth-code", p.codeRow);
  p.code->setMaxLength(12);
  p.sendCode = makeButton("auth-send-code", p.codeRow);
  p.codeMessage = makeLabel("auth-code-message", p.codeRow, "error");
  p.codeLabel->setBuddy(p.code);
  auto* codeLine = new QHBoxLayout;
  codeLine->addWidget(p.code, 1);
  codeLine->addWidget(p.sendCode);
  codeColumn->addWidget(p.codeLabel);
  codeColumn->addLayout(codeLine);
  codeColumn->addWidget(p.codeMessage);
  column->addWidget(p.codeRow);

  p.passwordLabel = makeLabel("auth-password-label", form);
  p.password = makeField("auth-password", form);
  p.password->setEchoMode(QLineEdit::Password);
  p.passwordMessage = makeLabel("auth-password-message", form, "error");
  p.passwordLabel->setBuddy(p.password);
  column->addWidget(p.passwordLabel);
  column->addWidget(p.password);
  column->addWidget(p.passwordMessage);
  column->addSpacing(8);
  p.submitMessage = makeLabel("auth-submit-message", form, "error");
  p.submit = makeButton("auth-submit", form, "primary");
  p.submit->setDefault(true);
  column->addWidget(p.submitMessage);
  column->addWidget(p.submit);
  column->addSpacing(4);
  p.switchFirst = makeButton("auth-switch-first", form, "link");
  p.switchSecond = makeButton("auth-switch-second", form, "link");
  column->addWidget(p.switchFirst, 0, Qt::AlignHCenter);
  column->addWidget(p.switchSecond, 0, Qt::AlignHCenter);
  auto* authCentre = new QVBoxLayout(p.authPage);
  authCentre->addStretch(1);
  authCentre->addWidget(form, 0, Qt::AlignHCenter);
  authCentre->addStretch(2);
  p.root->addWidget(p.authPage);
  setTabOrder(p.email, p.code);
  setTabOrder(p.code, p.sendCode);
  setTabOrder(p.sendCode, p.password);
  setTabOrder(p.password, p.submit);
  setTabOrder(p.submit, p.switchFirst);
  setTabOrder(p.switchFirst, p.switchSecond);

  QObject::connect(p.email, &QLineEdit::textEdited, this, [this](const QString& text) {
    model_.email = text.toStdString();
    if (model_.emailError() || model_.emailNotice()) model_.clearEmailError();
  });
  QObject::connect(p.code, &QLineEdit::textEdited, this,
                   [this](const QString& text) { model_.verificationCode = text.toStdString(); });
  QObject::connect(p.password, &QLineEdit::textEdited, this,
                   [this](const QString& text) { model_.password = text.toStdString(); });
  for (auto* field : {p.email, p.code, p.password}) {
    QObject::connect(field, &QLineEdit::returnPressed, this, [this] { model_.submitAuth(); });
  }
  QObject::connect(p.sendCode, &QPushButton::clicked, this,
                   [this] { model_.sendVerificationCode(); });
  QObject::connect(p.submit, &QPushButton::clicked, this, [this] { model_.submitAuth(); });
  QObject::connect(p.switchFirst, &QPushButton::clicked, this, [this] {
    if (parts_->firstTarget) model_.switchAuthMode(*parts_->firstTarget);
  });
  QObject::connect(p.switchSecond, &QPushButton::clicked, this, [this] {
    if (parts_->secondTarget) model_.switchAuthMode(*parts_->secondTarget);
  });

  // --- The stored session on its way back.
  p.sessionPage = new QWidget(p.root);
  p.sessionPage->setObjectName(QStringLiteral("session-page"));
  auto* sessionColumn = new QVBoxLayout(p.sessionPage);
  sessionColumn->addStretch(1);
  p.sessionStatus = makeLabel("session-status", p.sessionPage, "heading");
  p.sessionAccount = makeLabel("session-account", p.sessionPage, "secondary");
  p.sessionRetry = makeButton("session-retry", p.sessionPage);
  for (QLabel* label : {p.sessionStatus, p.sessionAccount}) label->setAlignment(Qt::AlignCenter);
  sessionColumn->addWidget(p.sessionStatus);
  sessionColumn->addWidget(p.sessionAccount);
  sessionColumn->addSpacing(8);
  sessionColumn->addWidget(p.sessionRetry, 0, Qt::AlignHCenter);
  sessionColumn->addStretch(2);
  QObject::connect(p.sessionRetry, &QPushButton::clicked, this,
                   [this] { model_.requestSessionRecovery(); });
  p.root->addWidget(p.sessionPage);

  // --- The permission setup page.
  p.permissionPage = new QWidget(p.root);
  p.permissionPage->setObjectName(QStringLiteral("permission-page"));
  auto* permissions = new QWidget(p.permissionPage);
  permissions->setFixedWidth(520);
  auto* permissionColumn = new QVBoxLayout(permissions);
  permissionColumn->setSpacing(10);
  p.permissionTitle = makeLabel("permission-title", permissions, "title");
  permissionColumn->addWidget(p.permissionTitle);
  permissionColumn->addSpacing(8);
  for (std::size_t i = 0; i < p.rows.size(); ++i) {
    const bool screen = kAllSystemPermissionKinds[i] == SystemPermissionKind::screenRecording;
    auto* row = new QWidget(permissions);
    row->setObjectName(screen ? QStringLiteral("permission-screen-recording")
                              : QStringLiteral("permission-accessibility"));
    row->setProperty("role", QStringLiteral("card"));
    auto* grid = new QGridLayout(row);
    auto& r = p.rows[i];
    r.title =
        makeLabel(screen ? "permission-screen-recording-title" : "permission-accessibility-title",
                  row, "heading");
    r.description = makeLabel("permission-row-description", row, "secondary");
    r.status = makeLabel("permission-row-status", row, "secondary");
    r.action = makeButton(
        screen ? "permission-screen-recording-action" : "permission-accessibility-action", row);
    grid->addWidget(r.title, 0, 0);
    grid->addWidget(r.description, 1, 0);
    grid->addWidget(r.status, 2, 0);
    grid->addWidget(r.action, 0, 1, 3, 1, Qt::AlignVCenter);
    grid->setColumnStretch(0, 1);
    permissionColumn->addWidget(row);
    const auto kind = kAllSystemPermissionKinds[i];
    QObject::connect(r.action, &QPushButton::clicked, this,
                     [this, kind] { model_.performPermissionAction(kind); });
  }
  p.permissionHint = makeLabel("permission-setup-hint", permissions, "secondary");
  p.start = makeButton("permission-start", permissions, "primary");
  permissionColumn->addWidget(p.permissionHint);
  permissionColumn->addSpacing(8);
  permissionColumn->addWidget(p.start, 0, Qt::AlignRight);
  QObject::connect(p.start, &QPushButton::clicked, this, [this] { model_.startTranslating(); });
  auto* permissionCentre = new QVBoxLayout(p.permissionPage);
  permissionCentre->addStretch(1);
  permissionCentre->addWidget(permissions, 0, Qt::AlignHCenter);
  permissionCentre->addStretch(2);
  p.root->addWidget(p.permissionPage);

  // --- The signed-in pages behind a sidebar.
  p.shell = new QWidget(p.root);
  p.shell->setObjectName(QStringLiteral("signed-in-pages"));
  auto* shellRow = new QHBoxLayout(p.shell);
  shellRow->setContentsMargins(0, 0, 0, 0);
  shellRow->setSpacing(0);
  auto* sidebar = new QWidget(p.shell);
  sidebar->setObjectName(QStringLiteral("sidebar"));
  sidebar->setFixedWidth(180);
  auto* sidebarColumn = new QVBoxLayout(sidebar);
  sidebarColumn->setContentsMargins(10, 16, 10, 16);
  auto* group = new QButtonGroup(this);
  for (std::size_t i = 0; i < kTabs.size(); ++i) {
    static constexpr std::array<const char*, 4> names{"tab-home", "tab-vocabulary", "tab-review",
                                                      "tab-settings"};
    auto* tab = makeButton(names[i], sidebar, "tab");
    tab->setCheckable(true);
    tab->setAutoDefault(false);
    group->addButton(tab);
    sidebarColumn->addWidget(tab);
    p.tabs[i] = tab;
    const MainTab target = kTabs[i];
    QObject::connect(tab, &QPushButton::clicked, this,
                     [this, target] { model_.selectTab(target); });
  }
  sidebarColumn->addStretch(1);
  shellRow->addWidget(sidebar);
  // The pages, under a line that says while the connection is lost.
  auto* pageColumn = new QVBoxLayout();
  pageColumn->setContentsMargins(0, 0, 0, 0);
  pageColumn->setSpacing(0);
  p.connectionBanner = makeLabel("connection-banner", p.shell, "error");
  p.connectionBanner->setContentsMargins(32, 12, 32, 0);
  pageColumn->addWidget(p.connectionBanner);
  p.pages = new QStackedWidget(p.shell);
  pageColumn->addWidget(p.pages, 1);
  shellRow->addLayout(pageColumn, 1);

  auto* home = new QWidget(p.pages);
  home->setObjectName(QStringLiteral("home-page"));
  auto* homeColumn = new QVBoxLayout(home);
  homeColumn->setContentsMargins(32, 28, 32, 28);
  homeColumn->setSpacing(10);
  p.homeTitle = makeLabel("home-title", home, "title");
  p.account = makeLabel("home-account", home, "secondary");
  p.account->setTextInteractionFlags(Qt::TextSelectableByMouse);
  p.plan = makeLabel("home-plan", home, "heading");
  auto* figures = new QGridLayout;
  p.usedCaption = makeLabel("home-used-caption", home, "secondary");
  p.used = makeLabel("home-used", home, "figure");
  p.limitCaption = makeLabel("home-limit-caption", home, "secondary");
  p.limit = makeLabel("home-limit", home, "figure");
  figures->addWidget(p.usedCaption, 0, 0);
  figures->addWidget(p.limitCaption, 0, 1);
  figures->addWidget(p.used, 1, 0);
  figures->addWidget(p.limit, 1, 1);
  p.meter = new QProgressBar(home);
  p.meter->setObjectName(QStringLiteral("home-quota-meter"));
  p.meter->setTextVisible(false);
  p.meter->setFixedHeight(8);
  p.meterText = makeLabel("home-quota-text", home, "secondary");
  p.signOut = makeButton("home-sign-out", home);
  homeColumn->addWidget(p.homeTitle);
  homeColumn->addWidget(p.account);
  homeColumn->addSpacing(12);
  homeColumn->addWidget(p.plan);
  homeColumn->addLayout(figures);
  homeColumn->addWidget(p.meter);
  homeColumn->addWidget(p.meterText);
  homeColumn->addStretch(1);
  homeColumn->addWidget(p.signOut, 0, Qt::AlignLeft);
  QObject::connect(p.signOut, &QPushButton::clicked, this, [this] { model_.logout(); });
  p.pages->addWidget(home);

  // Vocabulary and review are still to come.
  for (std::size_t i = 0; i < p.soonTitles.size(); ++i) {
    static constexpr std::array<const char*, 2> names{"vocabulary-page", "review-page"};
    auto* page = new QWidget(p.pages);
    page->setObjectName(QString::fromLatin1(names[i]));
    auto* pageColumn = new QVBoxLayout(page);
    pageColumn->setContentsMargins(32, 28, 32, 28);
    p.soonTitles[i] = makeLabel("coming-soon-title", page, "title");
    p.soonHeadings[i] = makeLabel("coming-soon-heading", page, "heading");
    p.soonBodies[i] = makeLabel("coming-soon-body", page, "secondary");
    p.soonHeadings[i]->setAlignment(Qt::AlignCenter);
    p.soonBodies[i]->setAlignment(Qt::AlignCenter);
    pageColumn->addWidget(p.soonTitles[i]);
    pageColumn->addStretch(1);
    pageColumn->addWidget(p.soonHeadings[i]);
    pageColumn->addWidget(p.soonBodies[i]);
    pageColumn->addStretch(2);
    p.pages->addWidget(page);
  }

  // The settings scroll: with the shortcuts and the membership card they are
  // taller than the window's smallest size.
  auto* settings = p.settingsPage = new QScrollArea(p.pages);
  settings->setObjectName(QStringLiteral("settings-page"));
  settings->setWidgetResizable(true);
  settings->setFrameShape(QFrame::NoFrame);
  auto* content = new QWidget(settings);
  content->setObjectName(QStringLiteral("settings-content"));
  settings->setWidget(content);
  auto* settingsColumn = new QVBoxLayout(content);
  settingsColumn->setContentsMargins(32, 28, 32, 28);
  settingsColumn->setSpacing(10);
  p.settingsTitle = makeLabel("settings-title", content, "title");
  settingsColumn->addWidget(p.settingsTitle);
  const auto addSection = [&](const char* name, QLabel*& heading) {
    settingsColumn->addSpacing(14);
    heading = makeLabel(name, content, "heading");
    settingsColumn->addWidget(heading);
    auto* form = new QFormLayout;
    form->setLabelAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    form->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
    form->setHorizontalSpacing(24);
    form->setVerticalSpacing(10);
    settingsColumn->addLayout(form);
    return form;
  };
  const auto addChoice = [&](QFormLayout* form, const char* labelName, const char* boxName,
                             QLabel*& label, QComboBox*& box) {
    label = makeLabel(labelName, content);
    label->setWordWrap(false);
    label->setMinimumWidth(170);
    box = new QComboBox(content);
    box->setObjectName(QString::fromLatin1(boxName));
    box->setFixedWidth(240);
    label->setBuddy(box);
    form->addRow(label, box);
  };
  const auto addSwitch = [&](QFormLayout* form, const char* name) {
    auto* box = new QCheckBox(content);
    box->setObjectName(QString::fromLatin1(name));
    box->setFocusPolicy(Qt::StrongFocus);
    form->addRow(box);
    return box;
  };

  QFormLayout* general = addSection("settings-general-heading", p.generalHeading);
  addChoice(general, "settings-target-label", "settings-target-language", p.targetLabel, p.target);
  addChoice(general, "settings-secondary-label", "settings-secondary-language", p.secondaryLabel,
            p.secondary);
  addChoice(general, "settings-appearance-label", "settings-appearance", p.appearanceLabel,
            p.appearance);
  addChoice(general, "settings-language-label", "settings-app-language", p.languageLabel,
            p.language);
  p.secondary->addItem(QString(), QString());
  for (const auto& language : kTargetLanguageNames) {
    const QString name = QString::fromUtf8(language.name.data(), int(language.name.size()));
    const QString code = QString::fromLatin1(language.code.data(), int(language.code.size()));
    p.target->addItem(name, code);
    p.secondary->addItem(name, code);
  }
  p.appearance->addItem(QString());
  p.appearance->addItem(QString());
  for (int i = 0; i < 3; ++i) p.language->addItem(QString());

  QFormLayout* pronunciation = addSection("settings-pronunciation-heading", p.pronunciationHeading);
  addChoice(pronunciation, "settings-accent-label", "settings-english-accent", p.accentLabel,
            p.accent);
  for (std::size_t i = 0; i < kAccents.size(); ++i) p.accent->addItem(QString());
  p.autoplay = addSwitch(pronunciation, "settings-autoplay");

  QFormLayout* startup = addSection("settings-startup-heading", p.startupHeading);
  p.launchAtLogin = addSwitch(startup, "settings-launch-at-login");
  p.launchAtLoginNote = makeLabel("settings-launch-at-login-note", content, "secondary");
  startup->addRow(p.launchAtLoginNote);

  settingsColumn->addSpacing(14);
  p.shortcutsHeading = makeLabel("settings-shortcuts-heading", content, "heading");
  settingsColumn->addWidget(p.shortcutsHeading);
  auto* shortcutGrid = new QGridLayout;
  shortcutGrid->setHorizontalSpacing(16);
  shortcutGrid->setVerticalSpacing(4);
  for (std::size_t i = 0; i < kShortcutRows.size(); ++i) {
    const std::string prefix = "settings-shortcut-" + std::string(kShortcutRows[i].name);
    auto& row = p.shortcutRows[i];
    row.title = makeLabel((prefix + "-title").c_str(), content);
    row.title->setWordWrap(false);
    row.title->setMinimumWidth(170);
    row.binding = makeLabel((prefix + "-binding").c_str(), content, "binding");
    row.binding->setWordWrap(false);
    row.binding->setMinimumWidth(140);
    row.record = makeButton((prefix + "-record").c_str(), content);
    row.record->setAutoDefault(false);
    row.message = makeLabel((prefix + "-message").c_str(), content, "error");
    const int line = int(i) * 2;
    shortcutGrid->addWidget(row.title, line, 0);
    shortcutGrid->addWidget(row.binding, line, 1);
    shortcutGrid->addWidget(row.record, line, 2);
    shortcutGrid->addWidget(row.message, line + 1, 0, 1, 3);
    QObject::connect(row.record, &QPushButton::clicked, this, [this, i] { toggleRecording(i); });
  }
  shortcutGrid->setColumnStretch(3, 1);
  settingsColumn->addLayout(shortcutGrid);

  settingsColumn->addSpacing(14);
  p.membershipHeading = makeLabel("settings-membership-heading", content, "heading");
  settingsColumn->addWidget(p.membershipHeading);
  auto* card = p.membershipCard = new QWidget(content);
  card->setObjectName(QStringLiteral("settings-membership"));
  card->setProperty("role", QStringLiteral("card"));
  card->setMaximumWidth(560);
  auto* cardColumn = new QVBoxLayout(card);
  cardColumn->setContentsMargins(16, 14, 16, 14);
  cardColumn->setSpacing(8);
  p.cardPlan = makeLabel("settings-membership-plan", card);
  p.cardUsage = makeLabel("settings-membership-usage", card, "secondary");
  p.cardRefreshFailed = makeLabel("settings-membership-refresh-failed", card, "error");
  p.cardRetry = makeButton("settings-membership-retry", card);
  p.cardPurchase = makeButton("settings-membership-purchase", card, "primary");
  p.cardPurchaseFailed = makeLabel("settings-membership-purchase-failed", card, "error");
  cardColumn->addWidget(p.cardPlan);
  cardColumn->addWidget(p.cardUsage);
  cardColumn->addWidget(p.cardRefreshFailed);
  cardColumn->addWidget(p.cardRetry, 0, Qt::AlignLeft);
  cardColumn->addWidget(p.cardPurchase, 0, Qt::AlignLeft);
  cardColumn->addWidget(p.cardPurchaseFailed);
  settingsColumn->addWidget(card);
  settingsColumn->addStretch(1);

  QObject::connect(p.target, &QComboBox::activated, this, [this](int index) {
    stores_.targetLanguage.setCode(parts_->target->itemData(index).toString().toStdString());
  });
  QObject::connect(p.secondary, &QComboBox::activated, this, [this](int index) {
    const std::string code = parts_->secondary->itemData(index).toString().toStdString();
    stores_.secondaryTargetLanguage.save(code.empty() ? std::nullopt
                                                      : std::optional<std::string_view>(code));
  });
  QObject::connect(p.appearance, &QComboBox::activated, this, [this](int index) {
    stores_.appearance.setMode(index == 1 ? AppearanceMode::dark : AppearanceMode::light);
  });
  QObject::connect(p.language, &QComboBox::activated, this, [this](int index) {
    stores_.appLanguage.setPreference(kAppLanguageChoices[std::size_t(std::clamp(index, 0, 2))]);
  });
  QObject::connect(p.accent, &QComboBox::activated, this, [this](int index) {
    stores_.englishPronunciation.setAccent(
        kAccents[std::size_t(std::clamp(index, 0, int(kAccents.size()) - 1))].accent);
  });
  QObject::connect(p.autoplay, &QCheckBox::clicked, this, [this](bool checked) {
    stores_.pronunciationSettings.setAutoplayEnabled(checked);
  });
  // The service has no signal: the page reads its status again after each change.
  QObject::connect(p.launchAtLogin, &QCheckBox::clicked, this, [this](bool checked) {
    if (checked) {
      stores_.launchAtLogin.enable();
    } else {
      stores_.launchAtLogin.disable();
    }
    refreshSettings();
  });
  QObject::connect(p.cardPurchase, &QPushButton::clicked, this,
                   [this] { model_.openMembershipPurchase(); });
  QObject::connect(p.cardRetry, &QPushButton::clicked, this,
                   [this] { model_.requestMembershipStatusRefresh(); });
  p.pages->addWidget(settings);
  p.root->addWidget(p.shell);
}

void MainWindow::refreshSettings() {
  auto& p = *parts_;
  p.settingsTitle->setText(loc("mainWindow.tab.settings"));
  p.generalHeading->setText(loc("settings.section.general"));
  p.targetLabel->setText(loc("settings.targetLanguage"));
  p.secondaryLabel->setText(loc("settings.secondaryTargetLanguage"));
  p.appearanceLabel->setText(loc("settings.appearance"));
  p.languageLabel->setText(loc("settings.appLanguage"));
  p.pronunciationHeading->setText(loc("settings.section.pronunciation"));
  p.accentLabel->setText(loc("settings.englishAccent"));
  p.startupHeading->setText(loc("settings.section.startup"));
  for (auto [box, label] :
       std::initializer_list<std::pair<QComboBox*, QLabel*>>{{p.target, p.targetLabel},
                                                             {p.secondary, p.secondaryLabel},
                                                             {p.appearance, p.appearanceLabel},
                                                             {p.language, p.languageLabel},
                                                             {p.accent, p.accentLabel}}) {
    name(box, label->text());
  }
  p.secondary->setItemText(0, loc("settings.secondaryTargetLanguage.none"));
  p.appearance->setItemText(0, loc("settings.appearance.light"));
  p.appearance->setItemText(1, loc("settings.appearance.dark"));
  p.language->setItemText(0, loc("settings.appLanguage.system"));
  // Each language in its own words, whatever the interface's language.
  p.language->setItemText(1, QStringLiteral("English"));
  p.language->setItemText(2, QStringLiteral("简体中文"));
  for (std::size_t i = 0; i < kAccents.size(); ++i) {
    p.accent->setItemText(int(i), loc(kAccents[i].key));
    if (kAccents[i].accent == stores_.englishPronunciation.accent())
      p.accent->setCurrentIndex(int(i));
  }
  p.autoplay->setText(loc("settings.autoplay"));
  name(p.autoplay, p.autoplay->text());
  p.autoplay->setChecked(stores_.pronunciationSettings.autoplayEnabled());

  const QString code = QString::fromStdString(stores_.targetLanguage.code());
  p.target->setCurrentIndex(std::max(p.target->findData(code), 0));
  const auto secondary = stores_.secondaryTargetLanguage.code();
  p.secondary->setCurrentIndex(
      secondary ? std::max(p.secondary->findData(QString::fromStdString(*secondary)), 0) : 0);
  p.appearance->setCurrentIndex(stores_.appearance.mode() == AppearanceMode::dark ? 1 : 0);
  const auto preference = stores_.appLanguage.preference();
  for (std::size_t i = 0; i < kAppLanguageChoices.size(); ++i) {
    if (kAppLanguageChoices[i] == preference) p.language->setCurrentIndex(int(i));
  }

  const LaunchAtLoginStatus launch = stores_.launchAtLogin.status();
  p.launchAtLogin->setText(loc("settings.launchAtLogin"));
  name(p.launchAtLogin, p.launchAtLogin->text());
  p.launchAtLogin->setChecked(launch == LaunchAtLoginStatus::on);
  p.launchAtLogin->setEnabled(launch != LaunchAtLoginStatus::unavailable);
  showMessage(p.launchAtLoginNote, launch == LaunchAtLoginStatus::unavailable
                                       ? loc("settings.launchAtLogin.unavailable")
                                       : QString());
  p.launchAtLogin->setAccessibleDescription(p.launchAtLoginNote->text());
  refreshShortcuts();
}

void MainWindow::refreshShortcuts() {
  auto& p = *parts_;
  p.shortcutsHeading->setText(loc("settings.section.shortcuts"));
  for (std::size_t i = 0; i < kShortcutRows.size(); ++i) {
    auto& row = p.shortcutRows[i];
    const bool listening = p.recordingRow == i;
    const QString binding = bindingText((stores_.shortcuts.*kShortcutRows[i].binding)());
    row.title->setText(loc(kShortcutRows[i].titleKey));
    row.binding->setText(listening ? loc("settings.shortcut.listening") : binding);
    setRole(row.binding, listening ? "listening" : "binding");
    row.record->setText(listening ? loc("settings.shortcut.cancel")
                                  : loc("settings.shortcut.record"));
    name(row.record, loc(listening ? "settings.shortcut.cancelFor" : "settings.shortcut.recordFor")
                         .arg(row.title->text()));
    row.record->setAccessibleDescription(binding);
    // One recording at a time: the others wait until it ends.
    row.record->setEnabled(!p.recordingRow || listening);
    setRole(row.message, listening ? "secondary" : "error");
    showMessage(row.message, listening                ? loc("settings.shortcut.listeningHint")
                             : row.failureKey.empty() ? QString()
                                                      : loc(row.failureKey));
    name(row.message, row.message->text());
  }
}

void MainWindow::toggleRecording(std::size_t row) {
  auto& p = *parts_;
  if (p.recordingRow) {
    // The second click: the task reports the end when the controller has let go.
    p.recording.cancel();
    return;
  }
  p.recordingRow = row;
  for (auto& widgets : p.shortcutRows) widgets.failureKey.clear();
  p.recording = spawn(
      mainExecutor_,
      [self = QPointer<MainWindow>(this), row, &shortcuts = stores_.shortcuts]() -> Async<void> {
        std::string failureKey;
        try {
          co_await shortcuts.record(std::string(kShortcutRows[row].actionId));
        } catch (const ShortcutControllerError& error) {
          // Escape, a second click or leaving the page: the user knows why it ended.
          if (error.kind() != ShortcutControllerError::Kind::cancelled) {
            failureKey = error.localizedKey();
          }
        } catch (const CancellationError&) {
        }
        if (self) self->finishRecording(row, std::move(failureKey));
      });
  refreshShortcuts();
}

void MainWindow::finishRecording(std::size_t row, std::string failureKey) {
  auto& p = *parts_;
  p.recordingRow.reset();
  p.recording = {};
  p.shortcutRows[row].failureKey = std::move(failureKey);
  refreshShortcuts();
}

void MainWindow::refreshMembershipCard() {
  auto& p = *parts_;
  p.membershipHeading->setText(loc("settings.section.membership"));
  const auto& status = stores_.membership.status();
  p.cardPlan->setText(planText(status));
  const auto usage = FreeQuotaFooterPresentation::make(status);
  showMessage(p.cardUsage,
              usage ? loc("home.quota.meter").arg(usage->used).arg(usage->limit) : QString());
  const bool failed = stores_.membership.lastRefreshFailed();
  showMessage(p.cardRefreshFailed, failed ? loc("settings.membership.refreshFailed") : QString());
  p.cardRetry->setText(loc("session.retry"));
  name(p.cardRetry, loc("settings.membership.retry"));
  p.cardRetry->setVisible(failed);
  p.cardRetry->setEnabled(!stores_.membership.isRefreshing());
  p.cardPurchase->setText(loc("settings.membership.purchase"));
  name(p.cardPurchase, p.cardPurchase->text());
  showMessage(p.cardPurchaseFailed, model_.membershipPurchaseOpenFailed()
                                        ? loc("settings.membership.purchaseFailed")
                                        : QString());
  for (QLabel* label : {p.cardPlan, p.cardUsage, p.cardRefreshFailed, p.cardPurchaseFailed}) {
    name(label, label->text());
  }
}

void MainWindow::refresh() {
  auto& p = *parts_;
  setWindowTitle(QStringLiteral("Trelvis"));
  const bool signedIn = model_.session().isAuthenticated;
  const bool sessionPending = model_.isRestoring() || model_.isSessionRecoveryPending();
  QWidget* page = signedIn ? p.shell : sessionPending ? p.sessionPage : p.authPage;
  if (signedIn && model_.permissionGatePresented()) page = p.permissionPage;
  p.root->setCurrentWidget(page);
  const bool settingsShown = page == p.shell && model_.selectedTab() == MainTab::settings;
  // Another program may have changed the autostart entry since the page last showed.
  if (settingsShown && !p.settingsShown) stores_.launchAtLogin.refreshStatus();
  // A recording swallows every key of the application; it ends with its page.
  if (!settingsShown && p.recordingRow) p.recording.cancel();
  p.settingsShown = settingsShown;
  refreshAuth();
  refreshSession();
  refreshConnectionBanner();
  refreshPermissions();
  refreshHome();
  refreshSettings();
  refreshMembershipCard();
  // The model asks for the membership card when the pricing page did not open.
  if (std::exchange(p.membershipFocusRequestID, model_.membershipFocusRequestID()) !=
          model_.membershipFocusRequestID() &&
      settingsShown) {
    p.settingsPage->ensureWidgetVisible(p.membershipCard);
    p.cardPurchase->setFocus();
  }

  for (std::size_t i = 0; i < kTabs.size(); ++i) {
    p.tabs[i]->setText(loc(tabKey(kTabs[i])));
    name(p.tabs[i], loc(tabKey(kTabs[i])));
    p.tabs[i]->setChecked(model_.selectedTab() == kTabs[i]);
    if (model_.selectedTab() == kTabs[i]) p.pages->setCurrentIndex(int(i));
  }
  for (std::size_t i = 0; i < p.soonTitles.size(); ++i) {
    p.soonTitles[i]->setText(loc(tabKey(kTabs[i + 1])));
    p.soonHeadings[i]->setText(loc("mainWindow.comingSoon"));
    p.soonBodies[i]->setText(loc("mainWindow.comingSoon.detail"));
  }

  // The model reports each page's first showing.
  if (page == p.authPage && !std::exchange(p.authShown, true)) model_.authFormAppeared();
  if (page != p.authPage) p.authShown = false;
  followPermissionsWhile(page == p.permissionPage);
}

void MainWindow::refreshAuth() {
  auto& p = *parts_;
  const AuthMode mode = model_.authMode();
  const bool busy = model_.isSubmitting();
  switch (mode) {
    case AuthMode::login:
      p.authTitle->setText(loc("auth.title.login"));
      p.submit->setText(loc("auth.submit.login"));
      p.firstTarget = AuthMode::registration;
      p.switchFirst->setText(loc("auth.switch.toRegistration"));
      p.secondTarget = AuthMode::resetPassword;
      p.switchSecond->setText(loc("auth.switch.toResetPassword"));
      break;
    case AuthMode::registration:
      p.authTitle->setText(loc("auth.title.registration"));
      p.submit->setText(loc("auth.submit.registration"));
      p.firstTarget = AuthMode::login;
      p.switchFirst->setText(loc("auth.switch.toLogin"));
      p.secondTarget.reset();
      break;
    case AuthMode::resetPassword:
      p.authTitle->setText(loc("auth.title.resetPassword"));
      p.submit->setText(loc("auth.submit.resetPassword"));
      p.firstTarget = AuthMode::login;
      p.switchFirst->setText(loc("auth.switch.backToLogin"));
      p.secondTarget.reset();
      break;
  }
  name(p.submit, p.submit->text());
  if (busy) p.submit->setText(loc("auth.submit.busy"));
  p.submit->setEnabled(!busy && !model_.isSendingCode());
  p.switchSecond->setVisible(p.secondTarget.has_value());
  for (auto* link : {p.switchFirst, p.switchSecond}) {
    name(link, link->text());
    link->setEnabled(!busy);
  }

  p.emailLabel->setText(loc("auth.email.label"));
  p.email->setPlaceholderText(loc("auth.email.placeholder"));
  name(p.email, loc("auth.email.label"));
  p.codeLabel->setText(loc("auth.code.label"));
  p.code->setPlaceholderText(loc("auth.code.placeholder"));
  name(p.code, loc("auth.code.label"));
  p.passwordLabel->setText(mode == AuthMode::resetPassword ? loc("auth.password.new")
                                                           : loc("auth.password.label"));
  p.password->setPlaceholderText(loc("auth.password.placeholder"));
  name(p.password, p.passwordLabel->text());
  syncField(p.email, model_.email);
  syncField(p.code, model_.verificationCode);
  syncField(p.password, model_.password);
  for (auto* field : {p.email, p.code, p.password}) field->setReadOnly(busy);

  p.codeRow->setVisible(mode != AuthMode::login);
  if (model_.isSendingCode()) {
    p.sendCode->setText(loc("auth.sendCode.sending"));
  } else if (model_.codeCooldownRemaining() > 0) {
    p.sendCode->setText(loc("auth.sendCode.cooldown").arg(model_.codeCooldownRemaining()));
  } else {
    p.sendCode->setText(loc("auth.sendCode"));
  }
  name(p.sendCode, loc("auth.sendCode"));
  p.sendCode->setAccessibleDescription(p.sendCode->text());
  p.sendCode->setEnabled(model_.canSendVerificationCode());

  QString emailText;
  if (auto error = model_.emailError()) {
    emailText = loc(validationKey(*error));
  } else if (auto notice = model_.emailNotice()) {
    emailText = loc(*notice == AuthEmailNotice::alreadyRegistered ? "auth.notice.alreadyRegistered"
                                                                  : "auth.notice.notRegistered");
  }
  showMessage(p.emailMessage, emailText);
  QString codeText;
  if (auto error = model_.verificationCodeError()) {
    codeText = loc(validationKey(*error));
  } else if (const auto& failure = model_.codeRequestError()) {
    codeText = sessionErrorText(*failure);
  }
  showMessage(p.codeMessage, codeText);
  showMessage(p.passwordMessage,
              model_.passwordError() ? loc(validationKey(*model_.passwordError())) : QString());
  showMessage(p.submitMessage,
              model_.submitError() ? sessionErrorText(*model_.submitError()) : QString());
  for (auto* message : {p.emailMessage, p.codeMessage, p.passwordMessage, p.submitMessage}) {
    name(message, message->text());
  }

  if (p.root->currentWidget() == p.authPage) {
    if (auto request = model_.takeFocusRequest()) {
      switch (*request) {
        case AuthFocusRequest::email:
          p.email->setFocus();
          break;
        case AuthFocusRequest::verificationCode:
          p.code->setFocus();
          break;
        case AuthFocusRequest::password:
          p.password->setFocus();
          break;
      }
    }
  }
}

void MainWindow::refreshSession() {
  auto& p = *parts_;
  QString status = loc("session.restoring");
  if (model_.isSessionRecoveryPending()) {
    status = model_.connectionIssue() == ConnectionIssue::serviceUnavailable
                 ? loc("session.serviceUnavailable")
                 : loc("session.offline");
  }
  p.sessionStatus->setText(status);
  const std::string email = model_.accountEmail();
  p.sessionAccount->setText(loc("home.account").arg(QString::fromStdString(email)));
  p.sessionAccount->setVisible(!email.empty());
  p.sessionRetry->setText(loc("session.retry"));
  name(p.sessionRetry, loc("session.retry"));
  p.sessionRetry->setVisible(model_.isSessionRecoveryPending());
}

void MainWindow::refreshConnectionBanner() {
  auto& p = *parts_;
  const std::optional<ConnectionIssue> issue = model_.connectionIssue();
  p.connectionBanner->setVisible(issue.has_value());
  if (!issue) return;
  p.connectionBanner->setText(issue == ConnectionIssue::serviceUnavailable
                                  ? loc("session.serviceUnavailable")
                                  : loc("banner.offline"));
  name(p.connectionBanner, p.connectionBanner->text());
}

void MainWindow::refreshPermissions() {
  auto& p = *parts_;
  p.permissionTitle->setText(loc("permission.setup.title"));
  const auto rows = permissionRows(model_);
  for (std::size_t i = 0; i < rows.size() && i < p.rows.size(); ++i) {
    const auto& row = rows[i];
    auto& r = p.rows[i];
    r.title->setText(loc(row.titleKey));
    r.description->setText(loc(row.descriptionKey));
    r.status->setText(loc(row.statusKey));
    r.action->setText(loc(row.actionKey));
    name(r.action, loc(row.titleKey) + QStringLiteral(": ") + loc(row.accessibilityKey));
    r.action->setEnabled(row.action.has_value() && !row.isBusy && !row.actionsDisabled);
  }
  QString hint;
  if (auto line = permissionSetupHint(model_)) {
    hint = line->error ? sessionErrorText(*line->error) : loc(line->key);
    setRole(p.permissionHint,
            line->identifier == std::string_view("permission-setup-hint") ? "secondary" : "error");
  }
  showMessage(p.permissionHint, hint);
  name(p.permissionHint, hint);
  p.start->setText(model_.isStartingTranslation() ? loc("permission.setup.starting")
                                                  : loc("permission.setup.start"));
  name(p.start, loc("permission.setup.start"));
  p.start->setEnabled(model_.permissionSnapshot().allAllowed() && !model_.isStartingTranslation());
}

void MainWindow::refreshHome() {
  auto& p = *parts_;
  p.homeTitle->setText(loc("mainWindow.tab.home"));
  p.account->setText(loc("home.account").arg(QString::fromStdString(model_.accountEmail())));
  p.signOut->setText(loc("home.signOut"));
  name(p.signOut, loc("home.signOut"));
  p.usedCaption->setText(loc("home.quota.used"));
  p.limitCaption->setText(loc("home.quota.limit"));

  const auto& status = stores_.membership.status();
  p.plan->setText(planText(status));
  const bool metered = status && status->quota.mode == MembershipQuotaMode::metered;
  const auto figure = [](const std::optional<int64_t>& value) {
    return value ? QString::number(*value) : QStringLiteral("–");
  };
  p.used->setText(metered ? figure(status->quota.used) : QStringLiteral("–"));
  p.limit->setText(metered ? figure(status->quota.limit) : loc("home.quota.unlimited"));
  name(p.used, p.usedCaption->text() + QStringLiteral(" ") + p.used->text());
  name(p.limit, p.limitCaption->text() + QStringLiteral(" ") + p.limit->text());

  const auto meter = FreeQuotaFooterPresentation::make(status);
  p.meter->setVisible(meter.has_value());
  p.meterText->setVisible(meter.has_value());
  if (meter) {
    p.meter->setRange(0, int(meter->limit));
    p.meter->setValue(int(std::clamp<int64_t>(meter->used, 0, meter->limit)));
    p.meterText->setText(loc("home.quota.meter").arg(meter->used).arg(meter->limit));
    name(p.meter, p.meterText->text());
  }
}

void MainWindow::applyTheme() {
  const CardTheme theme = CardTheme::forMode(stores_.appearance.mode());
  const auto rgba = [](const QColor& color) {
    return QStringLiteral("rgba(%1,%2,%3,%4)")
        .arg(color.red())
        .arg(color.green())
        .arg(color.blue())
        .arg(color.alpha());
  };
  const bool dark = stores_.appearance.mode() == AppearanceMode::dark;
  const QString sidebar = dark ? QStringLiteral("#1B1C1F") : QStringLiteral("#F3F4F7");
  const QString field = dark ? QStringLiteral("#2B2D32") : QStringLiteral("#FFFFFF");
  const QString fieldBorder = dark ? QStringLiteral("#464A52") : QStringLiteral("#C9CDD4");
  setStyleSheet(
      QStringLiteral(
          "#main-window { background: %1; }"
          "QWidget { color: %2; font-size: 14px; }"
          "QStackedWidget, #auth-page, #session-page, #permission-page, #home-page, "
          "#vocabulary-page,"
          " #review-page, #settings-page, #settings-content { background: %1; }"
          "QScrollArea { border: none; }"
          "QScrollBar:vertical { background: transparent; width: 10px; margin: 2px; }"
          "QScrollBar::handle:vertical { background: %8; border-radius: 3px; min-height: 32px; }"
          "QScrollBar::add-line:vertical, QScrollBar::sub-line:vertical { height: 0; }"
          "QScrollBar::add-page:vertical, QScrollBar::sub-page:vertical { background: none; }"
          "#sidebar { background: %3; border-right: 1px solid %4; }"
          "QLabel[role=\"title\"] { font-size: 22px; font-weight: 600; }"
          "QLabel[role=\"heading\"] { font-size: 15px; font-weight: 600; }"
          "QLabel[role=\"secondary\"] { color: %5; }"
          "QLabel[role=\"figure\"] { font-size: 26px; font-weight: 600; }"
          "QLabel[role=\"error\"] { color: %6; font-size: 13px; }"
          "QWidget[role=\"card\"] { border: 1px solid %4; border-radius: 10px; }"
          "QLineEdit { background: %7; border: 1px solid %8; border-radius: 6px;"
          " padding: 6px 8px; selection-background-color: %9; }"
          "QLineEdit:focus { border: 2px solid %10; padding: 5px 7px; }"
          "QComboBox { background: %7; border: 1px solid %8; border-radius: 6px;"
          " padding: 5px 8px; }"
          "QComboBox:focus { border: 2px solid %10; padding: 4px 7px; }"
          "QComboBox::drop-down { border: none; width: 24px; }"
          // A mid grey that reads on both backgrounds.
          "QComboBox::down-arrow { image: url(:/icons/chevron-down.svg); width: 12px;"
          " height: 12px; }"
          "QComboBox QAbstractItemView { background: %7; color: %2;"
          " selection-background-color: %9; }"
          "QPushButton { background: %7; border: 1px solid %8; border-radius: 6px;"
          " padding: 6px 14px; }"
          "QPushButton:hover { background: %11; }"
          "QPushButton:focus { border: 2px solid %10; padding: 5px 13px; outline: none; }"
          "QPushButton:disabled { color: %5; }"
          "QPushButton[role=\"primary\"] { background: %10; color: %12; border: none;"
          " padding: 8px 14px; font-weight: 600; }"
          "QPushButton[role=\"primary\"]:focus { border: 2px solid %2; padding: 6px 12px; }"
          "QPushButton[role=\"primary\"]:disabled { background: %8; color: %5; }"
          "QPushButton[role=\"link\"] { background: transparent; border: none; color: %10;"
          " padding: 2px 4px; }"
          "QPushButton[role=\"link\"]:focus { border: 1px solid %10; padding: 1px 3px; }"
          "QPushButton[role=\"tab\"] { background: transparent; border: none; text-align: left;"
          " padding: 8px 12px; border-radius: 6px; }"
          "QPushButton[role=\"tab\"]:checked { background: %11; font-weight: 600; }"
          "QPushButton[role=\"tab\"]:focus { border: 1px solid %10; padding: 7px 11px; }"
          "QLabel[role=\"binding\"] { font-weight: 600; }"
          "QLabel[role=\"listening\"] { color: %10; font-weight: 600; }"
          "QCheckBox { spacing: 10px; }"
          "QCheckBox::indicator { width: 16px; height: 16px; background: %7;"
          " border: 1px solid %8; border-radius: 4px; }"
          "QCheckBox::indicator:checked { background: %10; border-color: %10;"
          " image: url(:/icons/checkbox-%13.svg); }"
          "QCheckBox::indicator:disabled { background: %8; }"
          "QCheckBox:focus { outline: none; }"
          "QCheckBox::indicator:focus { border: 2px solid %10; width: 14px; height: 14px; }"
          "QCheckBox::indicator:checked:focus { border: 2px solid %2; }"
          "QProgressBar { background: %8; border: none; border-radius: 4px; }"
          "QProgressBar::chunk { background: %10; border-radius: 4px; }")
          .arg(theme.background.name(), theme.primaryText.name(), sidebar, rgba(theme.border),
               theme.secondaryText.name(), theme.error.name(), field, fieldBorder,
               theme.selection.name())
          .arg(theme.accent.name(), rgba(theme.controlPressed),
               // Light text on the light theme's deep blue, dark on the dark theme's pale one.
               dark ? theme.background.name() : QStringLiteral("#FFFFFF"),
               dark ? QStringLiteral("dark") : QStringLiteral("light")));
}

}  // namespace trelvis
