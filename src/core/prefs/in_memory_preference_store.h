#pragma once

// InMemoryPreferenceStore keeps preferences in memory only. Tests use it in place of
// the preferences file, and it serves where nothing should outlive the process.
// Thread-safe; owns its values.

#include "core/prefs/preference_store.h"

#include <mutex>

namespace trelvis {

class InMemoryPreferenceStore final : public PreferenceStore {
 public:
  InMemoryPreferenceStore() = default;
  explicit InMemoryPreferenceStore(PreferenceValue::Dictionary values)
      : values_(std::move(values)) {}

  std::optional<PreferenceValue> value(std::string_view key) const override;
  void remove(std::string_view key) override;

  // Every stored value, for tests that check what was written.
  PreferenceValue::Dictionary snapshot() const;

 protected:
  void storeValue(std::string_view key, PreferenceValue value) override;

 private:
  mutable std::mutex mutex_;
  PreferenceValue::Dictionary values_;
};

}  // namespace trelvis
