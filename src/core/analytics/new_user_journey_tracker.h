#pragma once

// NewUserJourneyTracker follows a new user's first steps: the launches and the
// translations that worked, by method. Like the analytics service it sends
// nothing anywhere: each step is a named event in the log at debug level under
// "new-user-journey". Main thread.

#include "core/lookup/lookup_model.h"

namespace trelvis {

class NewUserJourneyTracker {
 public:
  void appLaunched();
  void recordTranslationSucceeded(TranslationMethod method);
};

}  // namespace trelvis
