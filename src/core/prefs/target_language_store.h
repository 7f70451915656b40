#pragma once

// TargetLanguageStore keeps the language that lookups translate into. The settings
// page writes it; the capture service and the request pipelines read `code()` for
// every request. With nothing stored, a returning user keeps the long-standing
// default and a new user gets the first supported language among the ones the
// session prefers. Lives on the main thread (`code()` is also safe elsewhere);
// borrows the PreferenceStore.

#include "base/signal.h"
#include "core/prefs/preference_store.h"

#include <atomic>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace trelvis {

class TargetLanguageStore {
 public:
  static constexpr std::string_view kStorageKey = "me.mossgrove.trelvis.targetLanguage.v1";

  // The user's preferred language tags, most preferred first.
  using PreferredLanguages = std::function<std::vector<std::string>()>;
  using IsReturningUser = std::function<bool()>;

  TargetLanguageStore(PreferenceStore& defaults, PreferredLanguages preferredLanguages,
                      IsReturningUser isReturningUser, std::string_view storageKey = kStorageKey);

  // Always one of kSupportedTargetLanguages.
  std::string code() const;

  // Stores `code` (surrounding white space ignored). A code that is not supported is
  // refused with a logged error; returns whether it was stored.
  bool setCode(std::string_view code);

  // Emits the new code after a real change of `code()`.
  Signal<std::string>& changed() { return changed_; }

  const std::string& storageKey() const { return storageKey_; }

 private:
  PreferenceStore& defaults_;
  const std::string storageKey_;
  const PreferredLanguages preferredLanguages_;
  const IsReturningUser isReturningUser_;
  mutable std::atomic<bool> reportedUnusable_{false};
  Signal<std::string> changed_;
};

}  // namespace trelvis
