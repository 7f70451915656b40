#include "core/shell/app_environment.h"

#include <functional>
#include <utility>

#include "base/async/task.h"
#include "base/check.h"
#include "base/log.h"
#include "core/account/authenticated_request_checking.h"
#include "core/analytics/analytics_service.h"
#include "core/analytics/new_user_journey_tracker.h"
#include "core/capture/region_selection_overlay_controlling.h"
#include "core/input/input_translate_controlling.h"
#include "core/learning/pronunciation_playing.h"
#include "core/lookup/lookup_api_client.h"
#include "core/lookup/lookup_case_recorder.h"
#include "core/lookup/lookup_coordinator.h"
#include "core/mainwindow/translation_availability_gating.h"
#include "core/net/server_api.h"
#include "core/overlay/lookup_overlay_model.h"
#include "core/overlay/overlay_panel_presenting.h"
#include "core/prefs/app_language_store.h"
#include "core/prefs/appearance_store.h"
#include "core/prefs/dock_presence_store.h"
#include "core/prefs/english_pronunciation_store.h"
#include "core/prefs/pronunciation_settings_store.h"
#include "core/prefs/secondary_target_language_store.h"
#include "core/prefs/setup_completion_store.h"
#include "core/prefs/sign_in_history_store.h"
#include "core/prefs/target_language_store.h"
#include "core/select/select_translate_triggering.h"
#include "core/triggers/shortcut_binding_store.h"

namespace trelvis {
namespace {

const LogCategory kLog("environment");

// A callback that calls `action` on its target while the target lives, and
// does nothing after.
template <class T, class Action>
auto weakly(const std::shared_ptr<T>& target, Action action) {
  return [weak = std::weak_ptr<T>(target), action](auto&&... args) {
    if (auto locked = weak.lock()) std::invoke(action, *locked, args...);
  };
}

const char* booleanText(bool value) {
  return value ? "true" : "false";
}

}  // namespace

std::shared_ptr<AppEnvironment> AppEnvironment::create(Platform platform,
                                                       Collaborators collaborators) {
  auto environment = std::shared_ptr<AppEnvironment>(
      new AppEnvironment(std::move(platform), std::move(collaborators)));
  environment->connect();
  return environment;
}

AppEnvironment::AppEnvironment(Platform platform, Collaborators collaborators)
    : platform_(std::move(platform)), c_(std::move(collaborators)) {
  TRELVIS_DCHECK(c_.auth && c_.accessTokens && c_.pronunciation,
                 "a required collaborator of the environment is missing");
  PreferenceStore& defaults = platform_.defaults;

  // Triggers.
  shortcutBindingStore_ = std::make_unique<ShortcutBindingStore>(defaults);
  shortcutController_ = std::make_shared<ShortcutController>(
      platform_.mainExecutor, *shortcutBindingStore_, platform_.makeCommandTapMonitor,
      ShortcutController::Platform{platform_.accessibility, platform_.hotKeys,
                                   platform_.localEvents, platform_.pointer, platform_.frontmost,
                                   platform_.continuousClock, platform_.isApplicationActive});

  // The small preference stores. A returning user is read when first needed,
  // once the sign-in history exists.
  targetLanguageStore_ = std::make_unique<TargetLanguageStore>(
      defaults, platform_.preferredLanguages,
      [this] { return signInHistory_ && signInHistory_->hasSignedInOnThisMac(); });
  secondaryTargetLanguageStore_ = std::make_unique<SecondaryTargetLanguageStore>(defaults);
  appearance_ = std::make_unique<AppearanceStore>(defaults);
  appLanguageStore_ = std::make_unique<AppLanguageStore>(defaults);
  pronunciationSettings_ = std::make_unique<PronunciationSettingsStore>(defaults);

  // Not configured and not enabled until start().
  analytics_ = std::make_unique<AnalyticsService>();

  // The lookup client, the accent, and the card's model over the shared playback session.
  lookupAPIClient_ = std::make_shared<LookupAPIClient>(
      platform_.makeSerialExecutor(), c_.accessTokens, platform_.httpTransport,
      effectiveBaseURL(platform_.environment),
      LookupAPIClient::pronunciationURLOverrideFrom(platform_.environment));
  englishPronunciationStore_ = std::make_unique<EnglishPronunciationStore>(defaults);
  overlayModel_ = std::make_shared<LookupOverlayModel>(
      *c_.pronunciation, c_.enrollmentCoordinator.get(), pronunciationSettings_.get());
  regionSelectionOverlay_ = platform_.makeRegionSelectionOverlay(
      *appearance_, [controller = std::weak_ptr(shortcutController_)] {
        const auto live = controller.lock();
        return live ? live->regionBinding() : ShortcutBinding{};
      });
  TRELVIS_DCHECK(regionSelectionOverlay_, "the region selection overlay is missing");
  captureService_ =
      platform_.makeCaptureService(*targetLanguageStore_, *secondaryTargetLanguageStore_);
  panelController_ = platform_.makePanelController(*overlayModel_, *appearance_, *appLanguageStore_);
  TRELVIS_DCHECK(captureService_ && panelController_, "the capture or the card's panel is missing");

  signInHistory_ = std::make_unique<SignInHistoryStore>(defaults);
  newUserJourney_ = std::make_unique<NewUserJourneyTracker>();
  setupCompletion_ = std::make_unique<SetupCompletionStore>(defaults);
  dockPresence_ = std::make_unique<DockPresenceStore>(defaults);
  auto mainWindow =
      platform_.makeMainWindowModel(*signInHistory_, *setupCompletion_, shortcutController_);
  translationAvailability_ = std::move(mainWindow.availability);
  mainWindowModel_ = std::move(mainWindow.controls);
  TRELVIS_DCHECK(translationAvailability_, "the translation availability gate is missing");

  caseRecorder_ = std::make_unique<LookupCaseRecorder>(
      LookupCaseRecorder::configurationFrom(platform_.environment, platform_.currentDirectory),
      *lookupAPIClient_);
  lookupCoordinator_ = std::make_shared<LookupCoordinator>(LookupCoordinator::Dependencies{
      platform_.mainExecutor, platform_.continuousClock, *overlayModel_, *captureService_,
      *lookupAPIClient_, *lookupAPIClient_, *panelController_, *analytics_,
      *englishPronunciationStore_, *c_.pronunciation, c_.homeActivity.get(),
      c_.membershipStatusStore.get(), *caseRecorder_});
}

AppEnvironment::~AppEnvironment() = default;

void AppEnvironment::connect() {
  // The lookup coordinator's own three connections.
  panelController_->onDismiss = weakly(
      lookupCoordinator_, [](LookupCoordinator& c, const std::string&) { c.cancelCurrent(); });
  overlayModel_->onRetryParagraphTranslation =
      weakly(lookupCoordinator_, &LookupCoordinator::retryParagraphTranslation);
  connections_.push_back(englishPronunciationStore_->observers().connect(weakly(
      lookupCoordinator_,
      [](LookupCoordinator& c, EnglishPronunciationAccent) { c.englishPronunciationChanged(); })));

  // What a finished lookup tells the rest.
  if (c_.membershipStatusStore) {
    lookupCoordinator_->onQuotaExhausted =
        weakly(c_.membershipStatusStore, &MembershipStatusRefreshing::requestRefresh);
  }
  lookupCoordinator_->onPermissionDenied =
      weakly(translationAvailability_, [](TranslationAvailabilityGating& availability) {
        availability.refreshSystemPermissions();
        availability.requestPermissionRecoveryForUserAction();
      });
  lookupCoordinator_->onTranslationSucceeded =
      [journey = newUserJourney_.get()](TranslationMethod method) {
        journey->recordTranslationSucceeded(method);
      };
  if (mainWindowModel_) {
    overlayModel_->onViewPro =
        weakly(mainWindowModel_, &MainWindowControlling::openMembershipPurchase);
  }

  // Triggers reach the gates.
  const auto self = shared_from_this();
  translationAvailability_->onTranslationAvailabilityChanged =
      weakly(self, &AppEnvironment::handleTranslationAvailabilityChange);
  shortcutController_->onLookupTriggered = weakly(self, &AppEnvironment::handleLookupTrigger);
  shortcutController_->onSelectTranslateTriggered =
      weakly(self, &AppEnvironment::handleSelectTrigger);
  shortcutController_->onRegionSelection = weakly(self, &AppEnvironment::handleRegionSelection);
  shortcutController_->onInputTranslateTriggered =
      weakly(self, &AppEnvironment::handleInputTrigger);
  regionSelectionOverlay_->onGestureUpdate = weakly(self, &AppEnvironment::handleRegionSelection);
  regionSelectionOverlay_->onFailsafeCancel =
      weakly(shortcutController_, &ShortcutController::cancelRegionSelection);
  if (c_.inputTranslatePanel) {
    c_.inputTranslatePanel->onWillShow = weakly(self, &AppEnvironment::makeWayForInput);
  }
}

// ---- Lifecycle ---------------------------------------------------------------

void AppEnvironment::start() {
  if (started_) return;
  started_ = true;
  analytics_->configure();
  newUserJourney_->appLaunched();
  analytics_->setMembershipPlan(c_.membershipStatusStore ? c_.membershipStatusStore->currentPlan()
                                                         : std::nullopt);
  publishUserProperties();
  // Every later change of a setting reports the properties again.
  const auto republish = weakly(
      shared_from_this(), [](AppEnvironment& e, const auto&...) { e.publishUserProperties(); });
  settingsObservation_.push_back(targetLanguageStore_->changed().connect(republish));
  settingsObservation_.push_back(secondaryTargetLanguageStore_->changed().connect(republish));
  settingsObservation_.push_back(appLanguageStore_->changed().connect(republish));
  settingsObservation_.push_back(appearance_->changed().connect(republish));
  settingsObservation_.push_back(englishPronunciationStore_->observers().connect(republish));
  settingsObservation_.push_back(pronunciationSettings_->changed().connect(republish));
  settingsObservation_.push_back(dockPresence_->changed().connect(republish));
}

void AppEnvironment::publishUserProperties() {
  analytics_->setUserProperties({
      {"target_language", targetLanguageStore_->code()},
      {"secondary_target_language", secondaryTargetLanguageStore_->code().value_or("none")},
      {"app_language", std::string(toString(appLanguageStore_->preference()))},
      {"appearance", std::string(toString(appearance_->mode()))},
      {"english_pronunciation", std::string(toString(englishPronunciationStore_->accent()))},
      {"autoplay_pronunciation", booleanText(pronunciationSettings_->autoplayEnabled())},
      {"show_in_dock", booleanText(dockPresence_->showInDock())},
  });
}

void AppEnvironment::stop() {
  if (mainWindowModel_) mainWindowModel_->stop();
  lookupCoordinator_->cancelCurrent();
  cancelSelectTranslation();
  cancelInputTranslation();
  c_.pronunciation->reset();
  shortcutController_->stop();
  clearRegionOverlay();
  panelController_->hideWindow();
}

void AppEnvironment::showMainWindow(std::optional<MainTab> tab) {
  if (mainWindowWillShow) mainWindowWillShow();
  if (mainWindowModel_) {
    if (tab) mainWindowModel_->selectTab(*tab);
    mainWindowModel_->requestHomeSummaryRefresh();
    mainWindowModel_->requestMembershipStatusRefresh();
  }
  if (platform_.activateApplication) platform_.activateApplication();
  if (mainWindowPresenter) {
    mainWindowPresenter();
  } else {
    kLog.warning("no main window to show");
  }
}

// ---- Gates -------------------------------------------------------------------

void AppEnvironment::clearRegionOverlay() {
  RegionSelectionOverlayControlling& overlay = *regionSelectionOverlay_;
  overlay.resetDrag();
  overlay.dismissCaptureSurfaces();
  overlay.cleanupOrphanCaptureWindows();
}

bool AppEnvironment::ensureTranslationAvailable() {
  TranslationAvailabilityGating& availability = *translationAvailability_;
  availability.refreshSystemPermissions();
  if (availability.translationAvailable()) return true;
  availability.requestPermissionRecoveryForUserAction();
  return availability.translationAvailable();
}

void AppEnvironment::startWhenSignedIn(std::function<void(LookupCoordinator&)> proceed) {
  spawn(platform_.mainExecutor,
        [weak = weak_from_this(), auth = c_.auth, proceed = std::move(proceed)]() -> Async<void> {
          bool canAttempt = true;
          auto checked = co_await auth->canAttemptAuthenticatedRequest();
          if (checked) {
            canAttempt = *checked;
          } else {
            // The request itself will meet the failure and report it.
            kLog.info("session check failed: {}", checked.error().code());
          }
          auto self = weak.lock();
          if (!self) co_return;
          if (canAttempt) {
            proceed(*self->lookupCoordinator_);
          } else {
            self->showMainWindow(std::nullopt);
          }
        });
}

void AppEnvironment::cancelSelectTranslation() {
  if (c_.selectTranslateCoordinator) c_.selectTranslateCoordinator->cancelCurrentTranslation();
}

void AppEnvironment::cancelInputTranslation() {
  if (c_.inputTranslateCoordinator) c_.inputTranslateCoordinator->cancelCurrentTranslation();
  if (c_.inputTranslatePanel) c_.inputTranslatePanel->hide();
}

void AppEnvironment::handleLookupTrigger(const HotKeyEvent& event) {
  clearRegionOverlay();
  cancelSelectTranslation();
  if (!ensureTranslationAvailable()) {
    lookupCoordinator_->cancelCurrent();
    return;
  }
  startWhenSignedIn([event](LookupCoordinator& coordinator) { coordinator.trigger(event); });
}

void AppEnvironment::handleSelectTrigger(const HotKeyEvent& event, bool sharedWithLookup) {
  clearRegionOverlay();
  lookupCoordinator_->cancelCurrent();
  if (!c_.selectTranslateCoordinator) {
    kLog.info("selection translation is not part of this build");
    return;
  }
  if (ensureTranslationAvailable()) {
    c_.selectTranslateCoordinator->trigger(event, sharedWithLookup);
  } else {
    c_.selectTranslateCoordinator->cancelCurrentTranslation();
  }
}

void AppEnvironment::handleRegionSelection(const RegionSelectionGestureUpdate& update) {
  RegionSelectionOverlayControlling& overlay = *regionSelectionOverlay_;
  using Kind = RegionSelectionGestureUpdate::Kind;
  switch (update.kind()) {
    case Kind::armed:
      if (translationAvailability_->translationAvailable()) overlay.arm();
      return;
    case Kind::began:
      shortcutController_->consumeLookupTapForRegionSelection();
      cancelSelectTranslation();
      if (ensureTranslationAvailable()) {
        overlay.begin(*update.gesture());
      } else {
        clearRegionOverlay();
      }
      return;
    case Kind::changed:
      overlay.update(*update.gesture());
      return;
    case Kind::completed: {
      const std::optional<RegionSelectionGesture> gesture = overlay.finish(*update.gesture());
      if (!gesture) return;
      if (!ensureTranslationAvailable()) {
        lookupCoordinator_->cancelCurrent();
        return;
      }
      startWhenSignedIn([gesture = *gesture](LookupCoordinator& coordinator) {
        coordinator.triggerRegion(gesture);
      });
      return;
    }
    case Kind::cancelled:
      clearRegionOverlay();
      return;
    case Kind::none:
      return;
  }
}

void AppEnvironment::handleInputTrigger() {
  if (!c_.inputTranslatePanel) {
    kLog.info("the input panel is not part of this build");
    return;
  }
  if (ensureTranslationAvailable()) c_.inputTranslatePanel->toggleFromShortcut();
}

void AppEnvironment::makeWayForInput() {
  clearRegionOverlay();
  if (overlayModel_->isPinned()) return;
  lookupCoordinator_->cancelCurrent();
  cancelSelectTranslation();
  panelController_->hideWindow();
}

void AppEnvironment::handleTranslationAvailabilityChange(bool available) {
  regionSelectionOverlay_->cleanupOrphanCaptureWindows();
  if (available) {
    if (!shortcutController_->isStarted()) shortcutController_->start();
    return;
  }
  lookupCoordinator_->cancelCurrent();
  cancelSelectTranslation();
  cancelInputTranslation();
  if (c_.inputTranslateModel) {
    InputTranslateDraftResetting& inputModel = *c_.inputTranslateModel;
    inputModel.clearDraft();
    inputModel.forgetLastSubmittedDraft();
    inputModel.resetResult();
  }
  shortcutController_->stop();
  clearRegionOverlay();
  panelController_->hideWindow();
}

}  // namespace trelvis
