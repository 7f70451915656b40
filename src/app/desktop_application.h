#pragma once

// DesktopApplication: the desktop program's composition. It makes the real
// platform services (X11 input, capture and windows, the curl transport, the
// preference file, the Secret Service) and the account's stores, and hands them
// to the AppEnvironment, which builds and connects everything else; then it adds
// the main window and the tray icon. Created once on the main thread after the
// QApplication, destroyed before it.
//
// Features that are not part of this build yet (selection and input translation,
// pronunciation playback, the learning pages) are absent: their triggers do
// nothing and say so in the log, their pages say they are coming.

#include <filesystem>
#include <memory>
#include <optional>

#include "base/environment.h"

namespace trelvis {

class AppEnvironment;
class MainWindow;
class MainWindowModel;
class QtOverlayPanelWindow;
class RefreshTokenStoring;
class TrayIcon;

class DesktopApplication {
 public:
  struct Options {
    EnvironmentLookup environment = processEnvironment();
    // Where the preference file lives; the configuration directory when empty.
    std::filesystem::path preferencesDirectory;
    // The refresh token's store; the Secret Service when null.
    std::shared_ptr<RefreshTokenStoring> refreshTokens;
  };

  explicit DesktopApplication(Options options);
  ~DesktopApplication();
  DesktopApplication(const DesktopApplication&) = delete;
  DesktopApplication& operator=(const DesktopApplication&) = delete;

  // Shows the tray icon and confirms the stored session; the triggers start once
  // translation is available, and the main window shows when it is not.
  void start();
  // Stops every translation, trigger and window; the destructor does it too.
  void stop();

  AppEnvironment& environment();
  QtOverlayPanelWindow& cardWindow();
  MainWindow& mainWindow();
  MainWindowModel& mainWindowModel();
  TrayIcon& tray();

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace trelvis
