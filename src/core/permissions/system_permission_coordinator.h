#pragma once

// SystemPermissionCoordinator: the state of the two permissions translation
// needs, screen recording (capture what is under the pointer) and accessibility
// (watch global input, post the copy chord); the way to the settings page that
// grants each; and the restart that a new grant may need. The system says only
// granted or not; the coordinator keeps whether the user was ever sent to ask,
// under "permissions.<kind>.requested", which tells never asked from refused.
// Every system call enters as a closure, so that the rules run without a system.
// Main thread.

#include <array>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/enum_table.h"

namespace trelvis {

class PreferenceStore;

enum class SystemPermissionKind { screenRecording, accessibility };
inline constexpr EnumTable<SystemPermissionKind, 2> kSystemPermissionKindNames{{
    {SystemPermissionKind::screenRecording, "screenRecording"},
    {SystemPermissionKind::accessibility, "accessibility"},
}};
constexpr std::string_view toString(SystemPermissionKind kind) {
  return enumToString(kSystemPermissionKindNames, kind);
}
inline constexpr std::array<SystemPermissionKind, 2> kAllSystemPermissionKinds{
    SystemPermissionKind::screenRecording, SystemPermissionKind::accessibility};

enum class SystemPermissionState { notRequested, needsSettings, restartRequired, allowed };
inline constexpr EnumTable<SystemPermissionState, 4> kSystemPermissionStateNames{{
    {SystemPermissionState::notRequested, "notRequested"},
    {SystemPermissionState::needsSettings, "needsSettings"},
    {SystemPermissionState::restartRequired, "restartRequired"},
    {SystemPermissionState::allowed, "allowed"},
}};
constexpr std::string_view toString(SystemPermissionState state) {
  return enumToString(kSystemPermissionStateNames, state);
}

struct SystemPermissionSnapshot {
  SystemPermissionState screenRecording = SystemPermissionState::notRequested;
  SystemPermissionState accessibility = SystemPermissionState::notRequested;

  SystemPermissionState state(SystemPermissionKind kind) const {
    return kind == SystemPermissionKind::screenRecording ? screenRecording : accessibility;
  }
  bool allAllowed() const {
    return screenRecording == SystemPermissionState::allowed &&
           accessibility == SystemPermissionState::allowed;
  }
  friend bool operator==(const SystemPermissionSnapshot&,
                         const SystemPermissionSnapshot&) = default;
};

class SystemPermissionCoordinator {
 public:
  struct SystemCalls {
    std::function<bool()> screenRecordingPreflight;
    // The system's own prompt; held ready, the setup flow sends the user to the
    // settings page instead.
    std::function<bool()> screenRecordingRequest;
    std::function<bool()> accessibilityPreflight;
    std::function<void()> accessibilityRequest;
    // Opens a settings page by its URL; whether it opened.
    std::function<bool(const std::string& url)> openURL;
    // Replaces the whole restart when set.
    std::function<void()> restartHandler;
    // Starts a second instance of the application; whether it started. Absent
    // where the platform cannot, and then the running instance stays.
    std::function<bool()> launchNewInstance;
    // Ends this instance once the new one runs.
    std::function<void()> terminate;
  };

  SystemPermissionCoordinator(PreferenceStore& defaults, SystemCalls calls);

  // Reads both grants; a grant found also marks its permission as requested.
  SystemPermissionSnapshot snapshot();
  // Marks `kind` as requested, then tries its settings pages in order; whether
  // one opened.
  bool openSettings(SystemPermissionKind kind);
  // A new instance first, then this one ends; if none starts, this one stays.
  void restartApplication();

  // "permissions.screen-recording.requested", "permissions.accessibility.requested".
  static std::string_view requestedKey(SystemPermissionKind kind);
  // The exact page on current systems, on older ones, then the privacy list;
  // text that is not a URL is left out.
  static std::vector<std::string> settingsURLs(SystemPermissionKind kind);
  // An application started from a quarantined download runs from a randomised
  // read-only copy, where a grant would attach to the wrong place.
  static bool isTranslocated(std::string_view bundlePath);

  SystemPermissionCoordinator(const SystemPermissionCoordinator&) = delete;
  SystemPermissionCoordinator& operator=(const SystemPermissionCoordinator&) = delete;

 private:
  bool wasRequested(SystemPermissionKind kind) const;
  void markRequested(SystemPermissionKind kind);

  PreferenceStore& defaults_;
  SystemCalls calls_;
  // Nothing sets it yet: a screen recording grant that only a new process would
  // see has no place else to be remembered.
  bool screenRecordingRestartRequired_ = false;
};

}  // namespace trelvis
