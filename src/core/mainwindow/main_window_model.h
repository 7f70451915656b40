#pragma once

// MainWindowModel: the observable state behind the main window: the session and
// its sign-in form, the recovery of a session the network interrupted, the
// selected page, the permission setup gate, and whether translation is available
// now. It runs on the main executor; the session coordinator does the account
// work on its own, and the model awaits it. `changed` fires after every change of
// what a view shows.

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "base/async/task.h"
#include "base/clock.h"
#include "base/signal.h"
#include "core/account/auth_session_error.h"
#include "core/account/auth_session_types.h"
#include "core/mainwindow/main_window_controlling.h"
#include "core/mainwindow/main_window_services.h"
#include "core/mainwindow/translation_availability_gating.h"

namespace trelvis {

class AuthSessionCoordinator;
class Executor;
class SetupCompletionStore;
class SignInHistoryStore;

// "register" is a keyword of the language: registration.
enum class AuthMode { login, registration, resetPassword };

enum class AuthValidationError {
  emailRequired,
  emailFormatInvalid,
  verificationCodeRequired,
  verificationCodeFormat,
  verificationCodeRejected,
  passwordLength,
};

enum class AuthEmailNotice { alreadyRegistered, notRegistered };
enum class AuthFocusRequest { email, verificationCode, password };
enum class ConnectionIssue { networkUnavailable, serviceUnavailable };
enum class PermissionSetupAction { openSettings, restart };

struct PermissionSetupNotice {
  enum class Kind { authentication, openSystemSettingsFailed, permissionNotEnabled };
  Kind kind;
  std::optional<AuthSessionError> error;  // for authentication

  friend bool operator==(const PermissionSetupNotice&, const PermissionSetupNotice&) = default;
};

// A step of a new user's journey, for the analytics. Which fields are set
// depends on the kind.
struct NewUserJourneyEvent {
  enum class Kind {
    authShown,
    loggedIn,
    signedUp,
    permissionShown,
    permissionAction,
    permissionGranted,
    setupCompleted,
  };
  Kind kind;
  std::optional<AuthMode> authMode;
  std::optional<SystemPermissionKind> permission;
  std::optional<PermissionSetupAction> action;
  bool setupCompleted = false;
  int64_t secondsSinceShown = 0;
  std::string launchAtLogin;  // "unavailable", "on" or "off"

  friend bool operator==(const NewUserJourneyEvent&, const NewUserJourneyEvent&) = default;
};

// Validation of the sign-in form; each gives the first rule the text breaks.
std::optional<AuthValidationError> validateEmail(std::string_view trimmed);
std::optional<AuthValidationError> validateVerificationCode(std::string_view trimmed);
std::optional<AuthValidationError> validatePassword(std::string_view password);

class MainWindowModel final : public TranslationAvailabilityGating,
                              public MainWindowControlling,
                              public std::enable_shared_from_this<MainWindowModel> {
 public:
  struct Dependencies {
    std::shared_ptr<Executor> mainExecutor;
    std::shared_ptr<AuthSessionCoordinator> session;
    SignInHistoryStore* signInHistory = nullptr;
    SetupCompletionStore* setupCompletion = nullptr;  // optional
    std::shared_ptr<NetworkPathObserver> networkObserver;
    std::shared_ptr<AccountSummaryStoring> accountSummary;
    std::shared_ptr<MembershipStoreActivating> membership;
    std::shared_ptr<HomeActivityStoring> homeActivity;
    std::shared_ptr<ReviewPageModeling> review;
    std::shared_ptr<VocabularyPageModeling> vocabulary;
    std::shared_ptr<TutorialProgressReloading> tutorial;
    std::shared_ptr<LaunchAtLoginControlling> launchAtLogin;
    std::shared_ptr<MainWindowShortcuts> shortcuts;
    std::shared_ptr<SystemPermissionProviding> permissions;
    // The application's language ("zh-Hans", "en"), read when a code is sent.
    std::function<std::string()> appLanguage;
    // The pricing page for the current language, and how to open it.
    std::function<std::string()> membershipPurchaseURL;
    std::function<bool(const std::string& url)> openMembershipPurchaseURL;
    bool isTranslocated = false;
    bool isApplicationHidden = false;
    Duration recoveryDelay = std::chrono::seconds(5);
  };

  explicit MainWindowModel(Dependencies dependencies);
  ~MainWindowModel() override;

  // --- Window life and pages.
  void start();
  void stop() override;
  void selectTab(MainTab tab) override;
  void requestHomeSummaryRefresh() override;
  void requestMembershipStatusRefresh() override;
  void openMembershipPurchase() override;
  void applySession(const AuthSessionSnapshot& snapshot);
  std::optional<int64_t> reviewDisplayCount() const;

  // --- The sign-in form.
  void switchAuthMode(AuthMode mode);
  bool canSendVerificationCode() const;
  void sendVerificationCode();
  void submitAuth();
  void logout();
  void clearEmailError();
  void authFormAppeared();
  std::string accountEmail() const;
  void requestSessionRecovery();
  void cancelSessionRecovery();

  // --- The permission setup gate.
  bool translationAvailable() const override;
  void refreshSystemPermissions() override;
  void requestPermissionRecoveryForUserAction() override;
  // Refreshes while the setup page shows; the view cancels the task when it goes.
  Async<void> pollSystemPermissionsWhileVisible();
  void reportVisiblePermissionRows();
  SystemPermissionState permissionRowState(SystemPermissionKind kind) const;
  void performPermissionAction(SystemPermissionKind kind);
  void startTranslating();
  void relaunchForPermissions();
  void completeFirstSetupIfNeeded();
  void publishTranslationAvailability();
  void setScreenRecordingRelaunchSuggested(bool suggested);
  void setApplicationHidden(bool hidden) { deps_.isApplicationHidden = hidden; }

  // --- Observable state.
  const AuthSessionSnapshot& session() const { return session_; }
  MainTab selectedTab() const { return selectedTab_; }
  AuthMode authMode() const { return authMode_; }
  bool isRestoring() const { return isRestoring_; }
  bool isSessionRecoveryPending() const { return isSessionRecoveryPending_; }
  std::optional<ConnectionIssue> connectionIssue() const { return connectionIssue_; }
  const std::optional<AuthUser>& cachedUser() const { return cachedUser_; }
  bool isSubmitting() const { return isSubmitting_; }
  bool isSendingCode() const { return isSendingCode_; }
  int64_t codeCooldownRemaining() const { return codeCooldownRemaining_; }

  std::string email;
  std::string password;
  std::string verificationCode;
  std::optional<AuthValidationError> emailError() const { return emailError_; }
  std::optional<AuthValidationError> verificationCodeError() const {
    return verificationCodeError_;
  }
  std::optional<AuthValidationError> passwordError() const { return passwordError_; }
  std::optional<AuthEmailNotice> emailNotice() const { return emailNotice_; }
  const std::optional<AuthSessionError>& submitError() const { return submitError_; }
  const std::optional<AuthSessionError>& codeRequestError() const { return codeRequestError_; }
  // A one-shot hint: the view takes it and so clears it.
  std::optional<AuthFocusRequest> takeFocusRequest() { return std::exchange(focusRequest_, {}); }
  std::optional<AuthFocusRequest> focusRequest() const { return focusRequest_; }

  const SystemPermissionSnapshot& permissionSnapshot() const { return permissionSnapshot_; }
  bool permissionGatePresented() const { return permissionGatePresented_; }
  std::optional<SystemPermissionKind> activePermissionRequest() const {
    return activePermissionRequest_;
  }
  const std::optional<PermissionSetupNotice>& permissionNotice() const { return permissionNotice_; }
  bool isStartingTranslation() const { return isStartingTranslation_; }
  bool screenRecordingRelaunchSuggested() const { return screenRecordingRelaunchSuggested_; }
  bool isTranslocated() const { return deps_.isTranslocated; }
  int64_t membershipFocusRequestID() const { return membershipFocusRequestID_; }
  bool membershipPurchaseOpenFailed() const { return membershipPurchaseOpenFailed_; }

  Signal<>& changed() { return changed_; }

  std::function<void(const NewUserJourneyEvent&)> onJourneyEvent;
  std::function<void(SystemPermissionKind)> onPermissionGuideRequested;
  std::function<void(SystemPermissionKind)> onPermissionGranted;
  std::function<void()> onPermissionRecoveryRequested;
  std::function<void()> onMembershipSettingsRequested;

 private:
  void networkDidChange(bool available);
  void resetVerificationState();
  void startCooldown(int64_t seconds);
  void applyCodeRequestFailure(const AuthSessionError& error);
  void applyAuthResult(const AuthResult<AuthSessionSnapshot>& result,
                       NewUserJourneyEvent::Kind event);
  void applySubmitFailure(const AuthSessionError& error);
  void applyRestoreResult(const AuthResult<AuthSessionSnapshot>& result,
                          const std::optional<AuthUser>& storedUser);
  void scheduleRecoveryRetry();
  void releaseTextInputFocus();
  void runPermissionPart();
  void journey(NewUserJourneyEvent event);
  bool signedIn() const { return session_.isAuthenticated; }
  bool setupCompleted() const;
  void notify() { changed_.emit(); }

  // Spawns `body` on the main executor; the body is given the model if it still exists.
  template <class F>
  Task<void> spawnHolding(F body);

  Dependencies deps_;

  AuthSessionSnapshot session_;
  MainTab selectedTab_ = MainTab::home;
  AuthMode authMode_ = AuthMode::registration;
  bool isRestoring_ = true;
  bool isSessionRecoveryPending_ = false;
  std::optional<ConnectionIssue> connectionIssue_;
  std::optional<AuthUser> cachedUser_;
  bool isSubmitting_ = false;
  bool isSendingCode_ = false;
  int64_t codeCooldownRemaining_ = 0;
  std::optional<AuthValidationError> emailError_, verificationCodeError_, passwordError_;
  std::optional<AuthEmailNotice> emailNotice_;
  std::optional<AuthSessionError> submitError_, codeRequestError_;
  std::optional<AuthFocusRequest> focusRequest_;
  bool reportedAuthShown_ = false;
  uint64_t verificationGeneration_ = 0;
  std::optional<bool> networkAvailable_;
  bool started_ = false;
  bool stopped_ = false;
  std::optional<bool> lastPublishedTranslationAvailability_;
  int64_t membershipFocusRequestID_ = 0;
  bool membershipPurchaseOpenFailed_ = false;

  SystemPermissionSnapshot permissionSnapshot_;
  bool permissionGatePresented_ = false;
  std::optional<SystemPermissionKind> activePermissionRequest_;
  std::optional<PermissionSetupNotice> permissionNotice_;
  bool isStartingTranslation_ = false;
  bool screenRecordingRelaunchSuggested_ = false;
  std::map<SystemPermissionKind, Instant> permissionRowsShownAt_;

  Task<void> restoreTask_, cooldownTask_, recoveryRetryTask_, sessionObservationTask_;
  Signal<> changed_;
};

}  // namespace trelvis
