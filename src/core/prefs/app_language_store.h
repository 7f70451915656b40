#pragma once

// AppLanguageStore keeps the language of the application's own texts: the system's,
// or English or Simplified Chinese whatever the system says. The settings page
// writes it; the windows and the lookup card observe it. Lives on the main thread;
// borrows the PreferenceStore.

#include "base/signal.h"
#include "base/enum_table.h"
#include "core/prefs/stored_setting.h"

#include <optional>
#include <string_view>

namespace trelvis {

enum class AppLanguagePreference { system, english, simplifiedChinese };

inline constexpr EnumTable<AppLanguagePreference, 3> kAppLanguagePreferenceNames{{
    {AppLanguagePreference::system, "system"},
    {AppLanguagePreference::english, "english"},
    {AppLanguagePreference::simplifiedChinese, "simplifiedChinese"},
}};

std::string_view toString(AppLanguagePreference preference);
std::optional<AppLanguagePreference> appLanguagePreferenceFromString(std::string_view raw);

class AppLanguageStore {
 public:
  static constexpr std::string_view kStorageKey = "me.mossgrove.trelvis.appLanguage.v1";
  static constexpr AppLanguagePreference kDefaultPreference = AppLanguagePreference::system;

  explicit AppLanguageStore(PreferenceStore& defaults);

  AppLanguagePreference preference() const { return preference_.value(); }
  void setPreference(AppLanguagePreference preference);

  // Emits the new preference after a real change.
  Signal<AppLanguagePreference>& changed() { return changed_; }

 private:
  StoredSetting<AppLanguagePreference> preference_;
  Signal<AppLanguagePreference> changed_;
};

}  // namespace trelvis
