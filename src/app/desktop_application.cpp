#include "app/desktop_application.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QLocale>

#include <string>
#include <utility>
#include <vector>

#include "app/app_features.h"
#include "base/async/thread_pool.h"
#include "base/clock.h"
#include "base/log.h"
#include "core/account/auth_http_client.h"
#include "core/account/auth_session_coordinator.h"
#include "core/account/auth_user_store.h"
#include "core/capture/region_selection_overlay_controller.h"
#include "core/capture/screen_capture_service.h"
#include "core/overlay/overlay_panel_controller.h"
#include "core/prefs/secondary_target_language_store.h"
#include "core/shell/app_environment.h"
#include "core/triggers/command_tap_monitor.h"
#include "core/triggers/shared_command_event_tap.h"
#include "platform/curl/curl_http_transport.h"
#include "platform/files/json_file_preference_store.h"
#include "platform/jpeg/turbo_jpeg_encoder.h"
#include "platform/secret/secret_service_refresh_token_store.h"
#include "platform/x11/x11_accessibility_permission.h"
#include "platform/x11/x11_command_event_tap.h"
#include "platform/x11/x11_frontmost_application.h"
#include "platform/x11/x11_hot_key_registrar.h"
#include "platform/x11/x11_overlay_keyboard_event_tap.h"
#include "platform/x11/x11_pointer_locator.h"
#include "platform/x11/x11_region_selection_physical_state.h"
#include "platform/x11/x11_screen_capture.h"
#include "ui/localization.h"
#include "ui/lookup_card_view.h"
#include "ui/overlay_panel_window.h"
#include "ui/qt_local_event_monitor.h"
#include "ui/qt_main_executor.h"
#include "ui/region_selection_windowing.h"
#include "ui/tray_icon.h"

namespace trelvis {
namespace {

const LogCategory kLog("app");

std::vector<std::string> preferredLanguages() {
  std::vector<std::string> languages;
  for (const QString& language : QLocale::system().uiLanguages()) {
    languages.push_back(language.toStdString());
  }
  return languages;
}

}  // namespace

// In the order each is needed by those after it; destroyed in reverse.
struct DesktopApplication::Parts {
  explicit Parts(Options options)
      : environment(std::move(options.environment)),
        preferences(options.preferencesDirectory.empty()
                        ? JsonFilePreferenceStore::defaultDirectory(environment)
                        : options.preferencesDirectory),
        refreshTokens(options.refreshTokens
                          ? std::move(options.refreshTokens)
                          : std::make_shared<SecretServiceRefreshTokenStore>()) {}

  EnvironmentLookup environment;
  ContinuousClock clock;
  std::shared_ptr<QtMainExecutor> main = QtMainExecutor::create();
  // Serial clients, the JPEG encoder and the token refresh share two threads.
  ThreadPool pool{"trelvis", 2};
  JsonFilePreferenceStore preferences;
  std::shared_ptr<RefreshTokenStoring> refreshTokens;
  std::shared_ptr<CurlHttpTransport> transport = std::make_shared<CurlHttpTransport>();
  std::shared_ptr<AuthSessionCoordinator> auth = std::make_shared<AuthSessionCoordinator>(
      pool.makeSequencedExecutor(), AuthSessionCoordinator::effectiveBaseURL(environment),
      std::make_shared<TransportAuthHTTPClient>(transport), refreshTokens,
      std::make_shared<PreferencesAuthUserStore>(preferences),
      AuthSessionCoordinator::serviceName(std::nullopt));

  // X11 input.
  X11AccessibilityPermission accessibility;
  X11HotKeyRegistrar hotKeys{main};
  QtLocalEventMonitor localEvents;
  X11PointerLocator pointer;
  X11FrontmostApplication frontmost;
  X11CommandEventTap commandTap;
  std::shared_ptr<SharedCommandEventTap> sharedTap =
      std::make_shared<SharedCommandEventTap>(commandTap, main, isInputToOwnWindows);
  X11OverlayKeyboardEventTap keyboardTap;

  // X11 capture and the windows over the screen.
  X11ScreenCapture screens;
  std::shared_ptr<TurboJpegEncoder> encoder = std::make_shared<TurboJpegEncoder>();
  X11RegionSelectionPhysicalState physicalState;
  QtRegionSelectionWindowing regionWindowing{screens};
  // Before the card's window, whose views watch it.
  std::unique_ptr<Localization> localization;
  std::unique_ptr<QtOverlayPanelWindow> cardWindow;

  // What stands in for features to come.
  std::shared_ptr<X11TranslationAvailability> availability =
      std::make_shared<X11TranslationAvailability>(accessibility);
  std::shared_ptr<SilentPronunciationPlayback> pronunciation =
      std::make_shared<SilentPronunciationPlayback>();
  AbsentSelectCardModel selectCard;

  std::shared_ptr<AppEnvironment> app;
  std::unique_ptr<TrayIcon> tray;
  bool running = false;
};

DesktopApplication::DesktopApplication(Options options)
    : parts_(std::make_unique<Parts>(std::move(options))) {
  Parts& p = *parts_;
  // The first capture would otherwise pay for setting up shared memory.
  p.screens.warmUp();

  AppEnvironment::Platform platform{
      p.main,
      [&p] { return p.pool.makeSequencedExecutor(); },
      p.clock,
      p.preferences,
      p.environment,
      std::filesystem::current_path(),
      preferredLanguages,
      p.transport,
      p.accessibility,
      p.hotKeys,
      p.localEvents,
      p.pointer,
      p.frontmost,
      [&p](std::optional<ShortcutBinding> lookup, std::optional<ShortcutBinding> region,
           CommandTapMonitor::OnTrigger onTrigger, CommandTapMonitor::OnRegionSelection onRegion) {
        return std::make_shared<CommandTapMonitor>(p.accessibility, *p.sharedTap, p.clock, lookup,
                                                   region, std::move(onTrigger),
                                                   std::move(onRegion));
      },
      [] { return QGuiApplication::applicationState() == Qt::ApplicationActive; },
      {},
      [&p](AppearanceStore& appearance, std::function<ShortcutBinding()> regionBinding) {
        return RegionSelectionOverlayController::create(
            {p.main, p.clock, p.screens, p.regionWindowing, p.physicalState.source()}, appearance,
            std::move(regionBinding));
      },
      [&p](TargetLanguageStore& target, SecondaryTargetLanguageStore& secondary) {
        return std::make_shared<ScreenCaptureService>(
            ScreenCaptureService::Platform{p.screens, p.screens, p.encoder,
                                           p.pool.parallelExecutor(), p.clock},
            target, [&secondary] { return secondary.code(); });
      },
      [&p](LookupOverlayModel& model, AppearanceStore& appearance, AppLanguageStore& language) {
        p.localization = std::make_unique<Localization>(language);
        p.cardWindow = std::make_unique<QtOverlayPanelWindow>(
            [&p, &model, &appearance](OverlayPresentedFeature feature) -> QWidget* {
              if (feature != OverlayPresentedFeature::lookup) return nullptr;
              return new LookupCardView(model, appearance, *p.localization);
            });
        return OverlayPanelController::create(
            {p.main, model, p.selectCard, appearance, *p.cardWindow, p.screens, p.localEvents,
             *p.sharedTap, p.accessibility, &p.keyboardTap, [](const std::string& text) {
               QGuiApplication::clipboard()->setText(QString::fromStdString(text));
             }});
      },
  };
  p.app = AppEnvironment::create(
      std::move(platform), {p.auth, p.auth, nullptr, nullptr, nullptr, p.pronunciation,
                            p.availability, nullptr, nullptr, nullptr, nullptr, nullptr});
  p.app->mainWindowPresenter = [] {
    kLog.warning(
        "not signed in: this build has no sign-in window yet; scripts/run signs in to a local "
        "account");
  };

  p.tray = std::make_unique<TrayIcon>();
  p.tray->onOpenMainWindow = [app = std::weak_ptr(p.app)] {
    if (const auto live = app.lock()) live->showMainWindow(std::nullopt);
  };
  p.tray->onQuit = [] { QCoreApplication::quit(); };
}

DesktopApplication::~DesktopApplication() {
  stop();
}

void DesktopApplication::start() {
  Parts& p = *parts_;
  p.running = true;
  p.app->start();
  // The first reading starts the triggers when the X server can serve them.
  p.availability->refreshSystemPermissions();
  if (!p.availability->translationAvailable()) {
    p.availability->requestPermissionRecoveryForUserAction();
  }
  p.tray->show();
  kLog.info("started; the server is {}", p.auth->baseURL().absoluteString());
}

void DesktopApplication::stop() {
  Parts& p = *parts_;
  if (!p.running) return;
  p.running = false;
  p.app->stop();
  p.tray->hide();
}

AppEnvironment& DesktopApplication::environment() {
  return *parts_->app;
}

QtOverlayPanelWindow& DesktopApplication::cardWindow() {
  return *parts_->cardWindow;
}

TrayIcon& DesktopApplication::tray() {
  return *parts_->tray;
}

}  // namespace trelvis
