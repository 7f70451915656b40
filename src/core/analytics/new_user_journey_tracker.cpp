#include "core/analytics/new_user_journey_tracker.h"

#include "base/log.h"

namespace trelvis {
namespace {

const LogCategory kLog("new-user-journey");

}  // namespace

void NewUserJourneyTracker::appLaunched() {
  kLog.debug("app_launched");
}

void NewUserJourneyTracker::recordTranslationSucceeded(TranslationMethod method) {
  kLog.debug("translation_succeeded method={}", toString(method));
}

}  // namespace trelvis
