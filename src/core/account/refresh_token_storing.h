#pragma once

// RefreshTokenStoring: the secure store that keeps the long-lived refresh token of
// the session, one secret per (service, account). The session coordinator calls it
// on its own executor, never on the UI thread: an implementation may block on the
// system's secret store. A missing item is no error. Failures are raised; the
// coordinator reports them as AuthSessionError::keychain. Nothing may ever fall
// back to keeping the token in plain text.

#include <optional>
#include <string>
#include <string_view>

namespace trelvis {

class RefreshTokenStoring {
 public:
  virtual ~RefreshTokenStoring() = default;

  // The stored token, or nothing when there is none. Never asks the user anything.
  virtual std::optional<std::string> readRefreshToken(std::string_view service,
                                                      std::string_view account) = 0;
  // Stores `token`, replacing the one stored before.
  virtual void saveRefreshToken(std::string_view token, std::string_view service,
                                std::string_view account) = 0;
  // Removes the token; succeeds when there is none.
  virtual void deleteRefreshToken(std::string_view service, std::string_view account) = 0;
};

}  // namespace trelvis
