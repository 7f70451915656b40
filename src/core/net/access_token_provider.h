#pragma once

// AccessTokenProviding: where every authenticated API client gets its bearer
// token. The session coordinator of the account subsystem implements it.

#include <optional>
#include <string>

#include "base/async/async.h"

namespace trelvis {

class AccessTokenProviding {
 public:
  virtual ~AccessTokenProviding() = default;

  // The current access token, refreshed first when `forceRefresh`; nullopt when
  // signed out. Raises AuthSessionError when it cannot be had.
  virtual Async<std::optional<std::string>> getAccessToken(bool forceRefresh) = 0;
};

}  // namespace trelvis
