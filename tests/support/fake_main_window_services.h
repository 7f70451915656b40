#pragma once

// Fakes of what the main window model coordinates: the user-scoped stores, the
// review and vocabulary pages, the tutorial, launch at login, the shortcuts, the
// system permissions and the network path. Each writes what it was asked into a
// shared CallLog; state the model reads is a public field.

#include <functional>
#include <optional>
#include <string>

#include "core/mainwindow/main_window_services.h"
#include "support/call_log.h"

namespace trelvis {

inline std::string userLabel(const std::optional<std::string>& userID) {
  return userID ? *userID : "nobody";
}

class FakeAccountSummaryStore final : public AccountSummaryStoring, LogsCalls {
 public:
  using LogsCalls::LogsCalls;
  void activate(const std::optional<std::string>& userID) override {
    log_.add("summary activate " + userLabel(userID));
  }
  void requestRefresh() override { log_.add("summary refresh"); }
  std::optional<int64_t> dueReviewCount() const override { return due; }

  std::optional<int64_t> due;
};

class FakeMembershipStore final : public MembershipStoreActivating, LogsCalls {
 public:
  using LogsCalls::LogsCalls;
  void activate(const std::optional<std::string>& userID) override {
    log_.add("membership activate " + userLabel(userID));
  }
  void requestRefresh() override { log_.add("membership refresh"); }
};

class FakeHomeActivityStore final : public HomeActivityStoring, LogsCalls {
 public:
  using LogsCalls::LogsCalls;
  void activate(const std::optional<std::string>& userID) override {
    log_.add("activity activate " + userLabel(userID));
  }
};

class FakeReviewPage final : public ReviewPageModeling, LogsCalls {
 public:
  using LogsCalls::LogsCalls;
  void reset() override { log_.add("review reset"); }
  void prepareForEntry() override { log_.add("review prepare"); }
  bool isComplete() const override { return complete; }
  void endCompletedSession() override {
    log_.add("review end round");
    complete = false;
  }
  bool hasLoaded() const override { return loaded; }
  std::optional<int64_t> confirmedRemainingCount() const override { return remaining; }

  bool complete = false;
  bool loaded = false;
  std::optional<int64_t> remaining;
};

class FakeVocabularyPage final : public VocabularyPageModeling, LogsCalls {
 public:
  using LogsCalls::LogsCalls;
  void reset() override { log_.add("vocabulary reset"); }
  void prepareForEntry() override { log_.add("vocabulary prepare"); }
};

class FakeTutorial final : public TutorialProgressReloading, LogsCalls {
 public:
  using LogsCalls::LogsCalls;
  void reloadRegistrationProgress() override { log_.add("tutorial reload"); }
};

// `enable` turns the status on unless `enableFails`; `disable` turns `on` off.
class FakeLaunchAtLogin final : public LaunchAtLoginControlling, LogsCalls {
 public:
  using LogsCalls::LogsCalls;
  void refreshStatus() override { log_.add("launch at login refresh"); }
  LaunchAtLoginStatus status() const override { return current; }
  void enable() override {
    log_.add("launch at login enable");
    if (!enableFails) current = LaunchAtLoginStatus::on;
  }
  void disable() override {
    log_.add("launch at login disable");
    if (current == LaunchAtLoginStatus::on) current = LaunchAtLoginStatus::off;
  }

  LaunchAtLoginStatus current = LaunchAtLoginStatus::off;
  bool enableFails = false;
};

class FakeMainWindowShortcuts final : public MainWindowShortcuts, LogsCalls {
 public:
  using LogsCalls::LogsCalls;
  bool textInputFocused() const override { return focused; }
  void setTextInputFocused(bool value) override {
    log_.add(value ? "shortcuts focus on" : "shortcuts focus off");
    focused = value;
  }
  void cancelRecording() override { log_.add("shortcuts cancel recording"); }

  bool focused = false;
};

class FakeSystemPermissions final : public SystemPermissionProviding, LogsCalls {
 public:
  using LogsCalls::LogsCalls;
  SystemPermissionSnapshot snapshot() override {
    ++snapshots;
    return current;
  }
  bool openSettings(SystemPermissionKind kind) override {
    log_.add(kind == SystemPermissionKind::screenRecording ? "open settings screen recording"
                                                           : "open settings accessibility");
    return settingsOpen;
  }
  void restartApplication() override { log_.add("restart application"); }

  void grantAll() { current = {SystemPermissionState::allowed, SystemPermissionState::allowed}; }

  SystemPermissionSnapshot current;
  bool settingsOpen = true;
  int snapshots = 0;
};

// Reports only when the test says so.
class FakeNetworkPathObserver final : public NetworkPathObserver, LogsCalls {
 public:
  using LogsCalls::LogsCalls;
  void start(std::function<void(bool)> callback) override {
    log_.add("network start");
    onChange = std::move(callback);
  }
  void cancel() override {
    log_.add("network cancel");
    onChange = nullptr;
  }
  void report(bool available) {
    if (onChange) onChange(available);
  }

  std::function<void(bool)> onChange;
};

}  // namespace trelvis
