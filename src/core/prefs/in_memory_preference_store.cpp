#include "core/prefs/in_memory_preference_store.h"

#include <utility>

namespace trelvis {

std::optional<PreferenceValue> InMemoryPreferenceStore::value(std::string_view key) const {
  const std::lock_guard lock(mutex_);
  const auto found = values_.find(key);
  if (found == values_.end()) return std::nullopt;
  return found->second;
}

void InMemoryPreferenceStore::remove(std::string_view key) {
  const std::lock_guard lock(mutex_);
  if (const auto found = values_.find(key); found != values_.end()) values_.erase(found);
}

PreferenceValue::Dictionary InMemoryPreferenceStore::snapshot() const {
  const std::lock_guard lock(mutex_);
  return values_;
}

void InMemoryPreferenceStore::storeValue(std::string_view key, PreferenceValue value) {
  const std::lock_guard lock(mutex_);
  values_.insert_or_assign(std::string(key), std::move(value));
}

}  // namespace trelvis
