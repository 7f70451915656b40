#pragma once

// SecondaryTargetLanguageStore keeps an optional second language that lookups also
// translate into, or none. The settings page saves it; the capture service reads it
// for every request. Lives on the main thread (`code()` is also safe elsewhere);
// borrows the PreferenceStore.

#include "base/signal.h"
#include "core/prefs/preference_store.h"

#include <atomic>
#include <optional>
#include <string>
#include <string_view>

namespace trelvis {

class SecondaryTargetLanguageStore {
 public:
  static constexpr std::string_view kStorageKey = "me.mossgrove.trelvis.secondaryTargetLanguage.v1";

  explicit SecondaryTargetLanguageStore(PreferenceStore& defaults,
                                        std::string_view storageKey = kStorageKey);

  // A supported code, or none. A stored value that is not a supported code (after
  // trimming white space) reads as none and is logged once.
  std::optional<std::string> code() const;

  // Stores `code`, or removes the choice when it is none. A code that is not
  // supported is refused with a logged error; returns whether the call took effect.
  bool save(std::optional<std::string_view> code);

  // Emits the new choice after a real change of `code()`.
  Signal<std::optional<std::string>>& changed() { return changed_; }

 private:
  PreferenceStore& defaults_;
  const std::string storageKey_;
  mutable std::atomic<bool> reportedUnusable_{false};
  Signal<std::optional<std::string>> changed_;
};

}  // namespace trelvis
