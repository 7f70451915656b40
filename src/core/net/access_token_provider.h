#pragma once

// AccessTokenProviding: where every authenticated API client gets its bearer
// token. The session coordinator of the account subsystem implements it; clients
// follow the rule of performAuthenticatedRequest (authenticated_request.h).

#include <optional>
#include <string>

#include "base/async/async.h"
#include "core/account/auth_session_types.h"

namespace trelvis {

class AccessTokenProviding {
 public:
  virtual ~AccessTokenProviding() = default;

  // The current access token, refreshed first when `forceRefresh`; nothing when
  // nobody is signed in; the session's failure when no token can be had.
  virtual Async<AuthResult<std::optional<std::string>>> getAccessToken(bool forceRefresh) = 0;
};

}  // namespace trelvis
