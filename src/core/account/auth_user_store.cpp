#include "core/account/auth_user_store.h"

#include <string>

#include "core/prefs/preference_store.h"

namespace trelvis {
namespace {

std::string idKey(std::string_view service) {
  return std::string(service) + ".user.id";
}

std::string emailKey(std::string_view service) {
  return std::string(service) + ".user.email";
}

}  // namespace

std::optional<AuthUser> PreferencesAuthUserStore::readUser(std::string_view service) const {
  auto id = defaults_.stringValue(idKey(service));
  auto email = defaults_.stringValue(emailKey(service));
  if (!id || !email || id->empty() || email->empty()) return std::nullopt;
  return AuthUser{std::move(*id), std::move(*email)};
}

void PreferencesAuthUserStore::saveUser(const AuthUser& user, std::string_view service) {
  defaults_.setString(idKey(service), user.id);
  defaults_.setString(emailKey(service), user.email);
}

void PreferencesAuthUserStore::deleteUser(std::string_view service) {
  defaults_.remove(idKey(service));
  defaults_.remove(emailKey(service));
}

}  // namespace trelvis
