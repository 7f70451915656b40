#pragma once

// What the main window model asks of the parts it coordinates: the stores that
// follow the signed-in user, the review and vocabulary pages, the tutorial,
// launch at login, the shortcut controller, the system permissions and the
// network path. Each is the narrow slice the model uses; the real classes
// implement these. Main thread, except where a comment says otherwise.

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "core/permissions/system_permission_coordinator.h"

namespace trelvis {

// Follow the signed-in user: `activate` with the user's id, or with nothing
// when nobody is signed in.
class UserScopedStore {
 public:
  virtual ~UserScopedStore() = default;
  virtual void activate(const std::optional<std::string>& userID) = 0;
};

class AccountSummaryStoring : public UserScopedStore {
 public:
  virtual void requestRefresh() = 0;
  // The number of reviews due, from the latest summary, if there is one.
  virtual std::optional<int64_t> dueReviewCount() const = 0;
};

class MembershipStoreActivating : public UserScopedStore {
 public:
  virtual void requestRefresh() = 0;
};

class HomeActivityStoring : public UserScopedStore {};

class ReviewPageModeling {
 public:
  virtual ~ReviewPageModeling() = default;
  virtual void reset() = 0;
  virtual void prepareForEntry() = 0;
  virtual bool isComplete() const = 0;
  virtual void endCompletedSession() = 0;
  virtual bool hasLoaded() const = 0;
  virtual std::optional<int64_t> confirmedRemainingCount() const = 0;
};

class VocabularyPageModeling {
 public:
  virtual ~VocabularyPageModeling() = default;
  virtual void reset() = 0;
  virtual void prepareForEntry() = 0;
};

class TutorialProgressReloading {
 public:
  virtual ~TutorialProgressReloading() = default;
  virtual void reloadRegistrationProgress() = 0;
};

enum class LaunchAtLoginStatus { unavailable, on, off };

class LaunchAtLoginControlling {
 public:
  virtual ~LaunchAtLoginControlling() = default;
  virtual void refreshStatus() = 0;
  virtual LaunchAtLoginStatus status() const = 0;
  // Tries to turn it on, or off; the status tells whether that worked.
  virtual void enable() = 0;
  virtual void disable() = 0;
};

// The shortcut controller's side the window touches: the focus of a text field,
// which suspends the shortcuts, and a recording of a new binding.
class MainWindowShortcuts {
 public:
  virtual ~MainWindowShortcuts() = default;
  virtual bool textInputFocused() const = 0;
  // Refreshes the monitors when the flag changes.
  virtual void setTextInputFocused(bool focused) = 0;
  virtual void cancelRecording() = 0;
};

class SystemPermissionProviding {
 public:
  virtual ~SystemPermissionProviding() = default;
  virtual SystemPermissionSnapshot snapshot() = 0;
  // Whether a settings page opened.
  virtual bool openSettings(SystemPermissionKind kind) = 0;
  virtual void restartApplication() = 0;
};

// Reports whether the network path is usable: once soon after start, then on
// every change, always on the main thread, until cancelled.
class NetworkPathObserver {
 public:
  virtual ~NetworkPathObserver() = default;
  virtual void start(std::function<void(bool available)> onChange) = 0;
  virtual void cancel() = 0;
};

}  // namespace trelvis
