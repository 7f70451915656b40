#pragma once

// PreferenceStore is the seam for the application's standard user defaults: typed
// values under string keys ("me.mossgrove.trelvis.<name>.v<version>"), kept across
// launches. The small preference stores and a few other components read and write
// it; the composition root owns the one instance. Mostly used on the main thread,
// but implementations are thread-safe, since some readers run elsewhere.
//
// A typed read gives nothing when the key is missing and also when it holds a value
// of another type: a Boolean stored where text is expected reads as absent, so a
// damaged preference never crashes its reader.

#include "core/prefs/preference_value.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace trelvis {

class PreferenceStore {
 public:
  virtual ~PreferenceStore() = default;

  // The value under `key` with the type it was stored with.
  virtual std::optional<PreferenceValue> value(std::string_view key) const = 0;

  // Stores `value` under `key`. A value that the preferences cannot keep as it is (a
  // double that is not finite, text or a key that is not UTF-8) is refused with a
  // logged error and the key keeps its old value; returns whether it was stored.
  bool setValue(std::string_view key, PreferenceValue value);

  virtual void remove(std::string_view key) = 0;

  std::optional<bool> boolValue(std::string_view key) const { return get<bool>(key); }
  std::optional<int64_t> integerValue(std::string_view key) const { return get<int64_t>(key); }
  std::optional<double> doubleValue(std::string_view key) const { return get<double>(key); }
  std::optional<std::string> stringValue(std::string_view key) const {
    return get<std::string>(key);
  }
  std::optional<PreferenceValue::Array> arrayValue(std::string_view key) const {
    return get<PreferenceValue::Array>(key);
  }
  std::optional<PreferenceValue::Dictionary> dictionaryValue(std::string_view key) const {
    return get<PreferenceValue::Dictionary>(key);
  }

  bool setBool(std::string_view key, bool value) { return setValue(key, value); }
  bool setInteger(std::string_view key, int64_t value) { return setValue(key, value); }
  bool setDouble(std::string_view key, double value) { return setValue(key, value); }
  bool setString(std::string_view key, std::string_view value) { return setValue(key, value); }
  bool setArray(std::string_view key, PreferenceValue::Array value) {
    return setValue(key, std::move(value));
  }
  bool setDictionary(std::string_view key, PreferenceValue::Dictionary value) {
    return setValue(key, std::move(value));
  }

 protected:
  // Stores a value that setValue has checked.
  virtual void storeValue(std::string_view key, PreferenceValue value) = 0;

 private:
  template <class T>
  std::optional<T> get(std::string_view key) const {
    std::optional<PreferenceValue> stored = value(key);
    if (!stored) return std::nullopt;
    if (const T* typed = stored->getIf<T>()) return *typed;
    return std::nullopt;
  }
};

}  // namespace trelvis
