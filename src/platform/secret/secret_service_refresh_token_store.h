#pragma once

// SecretServiceRefreshTokenStore: the refresh token kept by the desktop's Secret
// Service (the login keyring) through libsecret, as one item of the default
// collection with the attributes "service" and "account" and a label a user can
// recognise in the keyring's own tools.
//
// Reading never unlocks anything, so it never shows a prompt: a locked keyring is a
// keychain failure that says so. Saving and deleting may ask the keyring to unlock,
// which the desktop shows as its own prompt. Every call gives up after its limit.
// Without a reachable Secret Service every call fails with a keychain failure that
// says so; the token is never written anywhere else.
//
// Each call blocks its thread while it talks to the service on a private GLib main
// context. The session coordinator calls it on its own executor, never on the UI
// thread.

#include <optional>
#include <string>
#include <string_view>

#include "base/clock.h"
#include "core/account/refresh_token_storing.h"

namespace trelvis {

class SecretServiceRefreshTokenStore final : public RefreshTokenStoring {
 public:
  static constexpr std::string_view kLabel = "Trelvis sign-in (refresh token)";

  struct Limits {
    // A read shows no prompt, so a healthy service answers in milliseconds.
    Duration read = std::chrono::seconds(10);
    // Room for the user to answer an unlock prompt.
    Duration write = std::chrono::minutes(2);
  };

  SecretServiceRefreshTokenStore() = default;
  explicit SecretServiceRefreshTokenStore(Limits limits) : limits_(limits) {}

  // These raise AuthSessionError::keychain with a detail for the log.
  std::optional<std::string> readRefreshToken(std::string_view service,
                                              std::string_view account) override;
  void saveRefreshToken(std::string_view token, std::string_view service,
                        std::string_view account) override;
  void deleteRefreshToken(std::string_view service, std::string_view account) override;

 private:
  Limits limits_;
};

}  // namespace trelvis
