#pragma once

// XdgAutostartLaunchAtLogin starts the application when the user logs in, through
// the desktop's autostart folder: the entry "trelvis.desktop" in
// $XDG_CONFIG_HOME/autostart (~/.config/autostart when the variable is unset),
// whose Exec line is the absolute path of the running program. Turning it off
// removes the entry. The status is `on` while the entry exists and is neither
// hidden nor disabled, `off` otherwise, and `unavailable` when the folder cannot
// be created. Nothing is thrown: failures are logged and show in the status.
// The main window model and the settings page use it on the main thread.

#include <filesystem>

#include "base/environment.h"
#include "core/mainwindow/main_window_services.h"

namespace trelvis {

class XdgAutostartLaunchAtLogin final : public LaunchAtLoginControlling {
 public:
  // `executable` is what the entry starts; the running program when empty.
  explicit XdgAutostartLaunchAtLogin(const EnvironmentLookup& environment,
                                     std::filesystem::path executable = {});

  static constexpr const char* kFileName = "trelvis.desktop";

  const std::filesystem::path& filePath() const { return filePath_; }

  void refreshStatus() override;
  LaunchAtLoginStatus status() const override { return status_; }
  void enable() override;
  void disable() override;

 private:
  const std::filesystem::path directory_;
  const std::filesystem::path filePath_;
  std::filesystem::path executable_;
  LaunchAtLoginStatus status_ = LaunchAtLoginStatus::off;
};

}  // namespace trelvis
