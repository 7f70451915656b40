#pragma once

// AuthenticatedRequestChecking: the question the translation gates ask of the
// account session before they capture anything: could a request be
// authenticated now? The session coordinator answers without touching the
// network (a held access token, or a stored refresh token); a failure to read
// the stored credentials is its AuthSessionError.

#include "base/async/async.h"
#include "core/account/auth_session_types.h"

namespace trelvis {

class AuthenticatedRequestChecking {
 public:
  virtual ~AuthenticatedRequestChecking() = default;

  virtual Async<AuthResult<bool>> canAttemptAuthenticatedRequest() = 0;
};

}  // namespace trelvis
