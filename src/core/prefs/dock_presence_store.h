#pragma once

// DockPresenceStore keeps whether the application shows in the task bar (the dock)
// besides its tray icon. Off by default: the application lives in the tray and only
// its main window, while open, needs a task bar entry. The settings page writes it;
// the application delegate observes it. Lives on the main thread; borrows the
// PreferenceStore.

#include "base/signal.h"
#include "core/prefs/stored_setting.h"

#include <string_view>

namespace trelvis {

class DockPresenceStore {
 public:
  static constexpr std::string_view kStorageKey = "me.mossgrove.trelvis.showInDock.v1";
  static constexpr bool kDefaultShowInDock = false;

  explicit DockPresenceStore(PreferenceStore& defaults)
      : showInDock_(defaults, kStorageKey, kDefaultShowInDock, kBoolPreferenceCodec) {}

  bool showInDock() const { return showInDock_.value(); }
  void setShowInDock(bool showInDock) {
    if (showInDock_.set(showInDock)) changed_.emit(showInDock);
  }

  // Emits the new value after a real change.
  Signal<bool>& changed() { return changed_; }

 private:
  StoredSetting<bool> showInDock_;
  Signal<bool> changed_;
};

}  // namespace trelvis
