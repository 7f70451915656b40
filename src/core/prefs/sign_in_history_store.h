#pragma once

// SignInHistoryStore remembers whether an account has ever signed in on this
// machine; a returning user skips the first-run choices. The auth flow marks it each
// time a signed-in session is applied, and nothing clears it, not even signing out.
// Main thread; borrows the PreferenceStore.

#include "core/prefs/stored_setting.h"

#include <string_view>

namespace trelvis {

class SignInHistoryStore {
 public:
  static constexpr std::string_view kStorageKey = "me.mossgrove.trelvis.hasSignedInOnThisMac.v1";

  explicit SignInHistoryStore(PreferenceStore& defaults)
      : hasSignedIn_(defaults, kStorageKey, false, kBoolPreferenceCodec) {}

  bool hasSignedInOnThisMac() const { return hasSignedIn_.value(); }
  void markSignedIn() { hasSignedIn_.set(true); }

 private:
  StoredSetting<bool> hasSignedIn_;
};

}  // namespace trelvis
