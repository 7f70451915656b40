#pragma once

// AuthHTTPClient: how the session coordinator posts to the "/v1/auth" endpoints.
// Every call is a POST of a JSON object of strings; the endpoints authenticate by
// their body. TransportAuthHTTPClient is the implementation over the application's
// HttpTransport: stateless, it runs inside the awaiting task (the coordinator's
// executor) and never retries or refreshes anything itself.

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "base/async/async.h"
#include "base/clock.h"
#include "base/url.h"

namespace trelvis {

class HttpTransport;

struct AuthHTTPResponse {
  int statusCode = 0;
  std::string body;

  friend bool operator==(const AuthHTTPResponse&, const AuthHTTPResponse&) = default;
};

// Member name to string value; serialised as one JSON object.
using AuthRequestBody = std::map<std::string, std::string>;

class AuthHTTPClient {
 public:
  virtual ~AuthHTTPClient() = default;

  // Raises the transport's error (URLError) when no reply came, and
  // AuthSessionError::invalidResponse for a reply that is not HTTP.
  virtual Async<AuthHTTPResponse> postJSON(Url url, AuthRequestBody body,
                                           std::optional<std::string> bearerToken) = 0;
};

class TransportAuthHTTPClient final : public AuthHTTPClient {
 public:
  // The longest the server may stay silent before the request fails as a timeout.
  static constexpr Duration kTimeout = std::chrono::seconds(8);

  explicit TransportAuthHTTPClient(std::shared_ptr<HttpTransport> transport);

  // Logs the URL and the status, never a body, password or token.
  Async<AuthHTTPResponse> postJSON(Url url, AuthRequestBody body,
                                   std::optional<std::string> bearerToken) override;

 private:
  std::shared_ptr<HttpTransport> transport_;
};

}  // namespace trelvis
