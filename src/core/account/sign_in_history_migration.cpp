#include "core/account/sign_in_history_migration.h"

#include "core/account/auth_session_coordinator.h"
#include "core/prefs/sign_in_history_store.h"

namespace trelvis {

Async<void> migrateSignInHistory(SignInHistoryStore& history, AuthSessionCoordinator& session) {
  if (history.hasSignedInOnThisMac()) co_return;
  // Before the session is restored no access token is held, so this is exactly
  // whether a refresh token is stored.
  auto stored = co_await session.canAttemptAuthenticatedRequest();
  history.migrateFromEarlierInstallation(stored.value_or(false));
}

}  // namespace trelvis
