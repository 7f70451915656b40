#pragma once

// SignInHistoryStore remembers whether an account has ever signed in on this
// machine; a returning user skips the first-run choices and the sign-in form opens
// on login rather than registration. The auth flow marks it each time a signed-in
// session is applied, and nothing clears it, not even signing out. Installations
// from before the mark existed are recognised once, at start-up, by what they left
// behind. Main thread; borrows the PreferenceStore.

#include "core/prefs/stored_setting.h"

#include <string_view>

namespace trelvis {

class SignInHistoryStore {
 public:
  static constexpr std::string_view kStorageKey = "me.mossgrove.trelvis.hasSignedInOnThisMac.v1";
  // Marks that the permission setup left: it ran, so the application has been used.
  static constexpr std::string_view kScreenRecordingRequestedKey =
      "permissions.screen-recording.requested";
  static constexpr std::string_view kAccessibilityRequestedKey =
      "permissions.accessibility.requested";

  explicit SignInHistoryStore(PreferenceStore& defaults)
      : defaults_(defaults), hasSignedIn_(defaults, kStorageKey, false, kBoolPreferenceCodec) {}

  bool hasSignedInOnThisMac() const { return hasSignedIn_.value(); }
  void markSignedIn() { hasSignedIn_.set(true); }

  // Sets the mark when it is not set yet and an earlier installation shows: a
  // stored refresh token, or a permission that was once requested.
  void migrateFromEarlierInstallation(bool refreshTokenStored) {
    if (hasSignedInOnThisMac()) return;
    if (refreshTokenStored || defaults_.boolValue(kScreenRecordingRequestedKey).value_or(false) ||
        defaults_.boolValue(kAccessibilityRequestedKey).value_or(false)) {
      markSignedIn();
    }
  }

 private:
  PreferenceStore& defaults_;
  StoredSetting<bool> hasSignedIn_;
};

}  // namespace trelvis
