#include "core/prefs/secondary_target_language_store.h"

#include "base/log.h"
#include "base/text.h"
#include "core/prefs/stored_setting.h"
#include "core/prefs/target_language.h"

namespace trelvis {
namespace {
const LogCategory kLog("preferences");
}  // namespace

SecondaryTargetLanguageStore::SecondaryTargetLanguageStore(PreferenceStore& defaults,
                                                           std::string_view storageKey)
    : defaults_(defaults), storageKey_(storageKey) {}

std::optional<std::string> SecondaryTargetLanguageStore::code() const {
  const std::optional<PreferenceValue> stored = defaults_.value(storageKey_);
  if (!stored) return std::nullopt;
  const std::string* text = stored->getIf<std::string>();
  std::string code = text ? trimmed(*text) : std::string();
  if (isSupportedTargetLanguage(code)) return code;
  if (!reportedUnusable_.exchange(true)) {
    detail::reportUnusablePreference(storageKey_, "a supported target language");
  }
  return std::nullopt;
}

bool SecondaryTargetLanguageStore::save(std::optional<std::string_view> code) {
  std::optional<std::string> wanted;
  if (code) {
    wanted = trimmed(*code);
    if (!isSupportedTargetLanguage(*wanted)) {
      kLog.error("refused to store an unsupported secondary target language");
      return false;
    }
  }
  const std::optional<std::string> before = this->code();
  if (wanted) {
    if (defaults_.stringValue(storageKey_) != wanted) defaults_.setString(storageKey_, *wanted);
  } else if (defaults_.value(storageKey_)) {
    defaults_.remove(storageKey_);
  }
  if (before != wanted) changed_.emit(wanted);
  return true;
}

}  // namespace trelvis
