#pragma once

// The closed failure cases of a request a REST client makes for the signed-in
// user through the authenticated-request helper: an HTTP status, a session
// failure, the network, no session, or a reply it cannot read. Each client
// wraps them in its own error type.

#include <string>
#include <variant>

#include "core/account/auth_session_error.h"

namespace trelvis::rest_failure {

struct Http {
  int status = 0;
  std::string message;
  friend bool operator==(const Http&, const Http&) = default;
};
struct Auth {
  AuthSessionError error;
  friend bool operator==(const Auth&, const Auth&) = default;
};
struct Network {
  std::string detail;
  friend bool operator==(const Network&, const Network&) = default;
};
struct Unauthenticated {
  friend bool operator==(const Unauthenticated&, const Unauthenticated&) = default;
};
struct InvalidResponse {
  friend bool operator==(const InvalidResponse&, const InvalidResponse&) = default;
};
using Case = std::variant<Http, Auth, Network, Unauthenticated, InvalidResponse>;

}  // namespace trelvis::rest_failure
