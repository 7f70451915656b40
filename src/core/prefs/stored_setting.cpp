#include "core/prefs/stored_setting.h"

#include "base/log.h"

namespace trelvis::detail {
namespace {
const LogCategory kLog("preferences");
}  // namespace

void reportUnusablePreference(std::string_view key, std::string_view expected) {
  kLog.warning("preference {} does not hold {}; using the default value", key, expected);
}

}  // namespace trelvis::detail
