#pragma once

// StoredSetting<T> is one user choice kept under one preference key, with the value
// it has when nothing usable is stored. The preference stores build on it: it reads
// through to the PreferenceStore each time, so it never disagrees with what is
// stored, and it writes only when the stored value differs. A stored value of the
// wrong type or an unknown raw string reads as the fallback and is logged once per
// setting; it stays in place until the user chooses a value, so nothing is lost.
// Lives with its store on the main thread; reads are also safe elsewhere.

#include "core/prefs/preference_store.h"

#include <atomic>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace trelvis {

namespace detail {
// Logs, under the "preferences" category, that `key` holds a value that is not
// `expected`. Never logs the value itself.
void reportUnusablePreference(std::string_view key, std::string_view expected);
}  // namespace detail

template <class T>
class StoredSetting {
 public:
  struct Codec {
    // Nothing when the stored value has the wrong type or an unknown raw string.
    std::optional<T> (*decode)(const PreferenceValue&);
    PreferenceValue (*encode)(const T&);
    // What a usable value looks like, for the log ("a Boolean", "an appearance mode").
    std::string_view expected;
  };

  StoredSetting(PreferenceStore& store, std::string_view key, T fallback, Codec codec)
      : store_(store), key_(key), fallback_(std::move(fallback)), codec_(codec) {}
  StoredSetting(const StoredSetting&) = delete;
  StoredSetting& operator=(const StoredSetting&) = delete;

  T value() const { return read().value; }

  // Stores `value`; returns whether the value read before was a different one.
  bool set(const T& value) {
    const Read before = read();
    if (before.usable && before.value == value) return false;
    store_.setValue(key_, codec_.encode(value));
    return before.value != value;
  }

  const std::string& key() const { return key_; }

 private:
  struct Read {
    T value;
    // False when nothing is stored or the stored value is unusable.
    bool usable;
  };

  Read read() const {
    const std::optional<PreferenceValue> stored = store_.value(key_);
    if (!stored) return {fallback_, false};
    if (std::optional<T> decoded = codec_.decode(*stored)) return {std::move(*decoded), true};
    if (!reported_.exchange(true)) detail::reportUnusablePreference(key_, codec_.expected);
    return {fallback_, false};
  }

  PreferenceStore& store_;
  const std::string key_;
  const T fallback_;
  const Codec codec_;
  mutable std::atomic<bool> reported_{false};
};

// Codec of a Boolean setting.
inline std::optional<bool> decodeBoolPreference(const PreferenceValue& value) {
  if (const bool* stored = value.getIf<bool>()) return *stored;
  return std::nullopt;
}
inline PreferenceValue encodeBoolPreference(const bool& value) {
  return value;
}
inline constexpr StoredSetting<bool>::Codec kBoolPreferenceCodec{decodeBoolPreference,
                                                                 encodeBoolPreference, "a Boolean"};

// Codec of an enumeration kept as its raw string; FromString and ToString are the
// enumeration's lookups in its table.
template <class Enum, std::optional<Enum> (*FromString)(std::string_view),
          std::string_view (*ToString)(Enum)>
constexpr typename StoredSetting<Enum>::Codec rawStringPreferenceCodec(std::string_view expected) {
  return {
      [](const PreferenceValue& value) -> std::optional<Enum> {
        if (const std::string* raw = value.getIf<std::string>()) return FromString(*raw);
        return std::nullopt;
      },
      [](const Enum& value) { return PreferenceValue(ToString(value)); },
      expected,
  };
}

}  // namespace trelvis
