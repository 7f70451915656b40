#include "core/prefs/preference_value.h"

#include <cmath>
#include <cstddef>

namespace trelvis {

bool isValidUtf8(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size()) {
    const auto lead = static_cast<unsigned char>(text[i]);
    std::size_t length;
    char32_t value;
    char32_t minimum;
    if (lead < 0x80) {
      ++i;
      continue;
    } else if ((lead & 0xE0) == 0xC0) {
      length = 2;
      value = lead & 0x1F;
      minimum = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
      length = 3;
      value = lead & 0x0F;
      minimum = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
      length = 4;
      value = lead & 0x07;
      minimum = 0x10000;
    } else {
      return false;
    }
    if (text.size() - i < length) return false;
    for (std::size_t k = 1; k < length; ++k) {
      const auto byte = static_cast<unsigned char>(text[i + k]);
      if ((byte & 0xC0) != 0x80) return false;
      value = value << 6 | (byte & 0x3F);
    }
    if (value < minimum || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return false;
    i += length;
  }
  return true;
}

bool PreferenceValue::isStorable() const {
  return visit([](const auto& value) {
    using T = std::decay_t<decltype(value)>;
    if constexpr (std::is_same_v<T, double>) {
      return std::isfinite(value);
    } else if constexpr (std::is_same_v<T, std::string>) {
      return isValidUtf8(value);
    } else if constexpr (std::is_same_v<T, Array>) {
      for (const PreferenceValue& element : value) {
        if (!element.isStorable()) return false;
      }
      return true;
    } else if constexpr (std::is_same_v<T, Dictionary>) {
      for (const auto& [key, element] : value) {
        if (!isValidUtf8(key) || !element.isStorable()) return false;
      }
      return true;
    } else {
      return true;
    }
  });
}

}  // namespace trelvis
