#include "core/prefs/preference_store.h"

#include "base/log.h"
#include "base/text.h"

#include <utility>

namespace trelvis {
namespace {
const LogCategory kLog("preferences");
}  // namespace

bool PreferenceStore::setValue(std::string_view key, PreferenceValue value) {
  if (!isValidUTF8(key)) {
    kLog.error("refused to store a preference under a key that is not UTF-8");
    return false;
  }
  if (!value.isStorable()) {
    kLog.error("refused to store preference {}: a number is not finite or text is not UTF-8", key);
    return false;
  }
  storeValue(key, std::move(value));
  return true;
}

}  // namespace trelvis
