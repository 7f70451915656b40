#pragma once

// AuthSessionError: the closed set of failures of the account session (sign-in,
// registration, token refresh), raised by the session coordinator and carried
// inside the errors of every authenticated client. Each case has a stable
// `code()` used for reporting; it is never sent to the server.

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

namespace trelvis {

class AuthSessionError : public std::exception {
 public:
  // In the order of the closed set.
  enum class Kind {
    verificationCooldown,  // payload: seconds to wait
    invalidRequest,        // payload: detail
    network,               // payload: detail
    server,                // payload: detail
    keychain,              // payload: detail
    unauthenticated,
    emailAlreadyRegistered,
    emailNotRegistered,
    verificationCodeInvalid,
    verificationDeliveryFailed,
    invalidCredentials,
    invalidResponse,
  };

  static AuthSessionError verificationCooldown(int64_t seconds);
  static AuthSessionError invalidRequest(std::string detail);
  static AuthSessionError network(std::string detail);
  static AuthSessionError server(std::string detail);
  static AuthSessionError keychain(std::string detail);
  // The cases without payload.
  explicit AuthSessionError(Kind kind);

  Kind kind() const { return kind_; }
  int64_t cooldownSeconds() const { return cooldownSeconds_; }
  const std::string& detail() const { return detail_; }

  // "verification_cooldown", "network_error", ...
  std::string_view code() const;

  // A readable rendering for logs, e.g. "AuthSessionError.network(timed out)".
  const char* what() const noexcept override { return description_.c_str(); }

  friend bool operator==(const AuthSessionError& a, const AuthSessionError& b) {
    return a.kind_ == b.kind_ && a.cooldownSeconds_ == b.cooldownSeconds_ && a.detail_ == b.detail_;
  }

 private:
  AuthSessionError(Kind kind, int64_t seconds, std::string detail);

  Kind kind_;
  int64_t cooldownSeconds_ = 0;
  std::string detail_;
  std::string description_;
};

}  // namespace trelvis
