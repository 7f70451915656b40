#include "core/prefs/target_language_store.h"

#include "base/log.h"
#include "base/text.h"
#include "core/prefs/stored_setting.h"
#include "core/prefs/target_language.h"

#include <optional>
#include <utility>

namespace trelvis {
namespace {
const LogCategory kLog("preferences");
}  // namespace

TargetLanguageStore::TargetLanguageStore(PreferenceStore& defaults,
                                         PreferredLanguages preferredLanguages,
                                         IsReturningUser isReturningUser,
                                         std::string_view storageKey)
    : defaults_(defaults),
      storageKey_(storageKey),
      preferredLanguages_(std::move(preferredLanguages)),
      isReturningUser_(std::move(isReturningUser)) {}

std::string TargetLanguageStore::code() const {
  if (const std::optional<PreferenceValue> stored = defaults_.value(storageKey_)) {
    const std::string* text = stored->getIf<std::string>();
    std::string code = text ? trimmed(*text) : std::string();
    if (isSupportedTargetLanguage(code)) return code;
    if (!reportedUnusable_.exchange(true)) {
      detail::reportUnusablePreference(storageKey_, "a supported target language");
    }
    return std::string(kDefaultTargetLanguage);
  }
  // Users from before the preferred-language choice existed keep what they had.
  if (isReturningUser_ && isReturningUser_()) return std::string(kDefaultTargetLanguage);
  const std::vector<std::string> preferred =
      preferredLanguages_ ? preferredLanguages_() : std::vector<std::string>();
  return std::string(targetLanguageForPreferredLanguages(preferred));
}

bool TargetLanguageStore::setCode(std::string_view code) {
  const std::string wanted = trimmed(code);
  if (!isSupportedTargetLanguage(wanted)) {
    kLog.error("refused to store an unsupported target language");
    return false;
  }
  const std::string before = this->code();
  if (defaults_.stringValue(storageKey_) != wanted) defaults_.setString(storageKey_, wanted);
  if (before != wanted) changed_.emit(wanted);
  return true;
}

}  // namespace trelvis
