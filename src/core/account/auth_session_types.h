#pragma once

// The values of the account session that cross the session coordinator's
// boundary: who is signed in, what the views see of the session, the token pair
// a sign-in or refresh gives, and the result type of every session operation.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <tl/expected.hpp>

#include "core/account/auth_session_error.h"

namespace trelvis {

// A session operation's outcome: a value, or the closed failure of the session.
template <class T>
using AuthResult = tl::expected<T, AuthSessionError>;

struct AuthUser {
  std::string id;  // the server's identifier, opaque here
  std::string email;

  friend bool operator==(const AuthUser&, const AuthUser&) = default;
};

// What everyone else sees of the session.
struct AuthSessionSnapshot {
  bool isAuthenticated = false;
  std::optional<AuthUser> user;

  static AuthSessionSnapshot signedOut() { return {}; }
  static AuthSessionSnapshot signedIn(std::optional<AuthUser> user) {
    return {true, std::move(user)};
  }

  friend bool operator==(const AuthSessionSnapshot&, const AuthSessionSnapshot&) = default;
};

// A successful login, registration or refresh. Both tokens are never empty.
// `expiresIn` is kept as the server sent it; the access token's lifetime is
// decided by the server's 401, not by a clock here.
struct AuthTokenPair {
  std::optional<AuthUser> user;
  std::string accessToken;
  std::string refreshToken;
  int64_t expiresIn = 0;

  friend bool operator==(const AuthTokenPair&, const AuthTokenPair&) = default;
};

enum class EmailCodePurpose { registration, passwordReset };

// "register" or "password_reset", as the email-code endpoint reads it.
std::string_view toString(EmailCodePurpose purpose);

}  // namespace trelvis
