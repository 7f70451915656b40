#include "core/mainwindow/main_window_model.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "base/async/sleep.h"
#include "base/async/task_context.h"
#include "base/log.h"
#include "base/text.h"
#include "core/account/auth_session_coordinator.h"
#include "core/prefs/setup_completion_store.h"
#include "core/prefs/sign_in_history_store.h"

namespace trelvis {
namespace {

const LogCategory kLog("main-window");

using ErrorKind = AuthSessionError::Kind;

bool isContinuationByte(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

// The text split into its characters (code points), each as its UTF-8 bytes.
std::vector<std::string_view> characters(std::string_view text) {
  std::vector<std::string_view> result;
  std::size_t start = 0;
  for (std::size_t i = 1; i <= text.size(); ++i) {
    if (i == text.size() || !isContinuationByte(text[i])) {
      result.push_back(text.substr(start, i - start));
      start = i;
    }
  }
  return result;
}

// Splits at `separator`, keeping empty pieces.
std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> pieces;
  std::size_t start = 0;
  for (;;) {
    auto at = text.find(separator, start);
    pieces.push_back(text.substr(start, at == std::string_view::npos ? at : at - start));
    if (at == std::string_view::npos) return pieces;
    start = at + 1;
  }
}

std::optional<std::string> userID(const AuthSessionSnapshot& snapshot) {
  if (!snapshot.user) return std::nullopt;
  return snapshot.user->id;
}

const char* launchAtLoginWord(LaunchAtLoginStatus status) {
  switch (status) {
    case LaunchAtLoginStatus::unavailable:
      return "unavailable";
    case LaunchAtLoginStatus::on:
      return "on";
    case LaunchAtLoginStatus::off:
      return "off";
  }
  return "unavailable";
}

}  // namespace

std::optional<AuthValidationError> validateEmail(std::string_view trimmedEmail) {
  if (trimmedEmail.empty()) return AuthValidationError::emailRequired;
  for (auto character : characters(trimmedEmail)) {
    if (isBlank(character)) return AuthValidationError::emailFormatInvalid;
  }
  auto halves = split(trimmedEmail, '@');
  if (halves.size() != 2 || halves[0].empty()) return AuthValidationError::emailFormatInvalid;
  auto labels = split(halves[1], '.');
  if (labels.size() < 2 ||
      std::any_of(labels.begin(), labels.end(), [](auto label) { return label.empty(); })) {
    return AuthValidationError::emailFormatInvalid;
  }
  return std::nullopt;
}

std::optional<AuthValidationError> validateVerificationCode(std::string_view trimmedCode) {
  if (trimmedCode.empty()) return AuthValidationError::verificationCodeRequired;
  bool digits = std::all_of(trimmedCode.begin(), trimmedCode.end(),
                            [](char c) { return c >= '0' && c <= '9'; });
  if (trimmedCode.size() != 6 || !digits) return AuthValidationError::verificationCodeFormat;
  return std::nullopt;
}

std::optional<AuthValidationError> validatePassword(std::string_view password) {
  auto length = characters(password).size();
  if (length < 8 || length > 128) return AuthValidationError::passwordLength;
  return std::nullopt;
}

MainWindowModel::MainWindowModel(Dependencies dependencies) : deps_(std::move(dependencies)) {
  if (deps_.signInHistory && deps_.signInHistory->hasSignedInOnThisMac()) {
    authMode_ = AuthMode::login;
  }
}

MainWindowModel::~MainWindowModel() {
  for (auto* task :
       {&restoreTask_, &cooldownTask_, &recoveryRetryTask_, &sessionObservationTask_}) {
    task->cancel();
  }
  if (!stopped_ && started_) deps_.networkObserver->cancel();
}

// --- Window life and pages.

void MainWindowModel::start() {
  if (std::exchange(started_, true)) return;
  deps_.launchAtLogin->refreshStatus();
  sessionObservationTask_ =
      spawn(deps_.mainExecutor,
            [weak = weak_from_this(),
             updates = deps_.session->sessionUpdates()]() mutable -> Async<void> {
              while (auto snapshot = co_await updates.next()) {
                auto self = weak.lock();
                if (!self) co_return;
                self->applySession(*snapshot);
              }
            });
  deps_.networkObserver->start([weak = weak_from_this()](bool available) {
    if (auto self = weak.lock()) self->networkDidChange(available);
  });
  requestSessionRecovery();
}

void MainWindowModel::stop() {
  stopped_ = true;
  resetVerificationState();
  deps_.networkObserver->cancel();
  cancelSessionRecovery();
  sessionObservationTask_.cancel();
  sessionObservationTask_ = {};
  deps_.accountSummary->activate(std::nullopt);
  deps_.membership->activate(std::nullopt);
  deps_.shortcuts->cancelRecording();
  releaseTextInputFocus();
  deps_.vocabulary->reset();
  deps_.review->reset();
  notify();
}

void MainWindowModel::networkDidChange(bool available) {
  networkAvailable_ = available;
  if (stopped_) return;
  recoveryRetryTask_.cancel();
  recoveryRetryTask_ = {};
  if (!available) {
    connectionIssue_ = ConnectionIssue::networkUnavailable;
  } else if (!isRestoring_ && !isSessionRecoveryPending_ && !connectionIssue_) {
    return;
  } else if (isRestoring_ || session_.isAuthenticated || isSessionRecoveryPending_) {
    requestSessionRecovery();
  } else {
    connectionIssue_.reset();
  }
  notify();
}

void MainWindowModel::applySession(const AuthSessionSnapshot& snapshot) {
  isRestoring_ = false;
  isSessionRecoveryPending_ = false;
  cachedUser_.reset();
  connectionIssue_ = networkAvailable_ == false ? std::optional(ConnectionIssue::networkUnavailable)
                                                : std::nullopt;
  recoveryRetryTask_.cancel();
  recoveryRetryTask_ = {};

  bool stillSignedIn = !session_.isAuthenticated || snapshot.isAuthenticated;
  bool sameUser = userID(session_) == userID(snapshot);
  session_ = snapshot;
  if (!(stillSignedIn && sameUser)) {
    deps_.vocabulary->reset();
    deps_.review->reset();
  }
  auto user = userID(snapshot);
  deps_.accountSummary->activate(user);
  deps_.membership->activate(user);
  deps_.homeActivity->activate(user);

  if (!stillSignedIn) {
    authMode_ = AuthMode::login;
    password.clear();
    permissionGatePresented_ = false;
    permissionNotice_.reset();
    focusRequest_ = trimmed(email).empty() ? AuthFocusRequest::email : AuthFocusRequest::password;
  }
  if (snapshot.isAuthenticated) {
    deps_.tutorial->reloadRegistrationProgress();
    if (deps_.signInHistory) deps_.signInHistory->markSignedIn();
    refreshSystemPermissions();
    requestHomeSummaryRefresh();
    requestMembershipStatusRefresh();
  }
  publishTranslationAvailability();
  notify();
}

void MainWindowModel::publishTranslationAvailability() {
  bool available = translationAvailable();
  if (lastPublishedTranslationAvailability_ == available) return;
  lastPublishedTranslationAvailability_ = available;
  if (onTranslationAvailabilityChanged) onTranslationAvailabilityChanged(available);
}

void MainWindowModel::selectTab(MainTab tab) {
  if (tab != MainTab::review && selectedTab_ == MainTab::review && deps_.review->isComplete()) {
    deps_.review->endCompletedSession();
  }
  if (tab == MainTab::review && selectedTab_ != MainTab::review) deps_.review->prepareForEntry();
  if (tab == MainTab::vocabulary && selectedTab_ != MainTab::vocabulary) {
    deps_.vocabulary->prepareForEntry();
  }
  if (selectedTab_ == tab) return;
  selectedTab_ = tab;
  notify();
}

std::optional<int64_t> MainWindowModel::reviewDisplayCount() const {
  if (deps_.review->hasLoaded()) {
    if (auto count = deps_.review->confirmedRemainingCount()) return count;
  }
  return deps_.accountSummary->dueReviewCount();
}

void MainWindowModel::requestHomeSummaryRefresh() {
  if (session_.isAuthenticated && session_.user) deps_.accountSummary->requestRefresh();
}

void MainWindowModel::requestMembershipStatusRefresh() {
  if (session_.isAuthenticated && session_.user) deps_.membership->requestRefresh();
}

// When the pricing page cannot be opened, the settings page takes the user to
// the membership section instead.
void MainWindowModel::openMembershipPurchase() {
  std::string url = deps_.membershipPurchaseURL ? deps_.membershipPurchaseURL() : std::string();
  bool opened =
      !url.empty() && deps_.openMembershipPurchaseURL && deps_.openMembershipPurchaseURL(url);
  membershipPurchaseOpenFailed_ = !opened;
  if (!opened) {
    kLog.warning("the membership purchase page did not open");
    ++membershipFocusRequestID_;
    selectTab(MainTab::settings);
    if (onMembershipSettingsRequested) onMembershipSettingsRequested();
  }
  notify();
}

// --- The sign-in form.

std::string MainWindowModel::accountEmail() const {
  if (session_.user) return session_.user->email;
  if (cachedUser_) return cachedUser_->email;
  return {};
}

void MainWindowModel::authFormAppeared() {
  if (std::exchange(reportedAuthShown_, true)) return;
  journey({.kind = NewUserJourneyEvent::Kind::authShown, .authMode = authMode_});
}

void MainWindowModel::clearEmailError() {
  emailError_.reset();
  emailNotice_.reset();
  notify();
}

void MainWindowModel::switchAuthMode(AuthMode mode) {
  authMode_ = mode;
  password.clear();
  emailError_.reset();
  passwordError_.reset();
  submitError_.reset();
  resetVerificationState();
  notify();
}

void MainWindowModel::resetVerificationState() {
  ++verificationGeneration_;
  isSendingCode_ = false;
  verificationCodeError_.reset();
  emailNotice_.reset();
  codeRequestError_.reset();
  verificationCode.clear();
  focusRequest_.reset();
  cooldownTask_.cancel();
  cooldownTask_ = {};
  codeCooldownRemaining_ = 0;
}

bool MainWindowModel::canSendVerificationCode() const {
  return authMode_ != AuthMode::login && !isSendingCode_ && !isSubmitting_ &&
         codeCooldownRemaining_ == 0;
}

void MainWindowModel::sendVerificationCode() {
  if (!canSendVerificationCode()) return;
  std::string address = trimmed(email);
  emailError_ = validateEmail(address);
  emailNotice_.reset();
  codeRequestError_.reset();
  verificationCodeError_.reset();
  if (emailError_) {
    notify();
    return;
  }
  auto purpose = authMode_ == AuthMode::registration ? EmailCodePurpose::registration
                                                     : EmailCodePurpose::passwordReset;
  std::string language = deps_.appLanguage && deps_.appLanguage() == "zh-Hans" ? "zh" : "en";
  isSendingCode_ = true;
  notify();
  spawn(deps_.mainExecutor,
        [weak = weak_from_this(), session = deps_.session, generation = verificationGeneration_,
         address, purpose, language]() -> Async<void> {
          auto result = co_await session->sendEmailCode(address, purpose, language);
          auto self = weak.lock();
          // A reply to a form that has moved on touches nothing.
          if (!self || self->verificationGeneration_ != generation) co_return;
          if (result) {
            self->startCooldown(*result);
          } else {
            self->applyCodeRequestFailure(result.error());
          }
          self->isSendingCode_ = false;
          self->notify();
        })
      .detach();
}

void MainWindowModel::applyCodeRequestFailure(const AuthSessionError& error) {
  switch (error.kind()) {
    case ErrorKind::verificationCooldown:
      startCooldown(error.cooldownSeconds());
      codeRequestError_ = error;
      break;
    case ErrorKind::emailAlreadyRegistered:
      emailNotice_ = AuthEmailNotice::alreadyRegistered;
      break;
    case ErrorKind::emailNotRegistered:
      emailNotice_ = AuthEmailNotice::notRegistered;
      break;
    default:
      codeRequestError_ = error;
      break;
  }
}

void MainWindowModel::startCooldown(int64_t seconds) {
  cooldownTask_.cancel();
  cooldownTask_ = {};
  codeCooldownRemaining_ = std::max<int64_t>(seconds, 0);
  if (codeCooldownRemaining_ == 0) return;
  cooldownTask_ = spawn(deps_.mainExecutor, [weak = weak_from_this()]() -> Async<void> {
    for (;;) {
      co_await sleepFor(std::chrono::seconds(1));
      auto self = weak.lock();
      if (!self) co_return;
      if (self->codeCooldownRemaining_ > 1) {
        --self->codeCooldownRemaining_;
        self->notify();
        continue;
      }
      self->codeCooldownRemaining_ = 0;
      self->cooldownTask_ = {};
      self->notify();
      co_return;
    }
  });
}

void MainWindowModel::submitAuth() {
  if (isSubmitting_ || isSendingCode_) return;
  std::string address = trimmed(email);
  std::string code = trimmed(verificationCode);
  emailError_ = validateEmail(address);
  verificationCodeError_ =
      authMode_ == AuthMode::login ? std::nullopt : validateVerificationCode(code);
  passwordError_ = validatePassword(password);
  submitError_.reset();
  codeRequestError_.reset();
  if (emailError_ || verificationCodeError_ || passwordError_) {
    notify();
    return;
  }
  isSubmitting_ = true;
  notify();
  spawn(deps_.mainExecutor,
        [weak = weak_from_this(), session = deps_.session, mode = authMode_, address, code,
         secret = password]() -> Async<void> {
          using Event = NewUserJourneyEvent::Kind;
          switch (mode) {
            case AuthMode::login: {
              auto result = co_await session->login(address, secret);
              if (auto self = weak.lock()) self->applyAuthResult(result, Event::loggedIn);
              break;
            }
            case AuthMode::registration: {
              auto result = co_await session->registerAccount(address, secret, code);
              if (auto self = weak.lock()) self->applyAuthResult(result, Event::signedUp);
              break;
            }
            case AuthMode::resetPassword: {
              auto result = co_await session->resetPassword(address, code, secret);
              auto self = weak.lock();
              if (!self) break;
              if (!result) {
                self->applySubmitFailure(result.error());
              } else {
                self->releaseTextInputFocus();
                self->switchAuthMode(AuthMode::login);
                self->focusRequest_ = AuthFocusRequest::password;
              }
              break;
            }
          }
          if (auto self = weak.lock()) {
            self->isSubmitting_ = false;
            self->notify();
          }
        })
      .detach();
}

void MainWindowModel::applyAuthResult(const AuthResult<AuthSessionSnapshot>& result,
                                      NewUserJourneyEvent::Kind event) {
  if (!result) {
    applySubmitFailure(result.error());
    return;
  }
  journey({.kind = event});
  releaseTextInputFocus();
  focusRequest_.reset();
  applySession(*result);
  authMode_ = AuthMode::login;
  password.clear();
  resetVerificationState();
}

void MainWindowModel::applySubmitFailure(const AuthSessionError& error) {
  if (error.kind() == ErrorKind::emailAlreadyRegistered && authMode_ == AuthMode::registration) {
    emailNotice_ = AuthEmailNotice::alreadyRegistered;
  } else if (error.kind() == ErrorKind::emailNotRegistered &&
             authMode_ == AuthMode::resetPassword) {
    emailNotice_ = AuthEmailNotice::notRegistered;
  } else if (error.kind() == ErrorKind::verificationCodeInvalid) {
    verificationCodeError_ = AuthValidationError::verificationCodeRejected;
  } else {
    submitError_ = error;
  }
}

void MainWindowModel::releaseTextInputFocus() {
  if (deps_.shortcuts->textInputFocused()) deps_.shortcuts->setTextInputFocused(false);
}

void MainWindowModel::requestSessionRecovery() {
  if (restoreTask_ || isSubmitting_) return;
  recoveryRetryTask_.cancel();
  recoveryRetryTask_ = {};
  restoreTask_ = spawn(deps_.mainExecutor,
                       [weak = weak_from_this(), session = deps_.session]() -> Async<void> {
                         // Known before the network wait, for the window to show.
                         auto storedUser = session->storedUser();
                         auto result = co_await session->restore();
                         if (isCancelled()) co_return;
                         if (auto self = weak.lock()) self->applyRestoreResult(result, storedUser);
                       });
}

void MainWindowModel::applyRestoreResult(const AuthResult<AuthSessionSnapshot>& result,
                                         const std::optional<AuthUser>& storedUser) {
  restoreTask_ = {};
  isRestoring_ = false;
  if (result) {
    submitError_.reset();
    applySession(*result);
    return;
  }
  const auto& error = result.error();
  switch (error.kind()) {
    case ErrorKind::network:
    case ErrorKind::server:
    case ErrorKind::invalidResponse:
      // The outcome is unknown and the refresh token stands: try again later.
      kLog.info("session recovery failed, to be retried: {}", error.what());
      isSessionRecoveryPending_ = true;
      cachedUser_ = storedUser;
      submitError_.reset();
      connectionIssue_ = error.kind() == ErrorKind::network || networkAvailable_ == false
                             ? ConnectionIssue::networkUnavailable
                             : ConnectionIssue::serviceUnavailable;
      scheduleRecoveryRetry();
      notify();
      break;
    default:
      kLog.warning("session recovery failed: {}", error.what());
      applySession(AuthSessionSnapshot::signedOut());
      submitError_ = error;
      notify();
      break;
  }
}

void MainWindowModel::scheduleRecoveryRetry() {
  // Without a network the next report of one retries.
  if (networkAvailable_ == false) return;
  recoveryRetryTask_ = spawn(
      deps_.mainExecutor, [weak = weak_from_this(), delay = deps_.recoveryDelay]() -> Async<void> {
        co_await sleepFor(delay);
        auto self = weak.lock();
        if (!self) co_return;
        self->recoveryRetryTask_ = {};
        if (self->isSessionRecoveryPending_ && self->networkAvailable_ != false) {
          self->requestSessionRecovery();
        }
      });
}

void MainWindowModel::cancelSessionRecovery() {
  restoreTask_.cancel();
  restoreTask_ = {};
  recoveryRetryTask_.cancel();
  recoveryRetryTask_ = {};
}

void MainWindowModel::logout() {
  if (std::exchange(isSubmitting_, true)) return;
  submitError_.reset();
  cancelSessionRecovery();
  notify();
  spawn(deps_.mainExecutor, [weak = weak_from_this(), session = deps_.session]() -> Async<void> {
    auto result = co_await session->logout();
    auto self = weak.lock();
    if (!self) co_return;
    if (result) {
      self->applySession(*result);
    } else {
      self->submitError_ = result.error();
    }
    self->isSubmitting_ = false;
    self->notify();
  }).detach();
}

void MainWindowModel::journey(NewUserJourneyEvent event) {
  if (onJourneyEvent) onJourneyEvent(event);
}

// --- The permission setup gate.

bool MainWindowModel::translationAvailable() const {
  return session_.isAuthenticated && permissionSnapshot_.allAllowed() && !permissionGatePresented_;
}

bool MainWindowModel::setupCompleted() const {
  return deps_.setupCompletion && deps_.setupCompletion->isCompleted();
}

void MainWindowModel::refreshSystemPermissions() {
  if (!signedIn()) return;
  auto before = std::exchange(permissionSnapshot_, deps_.permissions->snapshot());
  if (permissionGatePresented_) {
    for (auto kind : kAllSystemPermissionKinds) {
      if (before.state(kind) == SystemPermissionState::allowed ||
          permissionSnapshot_.state(kind) != SystemPermissionState::allowed) {
        continue;
      }
      if (kind == SystemPermissionKind::screenRecording) screenRecordingRelaunchSuggested_ = false;
      auto now = deps_.mainExecutor->now();
      auto shown = permissionRowsShownAt_.count(kind) ? permissionRowsShownAt_[kind] : now;
      auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now - shown).count();
      journey({.kind = NewUserJourneyEvent::Kind::permissionGranted,
               .permission = kind,
               .setupCompleted = setupCompleted(),
               .secondsSinceShown = std::max<int64_t>(seconds, 0)});
      if (onPermissionGranted) onPermissionGranted(kind);
    }
  }
  if (!permissionSnapshot_.allAllowed()) permissionGatePresented_ = true;
  publishTranslationAvailability();
  notify();
}

Async<void> MainWindowModel::pollSystemPermissionsWhileVisible() {
  auto weak = weak_from_this();
  for (;;) {
    Duration pause = std::chrono::milliseconds(500);
    {
      auto self = weak.lock();
      if (!self) co_return;
      self->refreshSystemPermissions();
      self->reportVisiblePermissionRows();
      if (isCancelled() || !self->signedIn() || !self->permissionGatePresented_) co_return;
      if (self->deps_.isApplicationHidden) pause = std::chrono::seconds(5);
    }
    co_await sleepFor(pause);
  }
}

void MainWindowModel::reportVisiblePermissionRows() {
  if (!signedIn() || !permissionGatePresented_) return;
  for (auto kind : kAllSystemPermissionKinds) {
    if (permissionSnapshot_.state(kind) == SystemPermissionState::allowed ||
        permissionRowsShownAt_.count(kind)) {
      continue;
    }
    permissionRowsShownAt_[kind] = deps_.mainExecutor->now();
    journey({.kind = NewUserJourneyEvent::Kind::permissionShown,
             .permission = kind,
             .setupCompleted = setupCompleted()});
  }
}

SystemPermissionState MainWindowModel::permissionRowState(SystemPermissionKind kind) const {
  auto state = permissionSnapshot_.state(kind);
  if (kind == SystemPermissionKind::screenRecording && state != SystemPermissionState::allowed &&
      screenRecordingRelaunchSuggested_) {
    return SystemPermissionState::restartRequired;
  }
  return state;
}

void MainWindowModel::setScreenRecordingRelaunchSuggested(bool suggested) {
  screenRecordingRelaunchSuggested_ = suggested;
  notify();
}

void MainWindowModel::performPermissionAction(SystemPermissionKind kind) {
  if (activePermissionRequest_ || deps_.isTranslocated) return;
  permissionNotice_.reset();
  auto state = permissionRowState(kind);
  if (state == SystemPermissionState::allowed) {
    notify();
    return;
  }
  bool restart = state >= SystemPermissionState::restartRequired;
  journey({.kind = NewUserJourneyEvent::Kind::permissionAction,
           .permission = kind,
           .action = restart ? PermissionSetupAction::restart : PermissionSetupAction::openSettings,
           .setupCompleted = setupCompleted()});
  if (restart) {
    deps_.permissions->restartApplication();
  } else if (!deps_.permissions->openSettings(kind)) {
    kLog.warning("no settings page opened for a permission");
    permissionNotice_ =
        PermissionSetupNotice{PermissionSetupNotice::Kind::openSystemSettingsFailed, std::nullopt};
  } else {
    permissionNotice_.reset();
    if (onPermissionGuideRequested) onPermissionGuideRequested(kind);
  }
  notify();
}

void MainWindowModel::startTranslating() {
  if (!permissionSnapshot_.allAllowed() || isStartingTranslation_) return;
  isStartingTranslation_ = true;
  permissionNotice_.reset();
  notify();
  spawn(deps_.mainExecutor, [weak = weak_from_this(), session = deps_.session]() -> Async<void> {
    auto result = co_await session->canAttemptAuthenticatedRequest();
    auto self = weak.lock();
    if (!self) co_return;
    if (!result) {
      self->permissionNotice_ =
          PermissionSetupNotice{PermissionSetupNotice::Kind::authentication, result.error()};
    } else if (!*result) {
      self->applySession(AuthSessionSnapshot::signedOut());
    } else {
      self->refreshSystemPermissions();
      if (!self->permissionSnapshot_.allAllowed()) {
        self->permissionGatePresented_ = true;
        self->permissionNotice_ =
            PermissionSetupNotice{PermissionSetupNotice::Kind::permissionNotEnabled, std::nullopt};
      } else {
        self->selectTab(MainTab::home);
        self->completeFirstSetupIfNeeded();
        self->permissionGatePresented_ = false;
      }
      self->publishTranslationAvailability();
    }
    self->isStartingTranslation_ = false;
    self->notify();
  }).detach();
}

void MainWindowModel::completeFirstSetupIfNeeded() {
  if (!deps_.setupCompletion || deps_.setupCompletion->isCompleted()) return;
  deps_.launchAtLogin->refreshStatus();
  if (deps_.launchAtLogin->status() == LaunchAtLoginStatus::off) deps_.launchAtLogin->enable();
  deps_.setupCompletion->markCompleted();
  journey({.kind = NewUserJourneyEvent::Kind::setupCompleted,
           .setupCompleted = true,
           .launchAtLogin = launchAtLoginWord(deps_.launchAtLogin->status())});
}

void MainWindowModel::requestPermissionRecoveryForUserAction() {
  if (!signedIn() || permissionSnapshot_.allAllowed()) return;
  permissionGatePresented_ = true;
  publishTranslationAvailability();
  notify();
  if (onPermissionRecoveryRequested) onPermissionRecoveryRequested();
}

void MainWindowModel::relaunchForPermissions() {
  deps_.permissions->restartApplication();
}

}  // namespace trelvis
