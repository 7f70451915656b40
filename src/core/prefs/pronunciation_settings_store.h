#pragma once

// PronunciationSettingsStore keeps whether a looked-up word's pronunciation plays by
// itself once the card shows it. Off by default: sound that the user did not ask
// for is unwelcome in a shared room or a call. The settings page writes it; the
// overlay and select models read it when a card becomes ready. Lives on the main
// thread; borrows the PreferenceStore.

#include "base/signal.h"
#include "core/prefs/stored_setting.h"

#include <string_view>

namespace trelvis {

class PronunciationSettingsStore {
 public:
  static constexpr std::string_view kStorageKey = "me.mossgrove.trelvis.autoplayPronunciation.v1";
  static constexpr bool kDefaultAutoplayEnabled = false;

  explicit PronunciationSettingsStore(PreferenceStore& defaults)
      : autoplayEnabled_(defaults, kStorageKey, kDefaultAutoplayEnabled, kBoolPreferenceCodec) {}

  bool autoplayEnabled() const { return autoplayEnabled_.value(); }
  void setAutoplayEnabled(bool enabled) {
    if (autoplayEnabled_.set(enabled)) changed_.emit(enabled);
  }

  // Emits the new value after a real change.
  Signal<bool>& changed() { return changed_; }

 private:
  StoredSetting<bool> autoplayEnabled_;
  Signal<bool> changed_;
};

}  // namespace trelvis
