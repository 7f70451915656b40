#include "core/prefs/preference_value.h"

#include "base/text.h"

#include <cmath>
#include <cstddef>

namespace trelvis {

bool PreferenceValue::isStorable() const {
  return visit([](const auto& value) {
    using T = std::decay_t<decltype(value)>;
    if constexpr (std::is_same_v<T, double>) {
      return std::isfinite(value);
    } else if constexpr (std::is_same_v<T, std::string>) {
      return isValidUTF8(value);
    } else if constexpr (std::is_same_v<T, Array>) {
      for (const PreferenceValue& element : value) {
        if (!element.isStorable()) return false;
      }
      return true;
    } else if constexpr (std::is_same_v<T, Dictionary>) {
      for (const auto& [key, element] : value) {
        if (!isValidUTF8(key) || !element.isStorable()) return false;
      }
      return true;
    } else {
      return true;
    }
  });
}

}  // namespace trelvis
