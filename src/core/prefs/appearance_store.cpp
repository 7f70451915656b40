#include "core/prefs/appearance_store.h"

namespace trelvis {

std::string_view toString(AppearanceMode mode) {
  return enumToString(kAppearanceModeNames, mode);
}

std::optional<AppearanceMode> appearanceModeFromString(std::string_view raw) {
  return enumFromString(kAppearanceModeNames, raw);
}

AppearanceStore::AppearanceStore(PreferenceStore& defaults)
    : mode_(defaults, kStorageKey, kDefaultMode,
            rawStringPreferenceCodec<AppearanceMode, appearanceModeFromString, toString>(
                "an appearance mode")) {}

void AppearanceStore::setMode(AppearanceMode mode) {
  if (mode_.set(mode)) changed_.emit(mode);
}

}  // namespace trelvis
