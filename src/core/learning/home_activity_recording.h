#pragma once

// HomeActivityRecording: what the lookup coordinator asks of the recent-lookup
// history of the home page: to record a successful lookup. The home activity
// store implements it on the main thread.

#include <optional>

#include "base/uuid.h"
#include "core/lookup/lookup_model.h"

namespace trelvis {

class HomeActivityRecording {
 public:
  virtual ~HomeActivityRecording() = default;

  // The new row's id, through which the card can enroll the word; none when
  // nobody is signed in or the entry has no headword or meaning.
  virtual std::optional<Uuid> record(const TranslationEntry& entry) = 0;
};

}  // namespace trelvis
