#pragma once

// AppearanceStore keeps whether the application's surfaces (the lookup card, the
// region selection overlay, the panels) are drawn light or dark. The settings page
// writes it; the surfaces observe it. Lives on the main thread; borrows the
// PreferenceStore.

#include "base/signal.h"
#include "base/enum_table.h"
#include "core/prefs/stored_setting.h"

#include <optional>
#include <string_view>

namespace trelvis {

enum class AppearanceMode { light, dark };

inline constexpr EnumTable<AppearanceMode, 2> kAppearanceModeNames{{
    {AppearanceMode::light, "light"},
    {AppearanceMode::dark, "dark"},
}};

std::string_view toString(AppearanceMode mode);
std::optional<AppearanceMode> appearanceModeFromString(std::string_view raw);

class AppearanceStore {
 public:
  static constexpr std::string_view kStorageKey = "me.mossgrove.trelvis.appearance.v1";
  static constexpr AppearanceMode kDefaultMode = AppearanceMode::light;

  explicit AppearanceStore(PreferenceStore& defaults);

  AppearanceMode mode() const { return mode_.value(); }
  void setMode(AppearanceMode mode);

  // Emits the new mode after a real change.
  Signal<AppearanceMode>& changed() { return changed_; }

 private:
  StoredSetting<AppearanceMode> mode_;
  Signal<AppearanceMode> changed_;
};

}  // namespace trelvis
