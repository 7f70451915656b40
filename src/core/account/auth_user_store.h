#pragma once

// AuthUserStoring keeps the signed-in user's identity (id and email) between
// launches, so that a window can show the account before the session is confirmed.
// It never fails. PreferencesAuthUserStore keeps it in the user preferences under
// the credential service name followed by ".user.id" and ".user.email"; like the
// preferences it borrows, it is safe from any thread.

#include <optional>
#include <string_view>

#include "core/account/auth_session_types.h"

namespace trelvis {

class PreferenceStore;

class AuthUserStoring {
 public:
  virtual ~AuthUserStoring() = default;

  // Nothing unless both id and email are stored and non-empty.
  virtual std::optional<AuthUser> readUser(std::string_view service) const = 0;
  virtual void saveUser(const AuthUser& user, std::string_view service) = 0;
  virtual void deleteUser(std::string_view service) = 0;
};

class PreferencesAuthUserStore final : public AuthUserStoring {
 public:
  explicit PreferencesAuthUserStore(PreferenceStore& defaults) : defaults_(defaults) {}

  std::optional<AuthUser> readUser(std::string_view service) const override;
  void saveUser(const AuthUser& user, std::string_view service) override;
  void deleteUser(std::string_view service) override;

 private:
  PreferenceStore& defaults_;
};

}  // namespace trelvis
