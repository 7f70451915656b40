#pragma once

// AppEnvironment: the composition root. It is the one place where the
// long-lived objects are created, in a fixed order in which each may use those
// before it, and the one place where they are connected: every callback
// between subsystems is installed here and holds its target weakly. It also
// holds the three gates between a recognised trigger and a translation
// (`handleLookupTrigger`, `handleSelectTrigger`, `handleRegionSelection`),
// which refresh permissions, stop the other translation, and refuse while
// translation is unavailable. Created once on the main thread by the
// application; it and everything in it live until the process ends, and
// `stop()` is the only shut-down step.

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/environment.h"
#include "base/signal.h"
#include "core/mainwindow/main_window_controlling.h"
#include "core/triggers/shortcut_controller.h"

namespace trelvis {

class AccessTokenProviding;
class AnalyticsService;
class AppLanguageStore;
class AppearanceStore;
class AuthenticatedRequestChecking;
class DockPresenceStore;
class EnglishPronunciationStore;
class HomeActivityRecording;
class HttpTransport;
class InputTranslateCancelling;
class InputTranslateDraftResetting;
class InputTranslatePanelControlling;
class LearningEnrolling;
class LookupAPIClient;
class LookupCaseRecorder;
class LookupCoordinator;
class LookupOverlayModel;
class MembershipStatusRefreshing;
class NewUserJourneyTracker;
class OverlayPanelPresenting;
class PreferenceStore;
class PronunciationPlaying;
class PronunciationSettingsStore;
class RegionSelectionOverlayControlling;
class ScreenCapturing;
class SecondaryTargetLanguageStore;
class SelectTranslateTriggering;
class SetupCompletionStore;
class ShortcutBindingStore;
class SignInHistoryStore;
class TargetLanguageStore;
class TranslationAvailabilityGating;

class AppEnvironment : public std::enable_shared_from_this<AppEnvironment> {
 public:
  // The operating system's services: the real ones in the application, fakes in tests.
  struct Platform {
    std::shared_ptr<Executor> mainExecutor;
    // A serial executor for a client that works apart from the main thread.
    std::function<std::shared_ptr<Executor>()> makeSerialExecutor;
    // Keeps counting while the machine sleeps; stamps the triggers.
    const Clock& continuousClock;
    PreferenceStore& defaults;
    EnvironmentLookup environment;
    std::filesystem::path currentDirectory;
    std::function<std::vector<std::string>()> preferredLanguages;
    std::shared_ptr<HttpTransport> httpTransport;
    AccessibilityPermissionProviding& accessibility;
    HotKeyRegistering& hotKeys;
    LocalEventMonitoring& localEvents;
    PointerLocating& pointer;
    FrontmostApplicationProviding& frontmost;
    ShortcutController::MakeCommandTapMonitor makeCommandTapMonitor;
    std::function<bool()> isApplicationActive;
    // Brings the application to the front, ignoring other applications.
    std::function<void()> activateApplication;
    // Makes the region selection overlay over the environment's appearance store
    // and a reading of the live region binding.
    std::function<std::shared_ptr<RegionSelectionOverlayControlling>(
        AppearanceStore& appearance, std::function<ShortcutBinding()> regionBinding)>
        makeRegionSelectionOverlay;
    // Makes the screen capture over the environment's language stores, which
    // decide what each capture asks of the server.
    std::function<std::shared_ptr<ScreenCapturing>(TargetLanguageStore& target,
                                                   SecondaryTargetLanguageStore& secondary)>
        makeCaptureService;
    // Makes the floating card's panel over the card's model, the appearance and
    // the interface's language.
    std::function<std::shared_ptr<OverlayPanelPresenting>(
        LookupOverlayModel& model, AppearanceStore& appearance, AppLanguageStore& language)>
        makePanelController;
    // Makes the main window's model over the environment's sign-in history, setup
    // mark and shortcut controller; the model is also the gate that says whether
    // translation is available. `controls` may be null: a build without a main
    // window.
    struct MainWindowParts {
      std::shared_ptr<TranslationAvailabilityGating> availability;
      std::shared_ptr<MainWindowControlling> controls;
    };
    std::function<MainWindowParts(SignInHistoryStore& signInHistory,
                                  SetupCompletionStore& setupCompletion,
                                  const std::shared_ptr<ShortcutController>& shortcuts)>
        makeMainWindowModel;
  };

  // The long-lived objects that the environment receives ready-made instead of
  // composing them itself, each seen through what the gates and the lookup
  // pipeline use of it. Those marked optional may be null: a feature that is not
  // part of this build, whose triggers then do nothing.
  struct Collaborators {
    std::shared_ptr<AuthenticatedRequestChecking> auth;
    std::shared_ptr<AccessTokenProviding> accessTokens;
    std::shared_ptr<HomeActivityRecording> homeActivity;                // optional
    std::shared_ptr<MembershipStatusRefreshing> membershipStatusStore;  // optional
    std::shared_ptr<LearningEnrolling> enrollmentCoordinator;           // optional
    std::shared_ptr<PronunciationPlaying> pronunciation;
    std::shared_ptr<SelectTranslateTriggering> selectTranslateCoordinator;    // optional
    std::shared_ptr<InputTranslateCancelling> inputTranslateCoordinator;      // optional
    std::shared_ptr<InputTranslateDraftResetting> inputTranslateModel;        // optional
    std::shared_ptr<InputTranslatePanelControlling> inputTranslatePanel;      // optional
  };

  // Builds every object in order, then connects them.
  static std::shared_ptr<AppEnvironment> create(Platform platform, Collaborators collaborators);
  ~AppEnvironment();

  // Once the application has launched; a second call does nothing.
  void start();
  // At termination: stops every translation, trigger and window.
  void stop();
  void showMainWindow(std::optional<MainTab> tab);

  // The gates.
  void handleLookupTrigger(const HotKeyEvent& event);
  void handleSelectTrigger(const HotKeyEvent& event, bool sharedWithLookup);
  void handleRegionSelection(const RegionSelectionGestureUpdate& update);
  void handleInputTrigger();
  // The input panel is about to show: the card goes unless it is pinned.
  void makeWayForInput();
  void handleTranslationAvailabilityChange(bool available);

  // Set by the window layer: how the main window is brought forward, and what
  // happens just before.
  std::function<void()> mainWindowPresenter;
  std::function<void()> mainWindowWillShow;

  bool started() const { return started_; }
  ShortcutController& shortcutController() { return *shortcutController_; }
  LookupOverlayModel& overlayModel() { return *overlayModel_; }
  RegionSelectionOverlayControlling& regionSelectionOverlay() { return *regionSelectionOverlay_; }
  OverlayPanelPresenting& panelController() { return *panelController_; }
  LookupCoordinator& lookupCoordinator() { return *lookupCoordinator_; }
  AnalyticsService& analytics() { return *analytics_; }
  TargetLanguageStore& targetLanguageStore() { return *targetLanguageStore_; }
  SecondaryTargetLanguageStore& secondaryTargetLanguageStore() {
    return *secondaryTargetLanguageStore_;
  }
  AppearanceStore& appearance() { return *appearance_; }
  AppLanguageStore& appLanguageStore() { return *appLanguageStore_; }
  PronunciationSettingsStore& pronunciationSettings() { return *pronunciationSettings_; }
  EnglishPronunciationStore& englishPronunciationStore() { return *englishPronunciationStore_; }
  DockPresenceStore& dockPresence() { return *dockPresence_; }
  SetupCompletionStore& setupCompletion() { return *setupCompletion_; }
  SignInHistoryStore& signInHistory() { return *signInHistory_; }

 private:
  AppEnvironment(Platform platform, Collaborators collaborators);
  void connect();
  void cancelSelectTranslation();
  void cancelInputTranslation();

  // Forgets the drag and takes every selection surface down.
  void clearRegionOverlay();
  // Reads the permissions anew; when translation is unavailable, asks for the
  // missing part and reads again.
  bool ensureTranslationAvailable();
  // Passes `proceed` to the lookup coordinator once the session could make an
  // authenticated request; a signed-out user gets the main window instead.
  void startWhenSignedIn(std::function<void(LookupCoordinator&)> proceed);
  void publishUserProperties();

  Platform platform_;
  Collaborators c_;
  bool started_ = false;

  std::unique_ptr<ShortcutBindingStore> shortcutBindingStore_;
  std::shared_ptr<ShortcutController> shortcutController_;
  std::unique_ptr<TargetLanguageStore> targetLanguageStore_;
  std::unique_ptr<SecondaryTargetLanguageStore> secondaryTargetLanguageStore_;
  std::unique_ptr<AppearanceStore> appearance_;
  std::unique_ptr<AppLanguageStore> appLanguageStore_;
  std::unique_ptr<PronunciationSettingsStore> pronunciationSettings_;
  std::unique_ptr<AnalyticsService> analytics_;
  std::shared_ptr<LookupAPIClient> lookupAPIClient_;
  std::unique_ptr<EnglishPronunciationStore> englishPronunciationStore_;
  std::shared_ptr<LookupOverlayModel> overlayModel_;
  std::shared_ptr<RegionSelectionOverlayControlling> regionSelectionOverlay_;
  std::shared_ptr<ScreenCapturing> captureService_;
  std::shared_ptr<OverlayPanelPresenting> panelController_;
  std::unique_ptr<SignInHistoryStore> signInHistory_;
  std::unique_ptr<NewUserJourneyTracker> newUserJourney_;
  std::unique_ptr<SetupCompletionStore> setupCompletion_;
  std::unique_ptr<DockPresenceStore> dockPresence_;
  std::shared_ptr<TranslationAvailabilityGating> translationAvailability_;
  std::shared_ptr<MainWindowControlling> mainWindowModel_;
  std::unique_ptr<LookupCaseRecorder> caseRecorder_;
  std::shared_ptr<LookupCoordinator> lookupCoordinator_;

  std::vector<Connection> connections_;
  std::vector<Connection> settingsObservation_;
};

}  // namespace trelvis
