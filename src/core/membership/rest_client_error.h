#pragma once

// RestClientError<Tag>: the closed failure set of a client that fetches one JSON
// record from the server for the signed-in user: http, auth, network,
// unauthenticated and invalidResponse. Each client has its own type through its
// Tag, whose kName names it in logs. Raised by the clients, caught by value.

#include <exception>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "core/account/auth_session_error.h"
#include "core/net/rest_failure.h"

namespace trelvis {

template <class Tag>
class RestClientError : public std::exception {
 public:
  using Http = rest_failure::Http;
  using Auth = rest_failure::Auth;
  using Network = rest_failure::Network;
  using Unauthenticated = rest_failure::Unauthenticated;
  using InvalidResponse = rest_failure::InvalidResponse;
  using Case = rest_failure::Case;

  explicit RestClientError(Case value) : value_(std::move(value)), description_(describe(value_)) {}

  static RestClientError http(int status, std::string message) {
    return RestClientError(Http{status, std::move(message)});
  }
  static RestClientError auth(AuthSessionError error) {
    return RestClientError(Auth{std::move(error)});
  }
  static RestClientError network(std::string detail) {
    return RestClientError(Network{std::move(detail)});
  }
  static RestClientError unauthenticated() { return RestClientError(Unauthenticated{}); }
  static RestClientError invalidResponse() { return RestClientError(InvalidResponse{}); }

  const Case& value() const { return value_; }

  // "<kName>.http(503)", "<kName>.auth(keychain_error)", ...; never a body.
  const char* what() const noexcept override { return description_.c_str(); }

  friend bool operator==(const RestClientError& a, const RestClientError& b) {
    return a.value_ == b.value_;
  }

 private:
  static std::string describe(const Case& value) {
    std::string text(Tag::kName);
    if (const auto* http = std::get_if<Http>(&value)) {
      return text + ".http(" + std::to_string(http->status) + ")";
    }
    if (const auto* auth = std::get_if<Auth>(&value)) {
      return text + ".auth(" + std::string(auth->error.code()) + ")";
    }
    if (const auto* network = std::get_if<Network>(&value)) {
      return text + ".network(" + network->detail + ")";
    }
    if (std::holds_alternative<Unauthenticated>(value)) return text + ".unauthenticated";
    return text + ".invalidResponse";
  }

  Case value_;
  std::string description_;
};

}  // namespace trelvis
