#include "core/prefs/app_language_store.h"

namespace trelvis {

std::string_view toString(AppLanguagePreference preference) {
  return enumToString(kAppLanguagePreferenceNames, preference);
}

std::optional<AppLanguagePreference> appLanguagePreferenceFromString(std::string_view raw) {
  return enumFromString(kAppLanguagePreferenceNames, raw);
}

AppLanguageStore::AppLanguageStore(PreferenceStore& defaults)
    : preference_(defaults, kStorageKey, kDefaultPreference,
                  rawStringPreferenceCodec<AppLanguagePreference, appLanguagePreferenceFromString,
                                           toString>("an application language")) {}

void AppLanguageStore::setPreference(AppLanguagePreference preference) {
  if (preference_.set(preference)) changed_.emit(preference);
}

}  // namespace trelvis
