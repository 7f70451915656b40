#pragma once

// SetupCompletionStore remembers how far the first setup (permissions, launch at
// login) got on this machine, so that it runs once. The permission setup gate and
// the onboarding flow read and write it on the main thread; borrows the
// PreferenceStore. Both marks start false and, once set, stay set.

#include "core/prefs/stored_setting.h"

#include <string_view>

namespace trelvis {

class SetupCompletionStore {
 public:
  static constexpr std::string_view kCompletedKey = "me.mossgrove.trelvis.setupCompleted.v1";
  static constexpr std::string_view kStartedKey = "me.mossgrove.trelvis.setupStarted.v1";

  explicit SetupCompletionStore(PreferenceStore& defaults)
      : completed_(defaults, kCompletedKey, false, kBoolPreferenceCodec),
        started_(defaults, kStartedKey, false, kBoolPreferenceCodec) {}

  // A completed setup has also been started, whatever the started mark says.
  bool isStarted() const { return started_.value() || completed_.value(); }
  bool isCompleted() const { return completed_.value(); }

  void markStarted() { started_.set(true); }
  void markCompleted() {
    started_.set(true);
    completed_.set(true);
  }

 private:
  StoredSetting<bool> completed_;
  StoredSetting<bool> started_;
};

}  // namespace trelvis
