#pragma once

// The real AuthSessionCoordinator on virtual time for tests: its auth client over
// a fake transport, the refresh token and the signed-in user kept in memory.

#include <memory>
#include <string>

#include "base/async/test_scheduler.h"
#include "core/account/auth_http_client.h"
#include "core/account/auth_session_coordinator.h"
#include "core/account/auth_user_store.h"
#include "core/prefs/in_memory_preference_store.h"
#include "support/fake_http_transport.h"
#include "support/in_memory_refresh_token_store.h"

namespace trelvis::testing {

inline const std::string kAuthService = "me.mossgrove.trelvis.auth.refreshToken";

struct AuthSessionRig {
  explicit AuthSessionRig(const std::string& base = "https://api.test/trelvis/")
      : session(std::make_shared<AuthSessionCoordinator>(
            scheduler.makeExecutor(), *Url::parse(base),
            std::make_shared<TransportAuthHTTPClient>(transport), tokens, users, kAuthService)) {}

  TestScheduler scheduler;
  std::shared_ptr<Executor> main = scheduler.makeExecutor();
  std::shared_ptr<FakeHttpTransport> transport = std::make_shared<FakeHttpTransport>();
  std::shared_ptr<InMemoryRefreshTokenStore> tokens = std::make_shared<InMemoryRefreshTokenStore>();
  InMemoryPreferenceStore defaults;
  std::shared_ptr<PreferencesAuthUserStore> users =
      std::make_shared<PreferencesAuthUserStore>(defaults);
  std::shared_ptr<AuthSessionCoordinator> session;
};

}  // namespace trelvis::testing
