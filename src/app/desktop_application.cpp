#include "app/desktop_application.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QLocale>
#include <QScreen>
#include <QUrl>

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
#include "core/mainwindow/main_window_model.h"
#include "core/membership/account_summary_store.h"
#include "core/membership/home_summary_api_client.h"
#include "core/membership/membership_status_api_client.h"
#include "core/membership/membership_status_store.h"
#include "core/overlay/overlay_panel_controller.h"
#include "core/permissions/system_permission_coordinator.h"
#include "core/prefs/secondary_target_language_store.h"
#include "core/shell/app_environment.h"
#include "core/triggers/command_tap_monitor.h"
#include "core/triggers/shared_command_event_tap.h"
#include "platform/curl/curl_http_transport.h"
#include "platform/files/json_file_preference_store.h"
#include "platform/files/xdg_autostart_launch_at_login.h"
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
#include "platform/x11/x11_system_permission_probe.h"
#include "ui/localization.h"
#include "ui/lookup_card_view.h"
#include "ui/main_window.h"
#include "ui/overlay_panel_window.h"
#include "ui/qt_local_event_monitor.h"
#include "ui/qt_main_executor.h"
#include "ui/qt_network_path_observer.h"
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

// Qt scales every screen of an X display alike (QT_SCALE_FACTOR, Xft.dpi), and the
// application's points are its device-independent pixels.
double interfaceScale() {
  const QScreen* screen = QGuiApplication::primaryScreen();
  return screen ? screen->devicePixelRatio() : 1;
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

  // The account's plan and summary, which the main window and the lookups share.
  std::shared_ptr<MembershipStatusStore> membership = std::make_shared<MembershipStatusStore>(
      main, std::make_shared<MembershipStatusAPIClient>(pool.makeSequencedExecutor(), auth,
                                                        transport, auth->baseURL()));
  std::shared_ptr<AccountSummaryStore> accountSummary = std::make_shared<AccountSummaryStore>(
      main,
      std::make_shared<HomeSummaryAPIClient>(pool.makeSequencedExecutor(), auth, transport,
                                             auth->baseURL()),
      AccountSummaryStore::systemTime);
  std::shared_ptr<XdgAutostartLaunchAtLogin> launchAtLogin =
      std::make_shared<XdgAutostartLaunchAtLogin>(environment);
  X11SystemPermissionProbe permissionProbe;
  SystemPermissionCoordinator permissionCoordinator{preferences, permissionProbe.systemCalls()};

  // X11 input, in the interface's points.
  const double scale = interfaceScale();
  X11AccessibilityPermission accessibility;
  X11HotKeyRegistrar hotKeys{main};
  QtLocalEventMonitor localEvents;
  X11PointerLocator pointer{{}, scale};
  X11FrontmostApplication frontmost;
  X11CommandEventTap commandTap{X11CommandEventTap::Options{.pixelsPerPoint = scale}};
  std::shared_ptr<SharedCommandEventTap> sharedTap =
      std::make_shared<SharedCommandEventTap>(commandTap, main, isInputToOwnWindows);
  X11OverlayKeyboardEventTap keyboardTap;

  // X11 capture and the windows over the screen.
  X11ScreenCapture screens{{}, scale};
  std::shared_ptr<TurboJpegEncoder> encoder = std::make_shared<TurboJpegEncoder>();
  X11RegionSelectionPhysicalState physicalState;
  QtRegionSelectionWindowing regionWindowing{screens};
  // Before the card's window, whose views watch it.
  std::unique_ptr<Localization> localization;
  std::unique_ptr<QtOverlayPanelWindow> cardWindow;

  // What stands in for features to come.
  std::shared_ptr<SilentPronunciationPlayback> pronunciation =
      std::make_shared<SilentPronunciationPlayback>();
  AbsentSelectCardModel selectCard;
  std::shared_ptr<AbsentLearningPages> learning = std::make_shared<AbsentLearningPages>();

  std::shared_ptr<AppEnvironment> app;
  // Made by the environment, which it gates.
  std::shared_ptr<MainWindowModel> mainWindowModel;
  std::unique_ptr<MainWindow> mainWindow;
  Connection firstSettled;
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
      [&p](SignInHistoryStore& signInHistory, SetupCompletionStore& setupCompletion,
           const std::shared_ptr<ShortcutController>& shortcuts) {
        p.mainWindowModel = std::make_shared<MainWindowModel>(MainWindowModel::Dependencies{
            .mainExecutor = p.main,
            .session = p.auth,
            .signInHistory = &signInHistory,
            .setupCompletion = &setupCompletion,
            .networkObserver = std::make_shared<QtNetworkPathObserver>(),
            .accountSummary = p.accountSummary,
            .membership = p.membership,
            .homeActivity = p.learning,
            .review = p.learning,
            .vocabulary = p.learning,
            .tutorial = p.learning,
            .launchAtLogin = p.launchAtLogin,
            .shortcuts = shortcuts,
            .permissions = std::make_shared<CoordinatedSystemPermissions>(p.permissionCoordinator),
            .appLanguage =
                [&p] {
                  return std::string(p.localization->language() == AppLanguage::simplifiedChinese
                                         ? "zh-Hans"
                                         : "en");
                },
            .membershipPurchaseURL =
                [&p] {
                  return MembershipPurchaseLink::url(p.localization->language()).absoluteString();
                },
            .openMembershipPurchaseURL =
                [](const std::string& url) {
                  return QDesktopServices::openUrl(QUrl(QString::fromStdString(url)));
                },
        });
        return AppEnvironment::Platform::MainWindowParts{p.mainWindowModel, p.mainWindowModel};
      },
  };
  p.app = AppEnvironment::create(std::move(platform),
                                 {p.auth, p.auth, nullptr, p.membership, nullptr, p.pronunciation,
                                  nullptr, nullptr, nullptr, nullptr});

  AppEnvironment& app = *p.app;
  p.mainWindow = std::make_unique<MainWindow>(
      *p.mainWindowModel, p.main,
      MainWindow::Stores{*p.membership, app.appearance(), app.appLanguageStore(),
                         app.targetLanguageStore(), *p.localization,
                         app.secondaryTargetLanguageStore(), app.englishPronunciationStore(),
                         app.pronunciationSettings(), *p.launchAtLogin, app.shortcutController()});
  p.mainWindow->setWindowTitle(QStringLiteral("Trelvis"));
  p.app->mainWindowPresenter = [window = p.mainWindow.get()] {
    window->show();
    window->raise();
    window->activateWindow();
  };

  p.tray = std::make_unique<TrayIcon>();
  p.tray->onOpenMainWindow = [app = std::weak_ptr(p.app)] {
    if (const auto live = app.lock()) live->showMainWindow(std::nullopt);
  };
  p.tray->onOpenSettings = [app = std::weak_ptr(p.app)] {
    if (const auto live = app.lock()) live->showMainWindow(MainTab::settings);
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
  // Confirms the stored session, if any; signed in with the permissions granted,
  // the triggers start. Without one, the sign-in form is the first thing to see.
  // Once the stored session is settled, a user who cannot translate yet (signed
  // out, offline, or short of a permission) is shown why.
  p.firstSettled = p.mainWindowModel->changed().connect([&p] {
    if (p.mainWindowModel->isRestoring() || p.mainWindowModel->translationAvailable()) return;
    p.firstSettled.disconnect();
    p.app->showMainWindow(std::nullopt);
  });
  p.mainWindowModel->start();
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

MainWindow& DesktopApplication::mainWindow() {
  return *parts_->mainWindow;
}

MainWindowModel& DesktopApplication::mainWindowModel() {
  return *parts_->mainWindowModel;
}

TrayIcon& DesktopApplication::tray() {
  return *parts_->tray;
}

}  // namespace trelvis
