#pragma once

// fetchJSONRecord: how the membership and summary clients GET one JSON record
// for the signed-in user. The request carries the application's headers,
// "Accept: application/json" and a 30-second limit, and goes through
// performAuthenticatedRequest; a body that `decode` refuses becomes
// E::invalidResponse(), logged without its content. Include it in .cpp files only.

#include <chrono>
#include <exception>
#include <string>
#include <utility>

#include "base/log.h"
#include "core/net/authenticated_request.h"
#include "core/net/server_api.h"

namespace trelvis {

inline constexpr Duration kJSONRecordTimeout = std::chrono::seconds(30);

template <AuthenticatedClientError E, class Decode>
auto fetchJSONRecord(AccessTokenProviding& auth, HttpTransport& transport, Url url,
                     const LogCategory& log, Decode decode)
    -> Async<decltype(decode(std::string()))> {
  HttpRequest request = ServerAPIRequest::make(std::move(url));
  request.timeout = kJSONRecordTimeout;
  request.headers.set("Accept", "application/json");
  const std::string path = request.url.path();
  std::string body = co_await performAuthenticatedRequest<E>(auth, transport, std::move(request));
  try {
    co_return decode(body);
  } catch (const std::exception& error) {
    log.warning("GET {}: the reply is not usable: {}", path, error.what());
  }
  throw E::invalidResponse();
}

}  // namespace trelvis
