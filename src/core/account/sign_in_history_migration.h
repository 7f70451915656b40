#pragma once

// migrateSignInHistory: run once by the composition root at start-up. When the
// sign-in mark is not set, it asks the session whether a refresh token is stored (on
// the session's executor: the credential store never runs on the UI thread; a store
// that cannot be read counts as none) and lets the mark recognise an earlier
// installation. Awaited on the main thread, before the sign-in form is shown.

#include "base/async/async.h"

namespace trelvis {

class AuthSessionCoordinator;
class SignInHistoryStore;

Async<void> migrateSignInHistory(SignInHistoryStore& history, AuthSessionCoordinator& session);

}  // namespace trelvis
