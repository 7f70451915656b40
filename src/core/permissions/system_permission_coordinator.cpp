#include "core/permissions/system_permission_coordinator.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "base/log.h"
#include "core/prefs/preference_store.h"

namespace trelvis {
namespace {

const LogCategory kLog("permissions");

// A scheme ("x-apple.systempreferences", "https") and something after its colon,
// with no white space or control characters anywhere.
bool isURLText(std::string_view text) {
  const auto colon = text.find(':');
  if (colon == 0 || colon == std::string_view::npos || colon + 1 == text.size()) return false;
  if (!std::isalpha(static_cast<unsigned char>(text[0]))) return false;
  const auto schemeChar = [](unsigned char c) {
    return std::isalnum(c) || c == '+' || c == '-' || c == '.';
  };
  if (!std::all_of(text.begin(), text.begin() + colon, schemeChar)) return false;
  return std::none_of(text.begin(), text.end(),
                      [](unsigned char c) { return c <= ' ' || c == 0x7F; });
}

}  // namespace

SystemPermissionCoordinator::SystemPermissionCoordinator(PreferenceStore& defaults,
                                                         SystemCalls calls)
    : defaults_(defaults), calls_(std::move(calls)) {}

std::string_view SystemPermissionCoordinator::requestedKey(SystemPermissionKind kind) {
  return kind == SystemPermissionKind::screenRecording ? "permissions.screen-recording.requested"
                                                       : "permissions.accessibility.requested";
}

bool SystemPermissionCoordinator::wasRequested(SystemPermissionKind kind) const {
  return defaults_.boolValue(requestedKey(kind)).value_or(false);
}

void SystemPermissionCoordinator::markRequested(SystemPermissionKind kind) {
  defaults_.setBool(requestedKey(kind), true);
}

SystemPermissionSnapshot SystemPermissionCoordinator::snapshot() {
  const bool screenRecording = calls_.screenRecordingPreflight && calls_.screenRecordingPreflight();
  const bool accessibility = calls_.accessibilityPreflight && calls_.accessibilityPreflight();
  if (screenRecording) {
    screenRecordingRestartRequired_ = false;
    markRequested(SystemPermissionKind::screenRecording);
  }
  if (accessibility) markRequested(SystemPermissionKind::accessibility);

  const auto askedState = [this](SystemPermissionKind kind) {
    return wasRequested(kind) ? SystemPermissionState::needsSettings
                              : SystemPermissionState::notRequested;
  };
  SystemPermissionSnapshot snapshot;
  if (screenRecording) {
    snapshot.screenRecording = SystemPermissionState::allowed;
  } else if (screenRecordingRestartRequired_) {
    snapshot.screenRecording = SystemPermissionState::restartRequired;
  } else {
    snapshot.screenRecording = askedState(SystemPermissionKind::screenRecording);
  }
  snapshot.accessibility = accessibility ? SystemPermissionState::allowed
                                         : askedState(SystemPermissionKind::accessibility);
  return snapshot;
}

std::vector<std::string> SystemPermissionCoordinator::settingsURLs(SystemPermissionKind kind) {
  const std::string pane = kind == SystemPermissionKind::screenRecording ? "Privacy_ScreenCapture"
                                                                         : "Privacy_Accessibility";
  std::vector<std::string> urls;
  for (std::string url : {
           "x-apple.systempreferences:com.apple.settings.PrivacySecurity.extension?" + pane,
           "x-apple.systempreferences:com.apple.preference.security?" + pane,
           std::string("x-apple.systempreferences:com.apple.settings.PrivacySecurity.extension?"
                       "Privacy"),
       }) {
    if (isURLText(url)) urls.push_back(std::move(url));
  }
  return urls;
}

bool SystemPermissionCoordinator::openSettings(SystemPermissionKind kind) {
  // Having been sent to the settings counts as having been asked, whether or
  // not the page opens.
  markRequested(kind);
  if (calls_.openURL) {
    for (const std::string& url : settingsURLs(kind)) {
      if (calls_.openURL(url)) return true;
    }
  }
  kLog.notice("no settings page opened for the {} permission", toString(kind));
  return false;
}

void SystemPermissionCoordinator::restartApplication() {
  if (calls_.restartHandler) {
    calls_.restartHandler();
    return;
  }
  if (!calls_.launchNewInstance || !calls_.launchNewInstance()) {
    kLog.notice("no new instance was started; this one keeps running");
    return;
  }
  if (calls_.terminate) calls_.terminate();
}

bool SystemPermissionCoordinator::isTranslocated(std::string_view bundlePath) {
  return bundlePath.find("/AppTranslocation/") != std::string_view::npos;
}

}  // namespace trelvis
